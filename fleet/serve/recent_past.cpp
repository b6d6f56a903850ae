// The store is written in lots: what people ask for first may still be on its way there.
#include "recent_past.h"

#include <algorithm>
#include <tuple>

namespace ptp_fleet {

std::vector<change_entry> changes_before(const services &from, const clock_name &name, std::uint64_t time_ns,
                                         std::size_t limit) {
    std::vector<change_entry> all = from.past.changes(name, 0, time_ns, limit);
    const auto is_same = [](const change_entry &left, const change_entry &right) {
        return std::tie(left.time_ns, left.what, left.before, left.after) ==
               std::tie(right.time_ns, right.what, right.before, right.after);
    };
    for (change_entry &one : from.state.recent_changes(name, limit)) {
        const bool is_known =
            std::any_of(all.begin(), all.end(), [&](const change_entry &other) { return is_same(one, other); });
        if (!is_known && one.time_ns < time_ns) {
            all.push_back(std::move(one));
        }
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const change_entry &left, const change_entry &right) { return left.time_ns > right.time_ns; });
    all.resize(std::min(all.size(), limit));
    return all;
}

std::vector<clock_record> records_at(const services &from, const clock_name &name, std::uint64_t time_ns) {
    std::vector<clock_record> all = from.past.records_at(name, time_ns);
    for (clock_record &one : from.state.records(name)) {
        // What changed since is not what was; what did not is, whenever it was written.
        if (one.changed_ns > time_ns) {
            continue;
        }
        const auto older = std::find_if(all.begin(), all.end(), [&](const clock_record &other) {
            return other.message == one.message && other.about == one.about;
        });
        if (older == all.end()) {
            all.push_back(std::move(one));
        } else {
            *older = std::move(one);
        }
    }
    return all;
}

}  // namespace ptp_fleet
