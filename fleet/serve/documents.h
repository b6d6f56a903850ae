// What is served as JSON, made out of what the collector knows.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "clock_table.h"

namespace ptp_fleet {

using json = nlohmann::json;

/** Bytes that are no UTF-8 are replaced: nothing that an element says keeps an answer from being given. */
std::string to_text(const json &document);

json change_json(const change_entry &of);
json changes_json(const std::vector<change_entry> &of);
json alarm_json(const alarm &of);
json command_json(const command_entry &of);

json overview_json(const services &from, const clock_table &table, std::uint64_t now_ns);
json alarms_json(const services &from, const clock_table &table, std::size_t ended);
json tree_json(const services &from, const clock_table &table, std::uint64_t now_ns);
/** Nothing where there is no such clock. */
std::optional<json> clock_json(const services &from, const clock_table &table, const clock_name &name,
                               std::uint64_t now_ns);
json series_json(const std::vector<series_point> &points, std::uint64_t from_ms, std::uint64_t to_ms);
json difference_json(const std::vector<clock_record> &before, const std::vector<clock_record> &after);

}  // namespace ptp_fleet
