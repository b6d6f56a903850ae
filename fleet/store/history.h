// What was, for people who ask: offset and path delay over time, what changed, records at a moment. Read only.
#pragma once

#include <vector>

#include "fleet_state.h"

namespace ptp_fleet {

/** Offset and path delay of a while; a single report is a while of its own, with equal lowest, mean and highest. */
struct series_point {
    std::uint64_t time_ns = 0;                                // its begin
    std::uint64_t count = 0;                                  // reports
    double offset_low = 0, offset_mean = 0, offset_high = 0;  // nanoseconds
    double delay_mean = 0;
};

struct store_totals {
    std::uint64_t messages = 0;  // kept, each once
    std::uint64_t missing = 0;   // numbers that elements skipped
    std::uint64_t repeated = 0;  // came again, and were left out
    std::uint64_t refused = 0;   // were no message
    std::uint64_t bytes = 0;     // on disk
};

/** Any thread may call. All throw std::runtime_error when the store cannot be read. */
class history {
  public:
    virtual ~history() = default;
    /** From the first to before the second time, the oldest first, merged until there are no more than so many. */
    virtual std::vector<series_point> series(const clock_name &name, std::uint64_t from_ns, std::uint64_t to_ns,
                                             std::size_t most_points) = 0;
    /** The newest first. */
    virtual std::vector<change_entry> changes(const clock_name &name, std::uint64_t from_ns, std::uint64_t to_ns,
                                              std::size_t limit) = 0;
    virtual std::vector<change_entry> changes(std::uint64_t from_ns, std::uint64_t to_ns, std::size_t limit) = 0;
    /** What the clock had said last at that time; `changed` of the records is empty. */
    virtual std::vector<clock_record> records_at(const clock_name &name, std::uint64_t time_ns) = 0;
    virtual store_totals totals() = 0;
};

}  // namespace ptp_fleet
