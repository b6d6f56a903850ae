// Keeps apart what changed from what merely went on.
#include "clock_table.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <tuple>

namespace ptp_fleet {
namespace {

/** What people care for: all but offset, path delay and counters. */
auto essence(const clock_summary &of) {
    return std::tie(of.identity, of.parent, of.grandmaster, of.lock, of.lock_since_ns, of.clock_class,
                    of.grandmaster_class, of.priority1, of.priority2, of.domain, of.steps_removed);
}

/** Microseconds, so that numbers go on rising when the server is started again. */
std::uint64_t begin_of_numbers() {
    using namespace std::chrono;
    return static_cast<std::uint64_t>(duration_cast<microseconds>(system_clock::now().time_since_epoch()).count());
}

}  // namespace

clock_table::clock_table(const services &from)
    : from_(from), first_change_(begin_of_numbers()), change_(first_change_), alarm_change_(first_change_) {}

void clock_table::take(clock_summary &&of) {
    const auto [place, is_new] = places_.try_emplace(of.name, rows_.size());
    if (is_new) {
        rows_.emplace_back();
    }
    clock_row &row = rows_[place->second];
    if (is_new || essence(row.is) != essence(of)) {
        row.change = change_ + 1;
    }
    row.is = std::move(of);
}

bool clock_table::count_alarms() {
    const std::uint64_t now = from_.alarms.change();
    if (now == alarms_taken_) {
        return false;
    }
    alarms_taken_ = now;
    std::vector<std::pair<std::uint32_t, severity>> counted(rows_.size());
    for (const alarm &one : from_.alarms.active()) {
        const auto found = places_.find(one.name);
        if (found != places_.end()) {
            auto &[count, worst] = counted[found->second];
            worst = count == 0 ? one.is : std::max(worst, one.is);
            ++count;
        }
    }
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        clock_row &row = rows_[i];
        if (row.alarms != counted[i].first || (row.alarms > 0 && row.worst != counted[i].second)) {
            std::tie(row.alarms, row.worst) = counted[i];
            row.change = change_ + 1;
        }
    }
    return true;
}

bool clock_table::refresh(std::uint64_t now_ns) {
    const std::uint64_t newest = from_.state.change();
    std::vector<clock_summary> changed = from_.state.changed_after(taken_);
    const std::lock_guard lock(mutex_);
    taken_ = newest;
    for (clock_summary &one : changed) {
        take(std::move(one));
    }
    const bool has_alarms = count_alarms();
    bool has_changed = has_alarms;
    for (clock_row &row : rows_) {
        const bool is_silent = from_.state.is_silent(row.is, now_ns);
        if (is_silent != row.is_silent) {
            row.is_silent = is_silent;
            row.change = change_ + 1;
        }
        has_changed = has_changed || row.change > change_;
    }
    change_ += has_changed ? 1 : 0;
    alarm_change_ = has_alarms ? change_ : alarm_change_;
    return has_changed;
}

std::uint64_t clock_table::change() const {
    const std::shared_lock lock(mutex_);
    return change_;
}

std::uint64_t clock_table::alarm_change() const {
    const std::shared_lock lock(mutex_);
    return alarm_change_;
}

std::vector<std::size_t> clock_table::changed_after(std::uint64_t change, bool &is_all) const {
    const std::shared_lock lock(mutex_);
    is_all = change < first_change_ || change > change_;
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        if (is_all || rows_[i].change > change) {
            found.push_back(i);
        }
    }
    return found;
}

}  // namespace ptp_fleet
