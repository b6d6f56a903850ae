// Answers about the fleet as it is now.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "entries.h"
#include "message.h"

namespace ptp_fleet {
namespace {

using nlohmann::json;

/** Paths of the values that differ, "clock_quality/clock_class"; those of arrays have the array's. */
void add_differences(const json &before, const json &now, const std::string &path, std::vector<std::string> &to) {
    if (before == now) {
        return;
    }
    if (!before.is_object() || !now.is_object()) {
        to.push_back(path);
        return;
    }
    for (const auto &[name, value] : now.items()) {
        if (name != "$state") {
            const auto former = before.find(name);
            add_differences(former == before.end() ? json() : *former, value, path.empty() ? name : path + "/" + name,
                            to);
        }
    }
}

}  // namespace

clock_record shown(const kept_record &of, const std::vector<std::uint8_t> &before, std::uint64_t changed_ns) {
    clock_record result{of.message, of.about,  of.time_ns, of.heard_ns, decoded_message(of.bytes).json(),
                        {},         changed_ns};
    if (!before.empty()) {
        const json former = json::parse(decoded_message(before).json(), nullptr, false);
        const json now = json::parse(result.json, nullptr, false);
        if (former.is_object() && now.is_object() && !former.empty() && !now.empty()) {
            add_differences(former.front(), now.front(), "", result.changed);
        }
    }
    return result;
}

const fleet_state::clock_entry *fleet_state::find(const clock_name &name) const {
    const auto found = index_.find(name);
    return found == index_.end() ? nullptr : clocks_[found->second].get();
}

std::vector<clock_summary> fleet_state::summaries() const { return changed_after(0); }

std::vector<clock_summary> fleet_state::changed_after(std::uint64_t change) const {
    const std::shared_lock lock(mutex_);
    std::vector<clock_summary> result;
    for (const auto &each : clocks_) {
        if (each->row.change > change) {
            result.push_back(each->row);
        }
    }
    return result;
}

std::optional<clock_summary> fleet_state::summary(const clock_name &name) const {
    const std::shared_lock lock(mutex_);
    const clock_entry *entry = find(name);
    return entry == nullptr ? std::nullopt : std::optional(entry->row);
}

std::vector<clock_record> fleet_state::records(const clock_name &name) const {
    std::vector<kept> copies;
    {
        const std::shared_lock lock(mutex_);
        if (const clock_entry *entry = find(name)) {
            copies = entry->records;
        }
    }
    std::vector<clock_record> result;
    for (const kept &each : copies) {
        result.push_back(shown(each.now, each.before, each.changed_ns));
    }
    std::sort(result.begin(), result.end(), [](const clock_record &a, const clock_record &b) {
        return std::tie(a.message, a.about) < std::tie(b.message, b.about);
    });
    return result;
}

void fleet_state::visit_after(std::uint64_t change, const row_visitor &row, const record_visitor &record) const {
    const std::shared_lock lock(mutex_);
    for (const auto &each : clocks_) {
        if (each->row.change <= change) {
            continue;
        }
        row(each->row);
        for (const kept &one : each->records) {
            if (one.change > change) {
                record(each->row.name, one.now, one.alteration > change);
            }
        }
    }
}

std::vector<change_entry> fleet_state::recent_changes(std::size_t limit) const {
    const std::shared_lock lock(mutex_);
    const std::size_t count = std::min(limit, changes_.size());
    return {changes_.rbegin(), changes_.rbegin() + static_cast<std::ptrdiff_t>(count)};
}

std::vector<change_entry> fleet_state::recent_changes(const clock_name &name, std::size_t limit) const {
    const std::shared_lock lock(mutex_);
    const clock_entry *entry = find(name);
    if (entry == nullptr) {
        return {};
    }
    const std::size_t count = std::min(limit, entry->changes.size());
    return {entry->changes.rbegin(), entry->changes.rbegin() + static_cast<std::ptrdiff_t>(count)};
}

bool fleet_state::is_silent(const clock_summary &of, std::uint64_t now_ns) const {
    return now_ns > of.heard_ns + silent_after_ns_;
}

fleet_counts fleet_state::counts(std::uint64_t now_ns) const {
    const std::shared_lock lock(mutex_);
    fleet_counts result;
    result.clocks = clocks_.size();
    result.messages = messages_;
    for (const auto &each : clocks_) {
        if (is_silent(each->row, now_ns)) {
            ++result.silent;
        } else {
            ++result.by_lock[static_cast<std::size_t>(each->row.lock)];
        }
    }
    return result;
}

std::uint64_t fleet_state::change() const {
    const std::shared_lock lock(mutex_);
    return change_;
}

std::uint64_t fleet_state::wait_for_change(std::uint64_t after, std::chrono::milliseconds most) const {
    std::unique_lock lock(waiting_mutex_);
    waiting_.wait_for(lock, most, [&] { return told_ > after; });
    return told_;
}

}  // namespace ptp_fleet
