// Reads commands as strictly as the library does, and takes nothing but commands.
#include "command_message.h"

#include <algorithm>
#include <cctype>
#include <memory>
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

}  // namespace

bool is_subject_name(const std::string &text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char each) {
        return std::isalnum(each) != 0 || each == '-' || each == '_';
    });
}

std::vector<std::uint8_t> encode_command(const std::string &json, std::string &message) {
    const ptp_cfg_type *type = ptp_cfg_json_identify(json.data(), json.size());
    if (type == nullptr) {
        throw std::runtime_error("is to be an object with one member that is named after a message");
    }
    // Its flags say which fields the sender gave: an element leaves the others as they are.
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
