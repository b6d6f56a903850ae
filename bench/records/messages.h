// The clock message, and what its handler heard of it.
#pragma once

#include "bench_records.h"

namespace bench {

/** Context that the receiving scenarios hand to the message's handler. */
struct receipt {
    u_int64 messages = 0;
    /** The message that came last, when it was asked for; else the handler destroys it. */
    ptp_clock_cfg_message *kept = nullptr;
    bool keep = false;
};

/** A message with the example clock as its payload. */
ptp_clock_cfg_message *make_clock_message(vela_handle *handle);

/** Bytes of the message's encoding. */
constexpr u_int32 clock_message_width = PTP_CFG_MESSAGE_PREFIX + clock_record<>::width;

/** Marshals the example message into `bytes`, of clock_message_width. */
void write_clock_message(u_int8 *bytes);

/** Whether the message kept is the example one. Destroys it. */
bool is_example(vela_handle *handle, receipt &got);

}  // namespace bench
