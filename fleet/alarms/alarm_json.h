// Alarms as JSON: to keep them, and to tell others.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "alarm_book.h"

namespace ptp_fleet {

nlohmann::ordered_json to_json(const change_entry &of);
nlohmann::ordered_json to_json(const alarm &of);
/** Throws std::runtime_error for what is none. */
change_entry read_change(const nlohmann::ordered_json &from);
alarm read_alarm(const nlohmann::ordered_json &from);

/** "2026-11-22T17:05:09.123Z" */
std::string time_text(std::uint64_t ns);

/** A CloudEvents 1.0 event. @param collector  whose alarm it is */
std::string cloud_event(const alarm &of, const std::string &collector, std::uint64_t now_ns);

}  // namespace ptp_fleet
