// One clock as JSON: its records, its past, and what differs between two moments.
#include <algorithm>
#include <map>

#include "documents.h"
#include "rows.h"

namespace ptp_fleet {
namespace {

constexpr std::uint64_t ns_in_ms = 1'000'000;

/** What is in a record: a message is its name with that below. */
json fields_of(const clock_record &of) {
    json message = json::parse(of.json, nullptr, false);
    return message.is_object() && message.size() == 1 ? std::move(message.front()) : json::object();
}

bool ends_with(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

/** By the names that messages have: what is configured, or told. */
bool is_configuration(const std::string &message) {
    return ends_with(message, "_cfg") || ends_with(message, "_cmd") || ends_with(message, "_update");
}

json record_json(const clock_record &of) {
    return {
        {"message", of.message},         {"about", of.about},
        {"time", of.time_ns / ns_in_ms}, {"changed_at", of.changed_ns == 0 ? json() : json(of.changed_ns / ns_in_ms)},
        {"changed", of.changed},         {"fields", fields_of(of)}};
}

using field_list = std::map<std::string, json>;

void flatten(const json &value, const std::string &path, field_list &to) {
    if (!value.is_object()) {
        to[path] = value;
        return;
    }
    for (const auto &[name, below] : value.items()) {
        if (name != "$state") {
            flatten(below, path.empty() ? name : path + "/" + name, to);
        }
    }
}

using record_key = std::pair<std::string, std::string>;

std::map<record_key, field_list> flatten(const std::vector<clock_record> &records) {
    std::map<record_key, field_list> all;
    for (const clock_record &one : records) {
        flatten(fields_of(one), "", all[{one.message, one.about}]);
    }
    return all;
}

json value_of(const field_list &in, const std::string &path) {
    const auto found = in.find(path);
    return found == in.end() ? json() : found->second;
}

void compare(const record_key &key, const field_list &before, const field_list &after, json &to) {
    field_list both = before;
    both.insert(after.begin(), after.end());
    for (const auto &[path, value] : both) {
        const json former = value_of(before, path);
        const json latter = value_of(after, path);
        if (former != latter) {
            to.push_back(
                {{"message", key.first}, {"about", key.second}, {"path", path}, {"before", former}, {"after", latter}});
        }
    }
}

}  // namespace

std::optional<json> clock_json(const services &from, const clock_table &table, const clock_name &name,
                               std::uint64_t now_ns) {
    const std::uint64_t change = table.change();
    const std::string row = table.look([&](const std::vector<clock_row> &rows) {
        const auto found =
            std::find_if(rows.begin(), rows.end(), [&](const clock_row &one) { return one.is.name == name; });
        return found == rows.end() ? "" : row_text(*found, static_cast<std::size_t>(found - rows.begin()));
    });
    if (row.empty()) {
        return std::nullopt;
    }
    json data_sets = json::array();
    json configuration = json::array();
    for (const clock_record &one : from.state.records(name)) {
        (is_configuration(one.message) ? configuration : data_sets).push_back(record_json(one));
    }
    return json{
        {"clock", to_text(name)},  {"time", now_ns / ns_in_ms},         {"change", change},
        {"row", json::parse(row)}, {"data_sets", std::move(data_sets)}, {"configuration", std::move(configuration)}};
}

json series_json(const std::vector<series_point> &points, std::uint64_t from_ms, std::uint64_t to_ms) {
    json time = json::array(), count = time, low = time, mean = time, high = time, delay = time;
    for (const series_point &one : points) {
        time.push_back(one.time_ns / ns_in_ms);
        count.push_back(one.count);
        low.push_back(one.offset_low);
        mean.push_back(one.offset_mean);
        high.push_back(one.offset_high);
        delay.push_back(one.delay_mean);
    }
    return {{"from", from_ms},
            {"to", to_ms},
            {"time", std::move(time)},
            {"count", std::move(count)},
            {"offset_min", std::move(low)},
            {"offset_mean", std::move(mean)},
            {"offset_max", std::move(high)},
            {"delay_mean", std::move(delay)}};
}

json difference_json(const std::vector<clock_record> &before, const std::vector<clock_record> &after) {
    const std::map<record_key, field_list> former = flatten(before);
    const std::map<record_key, field_list> latter = flatten(after);
    json fields = json::array();
    for (const auto &[key, of] : former) {
        const auto other = latter.find(key);
        compare(key, of, other == latter.end() ? field_list() : other->second, fields);
    }
    for (const auto &[key, of] : latter) {
        if (former.count(key) == 0) {
            compare(key, {}, of, fields);
        }
    }
    return fields;
}

}  // namespace ptp_fleet
