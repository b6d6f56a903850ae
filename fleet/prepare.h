// Makes the stream that keeps what elements publish.
#pragma once

#include <cstdint>
#include <string>

namespace ptp_fleet {

struct stream_options {
    std::string uri;  // nats://HOST:PORT/PREFIX
    std::string name = "PTP";
    std::int64_t replicas = 1;
    std::int64_t max_bytes = std::int64_t{4} << 30;
    double max_hours = 24;
    double duplicate_minutes = 15;
};

/** Makes it, or gives the one that is there these settings. Throws std::runtime_error. */
void prepare_stream(const stream_options &options);

}  // namespace ptp_fleet
