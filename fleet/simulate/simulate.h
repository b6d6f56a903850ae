// Runs a simulated network of clocks for a while.
#pragma once

#include <cstdint>
#include <string>

namespace ptp_fleet {

struct simulation_options {
    std::uint32_t elements = 200;
    std::uint32_t grandmasters = 2;
    std::uint64_t seed = 1;
    std::string script;  // faults; empty: none
    double seconds = 0;  // simulated; 0: until a signal comes
    double speed = 1;    // simulated seconds a second; 0: as fast as it goes
    std::uint32_t full_every = 60;
    std::uint64_t start_ns = 0;  // since 1970; 0: now
    std::string to;              // nats: URI
    std::string record;          // file
};

/** Returns the number of reports. Throws std::runtime_error. */
std::uint64_t simulate(const simulation_options &options);

}  // namespace ptp_fleet
