// Differences of two clocks, from observation to observation.
#include "agent/observe/time_jumps.h"

#include <algorithm>
#include <cstdlib>

namespace ptp_agent {
namespace {

constexpr std::int64_t system_threshold_ns = 10'000'000;
constexpr std::int64_t sync_threshold_ns = 2'000'000'000;

bool has_software_timestamps(const Observation &now) {
    return std::any_of(now.ports.begin(), now.ports.end(),
                       [](const PortObservation &port) { return port.timestamping && *port.timestamping == 0; });
}

bool has_slave(const Observation &now) {
    return std::any_of(now.ports.begin(), now.ports.end(), [](const PortObservation &port) {
        return port.data_set && port.data_set->state == PortState::Slave;
    });
}

}  // namespace

std::optional<TimeJump> TimeJumps::update(const Observation &now) {
    std::optional<Sample> sample;
    const auto monotonic = static_cast<std::int64_t>(now.monotonic_ns);
    if (has_software_timestamps(now)) {
        sample = {static_cast<std::int64_t>(now.wall_ns) - monotonic, system_threshold_ns};
    } else if (now.time_status && now.time_status->ingress_time_ns != 0 && has_slave(now)) {
        sample = {now.time_status->ingress_time_ns - monotonic, sync_threshold_ns};
    }
    std::optional<TimeJump> jump;
    if (sample && last_ && sample->threshold_ns == last_->threshold_ns) {
        const std::int64_t size = sample->clock_minus_monotonic - last_->clock_minus_monotonic;
        if (std::abs(size) >= sample->threshold_ns) {
            jump = {was_slave_ ? TimeJump::Kind::Step : TimeJump::Kind::Set, size};
        }
    }
    last_ = sample;
    was_slave_ = now.default_ds && (was_slave_ || has_slave(now));
    return jump;
}

}  // namespace ptp_agent
