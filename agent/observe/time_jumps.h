// Jumps of the clock's time, derived: the daemon does not tell of them.
#pragma once

#include <optional>

#include "agent/observe/report_row.h"

namespace ptp_agent {

/**
 * Compares the clock's time with the monotonic clock. With software timestamps the clock is the system's, which is read
 * with each observation: jumps from 10 ms on are seen. Otherwise the clock's time is known from the last Sync alone, and
 * only jumps from two seconds on, which no interval of Sync explains.
 */
class TimeJumps {
  public:
    /** A jump since the observation before; the first after a start tells nothing. */
    std::optional<TimeJump> update(const Observation &now);

  private:
    struct Sample {
        std::int64_t clock_minus_monotonic = 0;
        std::int64_t threshold_ns = 0;
    };
    std::optional<Sample> last_;
    bool was_slave_ = false;  // since the daemon answers: later jumps are steps of a clock that was set before
};

}  // namespace ptp_agent
