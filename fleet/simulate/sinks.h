// Where simulated reports go: to a stream of a server, or into a recording.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "report.h"

namespace ptp_fleet {

class report_sink {
  public:
    virtual ~report_sink() = default;
    virtual void take(const report &one, std::uint64_t time_ns) = 0;
    /** Waits until everything has arrived. Throws std::runtime_error when it does not. */
    virtual void finish() = 0;
};

/** @param file  of the recording; the source of each record is the number of its element */
std::unique_ptr<report_sink> make_recording(const std::string &file);

/**
 * Publishes with confirmation: element N on PREFIX.simN.0.MESSAGE.
 * @param uri  nats://HOST:PORT/PREFIX, with the options of such channels for TLS and credentials
 * @param boot  distinguishes this run from others, so that its messages are none of theirs
 */
std::unique_ptr<report_sink> make_stream(const std::string &uri, const std::string &boot, std::uint32_t elements);

}  // namespace ptp_fleet
