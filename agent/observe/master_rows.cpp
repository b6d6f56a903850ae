// Reports of masters: who is heard, who is followed, and events of time.
#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>

#include "agent/observe/enumerations.h"
#include "agent/observe/values.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/reflect.h"

namespace ptp_agent {
namespace {

Value ip_of(const MasterInfo *master) { return master != nullptr && master->ip ? Value(*master->ip) : Value(); }
Value mac_of(const MasterInfo *master) { return master != nullptr && master->mac ? Value(*master->mac) : Value(); }

Value ipv4_number(const Value &value) {
    const auto *address = std::get_if<IpAddress>(&value);
    if (address == nullptr || address->family != VELA_IP_V4) {
        return {};
    }
    const auto &bytes = address->bytes;
    return Value(std::int64_t{bytes[0]} << 24 | std::int64_t{bytes[1]} << 16 | std::int64_t{bytes[2]} << 8 | bytes[3]);
}

Value encapsulation(const ReportSource &source) {
    return source.master == nullptr ? Value() : optional_value(source.master->encapsulation);
}

constexpr FieldRow details_rows[] = {
    {"curr_master", Origin::Derived, [](const ReportSource &source) { return ipv4_number(ip_of(source.master)); }},
    {"prev_master", Origin::Derived,
     [](const ReportSource &source) { return ipv4_number(ip_of(source.former_master)); }},
    {"updated", Origin::Derived, [](const ReportSource &source) { return to_value(source.master_updated); },
     FieldRow::Role::Quiet},
    {"encap", Origin::Configured, encapsulation},
    {"curr_mst_mac", Origin::Derived, [](const ReportSource &source) { return mac_of(source.master); }},
    {"prev_mst_mac", Origin::Derived, [](const ReportSource &source) { return mac_of(source.former_master); }},
    {"curr_mst_stream_id", Origin::Derived,
     [](const ReportSource &source) {
         return source.master == nullptr ? Value() : optional_value(source.master->stream);
     }},
    {"curr_master_ext", Origin::Derived, [](const ReportSource &source) { return ip_of(source.master); }},
    {"prev_master_ext", Origin::Derived, [](const ReportSource &source) { return ip_of(source.former_master); }},
};

constexpr FieldRow selected_rows[] = {
    {"current_master_ip", Origin::Derived, [](const ReportSource &source) { return ip_of(source.master); }},
    {"previous_master_ip", Origin::Derived, [](const ReportSource &source) { return ip_of(source.former_master); }},
    {"encap", Origin::Configured, encapsulation},
    {"current_master_mac", Origin::Derived, [](const ReportSource &source) { return mac_of(source.master); }},
    {"previous_master_mac", Origin::Derived, [](const ReportSource &source) { return mac_of(source.former_master); }},
};

constexpr auto quality = &ForeignMaster::grandmaster_quality;

Value foreign_mac(const ReportSource &source) {
    const Value value = heard<&ForeignMaster::mac>(source);
    const auto *mac = std::get_if<MacAddress>(&value);
    return mac == nullptr || *mac == MacAddress() ? Value() : value;
}

Value own_identity(const ReportSource &source) {
    return observed<&Observation::default_ds, &DefaultDataSet::identity>(source);
}

constexpr FieldRow foreign_rows[] = {
    {"qualified", Origin::Derived, heard<&ForeignMaster::qualified>},
    {"recv_updated", Origin::Absent, absent},
    {"prev_msg_cnt", Origin::Derived, heard<&ForeignMaster::previous_count>, FieldRow::Role::Quiet},
    {"curr_msg_cnt", Origin::Derived, heard<&ForeignMaster::current_count>, FieldRow::Role::Quiet},
    {"compare_data.grand_master_priority1", Origin::Derived, heard<&ForeignMaster::grandmaster_priority1>},
    {"compare_data.grand_master_priority2", Origin::Derived, heard<&ForeignMaster::grandmaster_priority2>},
    {"compare_data.grand_master_identity.ptp_clk_id", Origin::Derived, heard<&ForeignMaster::grandmaster>},
    {"compare_data.grand_master_quality.clock_class", Origin::Derived, heard<quality, &ClockQuality::clock_class>},
    {"compare_data.grand_master_quality.offset_scaled_log_var", Origin::Derived,
     as_int16<heard<quality, &ClockQuality::offset_scaled_log_variance>>},
    {"compare_data.grand_master_quality.clock_accuracy", Origin::Derived,
     mapped<to_clock_accuracy, heard<quality, &ClockQuality::clock_accuracy>>},
    {"compare_data.steps_removed", Origin::Derived, heard<&ForeignMaster::steps_removed>},
    {"compare_data.foreign_port_identity.clock_identity.ptp_clk_id", Origin::Derived,
     heard<&ForeignMaster::sender, &PortIdentity::clock>},
    {"compare_data.foreign_port_identity.portNumber", Origin::Derived,
     heard<&ForeignMaster::sender, &PortIdentity::port>},
    {"compare_data.receiving_port_identity.clock_identity.ptp_clk_id", Origin::Derived, own_identity},
    {"compare_data.receiving_port_identity.portNumber", Origin::Derived, heard<&ForeignMaster::receiving_port>},
};

Value foreign_ip(const ReportSource &source) {
    const std::optional<IpAddress> address = parse_address(source.foreign->address);
    return address ? Value(*address) : Value();
}

/** The name of a field as a template argument. */
template <std::size_t Size>
struct FieldName {
    constexpr FieldName(const char (&text)[Size]) { std::copy_n(text, Size, characters); }
    char characters[Size];
};

/** A number of the configuration of the port that heard the master. */
template <FieldName Field>
Value of_receiving_port(const ReportSource &source) {
    const std::size_t index = source.foreign->receiving_port - 1u;
    if (source.intent == nullptr || index >= source.intent->ports().size()) {
        return {};
    }
    return optional_value(source.intent->ports()[index].port->number(Field.characters));
}

Value candidate_stream(const ReportSource &source) {
    constexpr std::int64_t widest = 0xFF;  // of this field; stream handles have sixteen bits
    const std::optional<std::int64_t> stream =
        source.intent == nullptr ? std::nullopt : stream_of(*source.intent, *source.foreign);
    return stream && *stream <= widest ? Value(*stream) : Value();
}

constexpr FieldRow candidate_rows[] = {
    {"clk_id.ptp_clk_id", Origin::Derived, heard<&ForeignMaster::grandmaster>},
    {"priority1", Origin::Derived, heard<&ForeignMaster::grandmaster_priority1>},
    {"priority2", Origin::Derived, heard<&ForeignMaster::grandmaster_priority2>},
    {"clock_class", Origin::Derived, heard<quality, &ClockQuality::clock_class>},
    {"clock_accuracy", Origin::Derived, heard<quality, &ClockQuality::clock_accuracy>},
    {"local_priority", Origin::Configured, of_receiving_port<"local_priority">},
    {"ptsf_status", Origin::Absent, absent},
    {"stream_hdl", Origin::Derived, candidate_stream},
    {"scaled_log_variance", Origin::Derived, heard<quality, &ClockQuality::offset_scaled_log_variance>},
    {"steps_removed", Origin::Derived, heard<&ForeignMaster::steps_removed>},
    {"alarms_in_stream", Origin::Absent, absent},
    {"mst_ip", Origin::Derived, [](const ReportSource &source) { return ipv4_number(foreign_ip(source)); }},
    {"encap", Origin::Configured, of_receiving_port<"encap">},
    {"mst_mac", Origin::Derived, foreign_mac},
    {"mst_ip_ext", Origin::Derived, foreign_ip},
};

bool is_qualified(const ReportSource &source) { return source.foreign->qualified; }

constexpr RowGroup details_group[] = {{0, "", details_rows}};
constexpr RowGroup selection_group[] = {{0, "curr_mst.", details_rows}};
constexpr RowGroup foreign_group[] = {{0, "", foreign_rows}};
constexpr RowGroup selected_group[] = {{0, "", selected_rows}};

constexpr ReportRow rows[] = {
    {"ptp_foreign_master_record_msg", Scope::ForeignMaster, false, foreign_group},
    {"ptp_current_master_details", Scope::Clock, false, details_group},
    {"ptp_bmca_data_msg",
     Scope::Clock,
     false,
     selection_group,
     {"mst_attr_arr", Scope::ForeignMaster, candidate_rows, is_qualified, "num_qualified_master", false}},
};

constexpr std::int64_t second_ns = 1'000'000'000;

constexpr FieldRow jump_rows[] = {
    {"delta_time_sec", Origin::Derived,
     [](const ReportSource &source) { return Value(std::abs(source.jump->size_ns) / second_ns); }},
    {"delta_time_nano_sec", Origin::Derived,
     [](const ReportSource &source) { return Value(std::abs(source.jump->size_ns) % second_ns); }},
    {"negative", Origin::Derived, [](const ReportSource &source) { return to_value(source.jump->size_ns < 0); }},
};

constexpr FieldRow registration_rows[] = {
    {"ptp_stack_ver", Origin::Derived, [](const ReportSource &) { return Value(std::int64_t{PTP_AGENT_VERSION}); }},
};

constexpr RowGroup registration_group[] = {{0, "", registration_rows}};
constexpr ReportRow registration_row = {"ptp_ptpd_kerd_reg_msg", Scope::Clock, false, registration_group};

constexpr RowGroup jump_group[] = {{0, "", jump_rows}};
constexpr ReportRow selected_event = {"ptp_current_selected_master_event", Scope::Clock, false, selected_group};
constexpr ReportRow set_event = {"ptp_set_time_event", Scope::Clock, false, jump_group};
constexpr ReportRow step_event = {"ptp_step_time_event", Scope::Clock, false, jump_group};

}  // namespace

std::optional<IpAddress> parse_address(const std::string &text) {
    IpAddress address;
    if (inet_pton(AF_INET, text.c_str(), address.bytes.data()) == 1) {
        address.family = VELA_IP_V4;
    } else if (inet_pton(AF_INET6, text.c_str(), address.bytes.data()) == 1) {
        address.family = VELA_IP_V6;
    } else {
        return std::nullopt;
    }
    return address;
}

std::optional<std::int64_t> stream_of(const ClockIntent &intent, const ForeignMaster &master) {
    const std::size_t index = master.receiving_port - 1u;
    if (index >= intent.ports().size()) {
        return std::nullopt;
    }
    const std::vector<SharedRecord> &streams = intent.ports()[index].streams;
    const std::optional<IpAddress> address = parse_address(master.address);
    for (const SharedRecord &stream : streams) {
        const ip_address *peer = stream->ip("dest_addr");
        const en_address *mac = stream->mac("dest_mac_addr");
        const bool is_address = address && peer != nullptr && peer->family == address->family &&
                                std::equal(address->bytes.begin(), address->bytes.end(), peer->bytes);
        const bool is_mac = mac != nullptr && std::equal(master.mac.begin(), master.mac.end(), mac->octet);
        if (is_address || is_mac) {
            return stream->number("stream_handle");
        }
    }
    // All masters on a port are peers of its one multicast stream.
    const bool is_multicast = streams.size() == 1 && !streams[0]->is_true("unicast");
    return is_multicast ? streams[0]->number("stream_handle") : std::nullopt;
}

std::span<const ReportRow> master_report_rows() { return rows; }
const ReportRow &selected_master_event() { return selected_event; }
const ReportRow &set_time_event() { return set_event; }
const ReportRow &step_time_event() { return step_event; }
const ReportRow &registration() { return registration_row; }

}  // namespace ptp_agent
