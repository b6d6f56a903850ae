// What an alarm is to others than this program.
#include "alarm_json.h"

#include <ctime>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace ptp_fleet {
namespace {

using json = nlohmann::ordered_json;

/** What happened to it last. */
const char *news_of(const alarm &of) {
    return of.until_ns != 0            ? "ended"
           : of.silenced_until_ns != 0 ? "silenced"
           : of.acknowledged_ns != 0   ? "acknowledged"
                                       : "began";
}

}  // namespace

std::string time_text(std::uint64_t ns) {
    const auto seconds = static_cast<std::time_t>(ns / 1'000'000'000);
    std::tm parts = {};
    gmtime_r(&seconds, &parts);
    char text[48];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text + length, sizeof text - length, ".%03uZ", static_cast<unsigned>(ns / 1'000'000 % 1000));
    return text;
}

json to_json(const change_entry &of) {
    return {{"clock", to_text(of.name)},
            {"time_ns", of.time_ns},
            {"what", of.what},
            {"before", of.before},
            {"after", of.after}};
}

json to_json(const alarm &of) {
    json before = json::array();
    for (const change_entry &each : of.before) {
        before.push_back(to_json(each));
    }
    return {{"id", of.id},
            {"rule", of.rule},
            {"severity", to_text(of.is)},
            {"clock", to_text(of.name)},
            {"since_ns", of.since_ns},
            {"until_ns", of.until_ns},
            {"text", of.text},
            {"before", std::move(before)},
            {"acknowledged_by", of.acknowledged_by},
            {"acknowledged_ns", of.acknowledged_ns},
            {"note", of.note},
            {"silenced_by", of.silenced_by},
            {"silenced_until_ns", of.silenced_until_ns}};
}

change_entry read_change(const json &from) {
    try {
        return {read_clock_name(from.at("clock").get<std::string>()).value_or(clock_name()), from.at("time_ns"),
                from.at("what"), from.at("before"), from.at("after")};
    } catch (const json::exception &error) {
        throw std::runtime_error(error.what());
    }
}

alarm read_alarm(const json &from) {
    try {
        alarm result;
        result.id = from.at("id");
        result.rule = from.at("rule");
        for (const severity each : {severity::warning, severity::major, severity::critical}) {
            result.is = from.at("severity") == to_text(each) ? each : result.is;
        }
        result.name = read_clock_name(from.at("clock").get<std::string>()).value_or(clock_name());
        result.since_ns = from.at("since_ns");
        result.until_ns = from.at("until_ns");
        result.text = from.at("text");
        for (const json &each : from.at("before")) {
            result.before.push_back(read_change(each));
        }
        result.acknowledged_by = from.at("acknowledged_by");
        result.acknowledged_ns = from.at("acknowledged_ns");
        result.note = from.at("note");
        result.silenced_by = from.at("silenced_by");
        result.silenced_until_ns = from.at("silenced_until_ns");
        return result;
    } catch (const json::exception &error) {
        throw std::runtime_error(error.what());
    }
}

std::string cloud_event(const alarm &of, const std::string &collector, std::uint64_t now_ns) {
    const std::string news = news_of(of);
    const json event = {{"specversion", "1.0"},
                        {"type", "ptp_fleet.alarm." + news},
                        {"source", "/ptp_fleet/" + collector},
                        {"id", collector + "-" + std::to_string(of.id) + "-" + news + "-" + std::to_string(now_ns)},
                        {"time", time_text(now_ns)},
                        {"subject", to_text(of.name)},
                        {"datacontenttype", "application/json"},
                        {"data", to_json(of)}};
    return event.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace ptp_fleet
