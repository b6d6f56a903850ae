// Writes events as CloudEvents JSON.
#include "agent/notification/events.h"

#include <systemd/sd-id128.h>

#include <cstdio>
#include <ctime>
#include <system_error>

namespace ptp_agent::notification {
namespace {

struct MemberNames {
    const char *address;
    const char *data_type;
    const char *value_type;
};

constexpr MemberNames standard_names{"ResourceAddress", "data_type", "value_type"};
constexpr MemberNames camel_names{"resource", "dataType", "valueType"};

Json value_json(const Value &value, const std::string &address, const MemberNames &names) {
    const bool is_state = value.kind == ValueKind::State;
    return {{names.address, value.clock.empty() ? address : address + "/" + value.clock},
            {names.data_type, is_state ? "notification" : "metric"},
            {names.value_type, is_state ? "enumeration" : "decimal64.3"},
            // Numbers too are text: JSON's own would not keep what the type promises.
            {"value", value.text}};
}

}  // namespace

std::string new_uuid() {
    sd_id128_t id;
    if (const int result = sd_id128_randomize(&id); result < 0) {
        throw std::system_error(-result, std::generic_category(), "make a UUID");
    }
    char text[SD_ID128_UUID_STRING_MAX];
    return sd_id128_to_uuid_string(id, text);
}

std::string time_text(std::uint64_t wall_ns) {
    const std::time_t seconds = static_cast<std::time_t>(wall_ns / 1000000000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &utc);
    char text[64];
    std::snprintf(text, sizeof text, "%s.%09uZ", date, static_cast<unsigned>(wall_ns % 1000000000));
    return text;
}

std::uint64_t wall_clock_ns() {
    std::timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000 + static_cast<std::uint64_t>(now.tv_nsec);
}

Json event_of(Resource resource, const std::optional<Sample> &sample, const AddressSpace &addresses,
              MemberSpelling spelling) {
    const std::string address = addresses.address_of(resource);
    const MemberNames &names = spelling == MemberSpelling::Standard ? standard_names : camel_names;
    Json values = Json::array();
    if (sample) {
        for (const Value &value : sample->values) {
            values.push_back(value_json(value, address, names));
        }
    }
    return {{"specversion", "1.0"},
            {"id", new_uuid()},
            {"source", address},
            {"type", row_of(resource).event_type},
            {"time", time_text(sample ? sample->wall_ns : wall_clock_ns())},
            {"data", {{"version", "1.0"}, {"values", std::move(values)}}}};
}

std::string text_of(const Json &json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

}  // namespace ptp_agent::notification
