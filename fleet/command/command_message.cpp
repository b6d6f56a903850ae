// Reads commands as strictly as the library does, and takes nothing but commands.
#include "command_message.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "agent/intent/fields.h"
#include "ptp_cfg/json.h"
#include "ptp_cfg/receive.h"

namespace ptp_fleet {
namespace {

using ptp_agent::memory_class;

struct destroy_handle {
    void operator()(vela_handle *of) const { vela_handle_destroy(of, nullptr); }
};

constexpr int was_set = 2;

void flag_members(nlohmann::ordered_json &of) {
    if (!of.is_object() || of.contains("$state") || of.contains("$bytes")) {
        return;
    }
    nlohmann::ordered_json flags = nlohmann::ordered_json::object();
    for (auto &[name, value] : of.items()) {
        if (value.is_array()) {
            flags[name] = std::vector<int>(value.size() + 1, was_set);  // its own first
            for (auto &element : value) {
                flag_members(element);
            }
        } else if (value.is_object()) {
            flag_members(value);
        } else if (!name.starts_with('$')) {
            flags[name] = was_set;
        }
    }
    if (!flags.empty()) {
        of["$state"] = std::move(flags);
    }
}

}  // namespace

std::string with_state_flags(const std::string &json) {
    auto all = nlohmann::ordered_json::parse(json, nullptr, false);
    if (!all.is_object()) {
        return json;  // who reads it says what is wrong
    }
    for (auto &[message, payloads] : all.items()) {
        for (auto &payload : payloads) {
            flag_members(payload);
        }
    }
    return all.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

bool is_subject_name(const std::string &text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char each) {
        return std::isalnum(each) != 0 || each == '-' || each == '_';
    });
}

std::vector<std::uint8_t> encode_command(const std::string &given, std::string &message) {
    const std::string json = with_state_flags(given);
    const ptp_cfg_type *type = ptp_cfg_json_identify(json.data(), json.size());
    if (type == nullptr) {
        throw std::runtime_error("is to be an object with one member that is named after a message");
    }
    vela_handle_options tracking = {};
    tracking.size = sizeof tracking;
    tracking.tracking = VELA_STTR_ON;
    u_int32 err = 0;
    const std::unique_ptr<vela_handle, destroy_handle> handle(vela_handle_create(&tracking, &err));
    ptp_cfg_json_options options = {};
    options.size = sizeof options;
    options.rules = PTP_CFG_JSON_STATE_FLAGS | PTP_CFG_JSON_VARIANTS;
    char why[512] = "";
    void *made = ptp_cfg_from_json(handle.get(), memory_class, type, nullptr, json.data(), json.size(), &options, &err,
                                   why, sizeof why);
    if (made == nullptr) {
        throw std::runtime_error(why);
    }
    const ptp_cfg_operations &calls = *ptp_agent::describe(type).operations;
    const u_int32 room = 2 * calls.len(handle.get(), memory_class, made) + 64;
    std::vector<std::uint8_t> bytes(room + 1);
    bytes.resize(calls.marshal(handle.get(), memory_class, bytes.data(), made, room, &err));
    ptp_cfg_message_destroy(handle.get(), memory_class, type, made);
    const char *name = nullptr;
    if (err != 0 ||
        ptp_cfg_message_describe(bytes.data(), static_cast<u_int32>(bytes.size()), &name) != VELA_MESSAGE_COMMAND) {
        throw std::runtime_error(std::string(ptp_agent::describe(type).short_name) + " is no command");
    }
    message = name;
    return bytes;
}

}  // namespace ptp_fleet
