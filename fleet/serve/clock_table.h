// The table of all clocks as it is served: rows that keep their places, and a number for each change that people care for.
#pragma once

#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "services.h"

namespace ptp_fleet {

struct clock_row {
    clock_summary is;
    bool is_silent = false;
    std::uint32_t alarms = 0;
    severity worst = severity::warning;  // of the alarms
    std::uint64_t change = 0;            // number of the last change other than of offset and path delay
};

/** One thread refreshes, any may look. */
class clock_table {
  public:
    explicit clock_table(const services &from);

    /** Takes over what the collector knows now. @return whether a row changed, or an alarm */
    bool refresh(std::uint64_t now_ns);

    /** The table and alarms; a greater number than before whenever one of them changed, also after a new start. */
    std::uint64_t change() const;
    std::uint64_t alarm_change() const;

    /** The rows, which stay as they are while it looks. */
    template <class function>
    auto look(function at) const {
        const std::shared_lock lock(mutex_);
        return at(static_cast<const std::vector<clock_row> &>(rows_));
    }
    /** Places of the rows that changed after that number; all when it is none of this table's. */
    std::vector<std::size_t> changed_after(std::uint64_t change, bool &is_all) const;

  private:
    using places = std::unordered_map<clock_name, std::size_t, clock_name_hash>;

    void take(clock_summary &&of);
    bool count_alarms();

    services from_;
    mutable std::shared_mutex mutex_;
    std::vector<clock_row> rows_;
    places places_;
    std::uint64_t first_change_;
    std::uint64_t change_;
    std::uint64_t taken_ = 0;           // of the collector's numbers
    std::uint64_t alarms_taken_ = ~0u;  // of the alarm book's
    std::uint64_t alarm_change_;
};

}  // namespace ptp_fleet
