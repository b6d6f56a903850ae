// The overview, alarms and commands as JSON.
#include "documents.h"

#include <algorithm>
#include <map>

namespace ptp_fleet {
namespace {

constexpr std::uint64_t ns_in_ms = 1'000'000;
constexpr std::uint64_t hour_ns = 3'600'000'000'000;
constexpr std::size_t latest_changes = 100;

json time_json(std::uint64_t ns) { return ns == 0 ? json() : json(ns / ns_in_ms); }

struct grandmaster_count {
    std::size_t followers = 0;
    std::optional<int> clock_class;
};

struct overview_counts {
    std::map<std::string, std::size_t> by_standing;
    std::map<clock_identity, grandmaster_count> grandmasters;
    std::size_t clocks = 0;
    std::size_t changed = 0;
};

overview_counts count(const clock_table &table, std::uint64_t now_ns) {
    overview_counts counts;
    for (std::size_t i = 0; i < lock_states; ++i) {
        counts.by_standing[to_text(static_cast<lock_state>(i))] = 0;
    }
    counts.by_standing["silent"] = 0;
    table.look([&](const std::vector<clock_row> &rows) {
        counts.clocks = rows.size();
        for (const clock_row &row : rows) {
            ++counts.by_standing[row.is_silent ? "silent" : to_text(row.is.lock)];
            counts.changed += row.is.changed_ns + hour_ns > now_ns ? 1 : 0;
            if (row.is.grandmaster) {
                grandmaster_count &of = counts.grandmasters[*row.is.grandmaster];
                of.followers += row.is.grandmaster != row.is.identity ? 1 : 0;
                of.clock_class = row.is.grandmaster_class;
            }
        }
    });
    return counts;
}

json grandmasters_json(const overview_counts &counts, const clock_table &table) {
    std::map<clock_identity, std::string> names;
    table.look([&](const std::vector<clock_row> &rows) {
        for (const clock_row &row : rows) {
            if (row.is.identity && counts.grandmasters.count(*row.is.identity) > 0) {
                names[*row.is.identity] = to_text(row.is.name);
            }
        }
    });
    json list = json::array();
    for (const auto &[identity, of] : counts.grandmasters) {
        const auto name = names.find(identity);
        // Who follows nobody is its own grandmaster; without followers that is none.
        if (of.followers > 0) {
            list.push_back({{"identity", to_text(identity)},
                            {"clock", name != names.end() ? json(name->second) : json()},
                            {"clock_class", of.clock_class ? json(*of.clock_class) : json()},
                            {"followers", of.followers}});
        }
    }
    std::stable_sort(list.begin(), list.end(), [](const json &left, const json &right) {
        return left["followers"].get<std::size_t>() > right["followers"].get<std::size_t>();
    });
    return list;
}

}  // namespace

std::string to_text(const json &document) { return document.dump(-1, ' ', false, json::error_handler_t::replace); }

json change_json(const change_entry &of) {
    return {{"time", of.time_ns / ns_in_ms},
            {"clock", to_text(of.name)},
            {"what", of.what},
            {"before", of.before},
            {"after", of.after}};
}

json changes_json(const std::vector<change_entry> &of) {
    json list = json::array();
    for (const change_entry &one : of) {
        list.push_back(change_json(one));
    }
    return list;
}

json alarm_json(const alarm &of) {
    json acknowledged, silenced;
    if (of.acknowledged_ns != 0) {
        acknowledged = {{"by", of.acknowledged_by}, {"time", of.acknowledged_ns / ns_in_ms}, {"comment", of.note}};
    }
    if (of.silenced_until_ns != 0) {
        silenced = {{"by", of.silenced_by}, {"until", of.silenced_until_ns / ns_in_ms}};
    }
    return {{"id", of.id},
            {"rule", of.rule},
            {"severity", to_text(of.is)},
            {"clock", to_text(of.name)},
            {"since", of.since_ns / ns_in_ms},
            {"ended", time_json(of.until_ns)},
            {"text", of.text},
            {"before", changes_json(of.before)},
            {"acknowledged", std::move(acknowledged)},
            {"silenced", std::move(silenced)}};
}

json command_json(const command_entry &of) {
    json command = json::parse(of.json, nullptr, false);
    return {{"id", of.id},
            {"element", of.element},
            {"time", of.time_ns / ns_in_ms},
            {"by", of.who},
            {"message", of.message},
            {"command", command.is_object() ? std::move(command) : json()},
            {"version", of.version},
            {"fate", to_text(of.fate)},
            {"reason", of.reason},
            {"answer", changes_json(of.answer)}};
}

json overview_json(const services &from, const clock_table &table, std::uint64_t now_ns) {
    const std::uint64_t change = table.change();
    const overview_counts counts = count(table, now_ns);
    json alarms = {{"critical", 0}, {"major", 0}, {"warning", 0}, {"unacknowledged", 0}};
    for (const alarm &one : from.alarms.active()) {
        json &number = alarms[to_text(one.is)];
        number = number.get<int>() + 1;
        json &open = alarms["unacknowledged"];
        open = open.get<int>() + (one.acknowledged_ns == 0 ? 1 : 0);
    }
    return {{"time", now_ns / ns_in_ms},
            {"change", change},
            {"clocks", counts.clocks},
            {"counts", counts.by_standing},
            {"changed_last_hour", counts.changed},
            {"changes", changes_json(from.state.recent_changes(latest_changes))},
            {"alarms", std::move(alarms)},
            {"grandmasters", grandmasters_json(counts, table)}};
}

json alarms_json(const services &from, const clock_table &table, std::size_t ended) {
    const std::uint64_t change = table.alarm_change();
    json list = json::array();
    for (const alarm &one : from.alarms.active()) {
        list.push_back(alarm_json(one));
    }
    for (const alarm &one : ended > 0 ? from.alarms.past(ended) : std::vector<alarm>()) {
        list.push_back(alarm_json(one));
    }
    return {{"change", change}, {"alarms", std::move(list)}};
}

}  // namespace ptp_fleet
