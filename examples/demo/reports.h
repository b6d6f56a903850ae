// What the demo's daemon reports of a clock that runs: data sets, a port, ten streams, the selected master.
#pragma once

#include "demo.h"

namespace demo {

/** Sends the reports as one bundle to whoever is being served. */
void report_state(vela_handle *handle, vela_channel *channel, ptp_clock_default_ds *default_ds);

/** Shows the runtime state of streams, a line each. */
void show_streams(vela_handle *handle, ptp_stream_runtime_state_msg_message *message);

}  // namespace demo
