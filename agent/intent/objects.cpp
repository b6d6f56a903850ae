// The kinds of objects that the intent has, and what each message does to them, as rows.
#include "agent/intent/objects.h"

#include <array>

namespace ptp_agent {
namespace {

using Names = std::span<const std::string_view>;

constexpr std::string_view clock_key[] = {"clock_handle"};
constexpr std::string_view clock_command_key[] = {"clock_id"};
constexpr std::string_view port_key[] = {"port_num"};
constexpr std::string_view port_command_key[] = {"port_id"};
constexpr std::string_view stream_key[] = {"stream_handle"};
constexpr std::string_view stream_command_key[] = {"stream_id"};
constexpr std::string_view virtual_port_key[] = {"clk_handle", "v_port_index"};
constexpr Names no_key{};

constexpr ObjectClass classes[] = {
    {ObjectKind::Clock, "ptp_clock_cfg", "clock", clock_key, &IntentLimits::clocks, false},
    {ObjectKind::Port, "ptp_port_cfg", "port", port_key, &IntentLimits::ports, false},
    {ObjectKind::Stream, "ptp_stream_cfg", "stream", stream_key, &IntentLimits::streams, false},
    {ObjectKind::VirtualPort, "ptp_virtual_port_cfg", "virtual port", virtual_port_key, &IntentLimits::virtual_ports,
     false},
    {ObjectKind::QualityLevel, "ptp_g8275_1_ql_update", "quality level of virtual port", virtual_port_key, nullptr,
     true},
    {ObjectKind::UtcOffset, "ptp_utc_offset_cmd", "", no_key, nullptr, false},
    {ObjectKind::UtcHoldoverTimeout, "ptp_utc_holdover_timeout_cmd", "", no_key, nullptr, false},
    {ObjectKind::AcceptableClockClass, "ptp_acceptable_cc_threshold_cmd", "", no_key, nullptr, false},
    {ObjectKind::PrtcOnly, "ptp_master_prtc_only_cmd", "", no_key, nullptr, false},
    {ObjectKind::MasterAlwaysOn, "ptp_hbc_master_always_on_cmd", "", no_key, nullptr, false},
    {ObjectKind::HoldoverTimer, "ptp_hbc_holdover_timer_cmd", "", no_key, nullptr, false},
    {ObjectKind::FrequencySource, "ptp_is_freq_src_ok_cmd", "", no_key, nullptr, true},
    {ObjectKind::PpsInput, "ptp_1pps_input_state", "", no_key, nullptr, true},
    {ObjectKind::TodInput, "ptp_tod_input_state", "", no_key, nullptr, true},
};

constexpr FieldMove clock_moves[] = {
    {"priority1", "default_data_set.priority1"},
    {"priority2", "default_data_set.priority2"},
    {"clock_quality.clock_class", "default_data_set.clock_quality.clock_class"},
    {"clock_quality.offset_scaled_log_var", "default_data_set.clock_quality.offset_scaled_log_var"},
    {"clock_quality.clock_accuracy", "default_data_set.clock_quality.clock_accuracy"},
    {"local_priority", "default_data_set.local_priority"},
};

constexpr FieldMove stream_moves[] = {
    {"stream_addr", "dest_addr"},
    {"log_announce_interval", "log_announce_intrvl"},
    {"log_sync_interval", "log_sync_interval"},
    {"log_min_delay_req_interval", "log_min_delay_req_interval"},
    {"encap", "encap"},
    {"stream_mac_addr", "dest_mac_addr"},
};

using Verb = MessageAction::Verb;

constexpr MessageAction actions[] = {
    {"ptp_clock_cfg", Verb::Configure, ObjectKind::Clock, clock_key, {}},
    {"ptp_port_cfg", Verb::Configure, ObjectKind::Port, port_key, {}},
    {"ptp_stream_cfg", Verb::Configure, ObjectKind::Stream, stream_key, {}},
    {"ptp_virtual_port_cfg", Verb::Configure, ObjectKind::VirtualPort, virtual_port_key, {}},
    {"ptp_v_port_status_update", Verb::Change, ObjectKind::VirtualPort, virtual_port_key, {}},
    {"ptp_clock_modify_cmd", Verb::Move, ObjectKind::Clock, clock_command_key, clock_moves},
    {"ptp_stream_modify_cmd", Verb::Move, ObjectKind::Stream, stream_command_key, stream_moves},
    {"ptp_clock_delete_cmd", Verb::Delete, ObjectKind::Clock, clock_command_key, {}},
    {"ptp_port_delete_cmd", Verb::Delete, ObjectKind::Port, port_command_key, {}},
    {"ptp_stream_delete_cmd", Verb::Delete, ObjectKind::Stream, stream_command_key, {}},
    {"ptp_virtual_port_delete_cmd", Verb::Delete, ObjectKind::VirtualPort, virtual_port_key, {}},
    {"ptp_g8275_1_ql_update", Verb::Set, ObjectKind::QualityLevel, virtual_port_key, {}},
    {"ptp_utc_offset_cmd", Verb::Set, ObjectKind::UtcOffset, no_key, {}},
    {"ptp_utc_holdover_timeout_cmd", Verb::Set, ObjectKind::UtcHoldoverTimeout, no_key, {}},
    {"ptp_acceptable_cc_threshold_cmd", Verb::Set, ObjectKind::AcceptableClockClass, no_key, {}},
    {"ptp_master_prtc_only_cmd", Verb::Set, ObjectKind::PrtcOnly, no_key, {}},
    {"ptp_hbc_master_always_on_cmd", Verb::Set, ObjectKind::MasterAlwaysOn, no_key, {}},
    {"ptp_hbc_holdover_timer_cmd", Verb::Set, ObjectKind::HoldoverTimer, no_key, {}},
    {"ptp_is_freq_src_ok_cmd", Verb::Set, ObjectKind::FrequencySource, no_key, {}},
    {"ptp_1pps_input_state", Verb::Set, ObjectKind::PpsInput, no_key, {}},
    {"ptp_tod_input_state", Verb::Set, ObjectKind::TodInput, no_key, {}},
};

}  // namespace

const ObjectClass &class_of(ObjectKind kind) { return classes[static_cast<std::size_t>(kind)]; }

std::span<const ObjectClass> object_classes() { return classes; }

std::span<const MessageAction> message_actions() { return actions; }

const MessageAction *action_of(std::string_view message) {
    for (const MessageAction &action : actions) {
        if (action.message == message) {
            return &action;
        }
    }
    return nullptr;
}

ObjectKey key_of(ObjectKind kind, std::span<const std::string_view> fields, const Record &record) {
    const auto part = [&](std::size_t index) {
        return index < fields.size() ? static_cast<std::uint64_t>(record.number_or(fields[index], 0)) : 0;
    };
    return {kind, part(0), part(1)};
}

}  // namespace ptp_agent
