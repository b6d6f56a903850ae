// Reports of ports and of the streams on them.
#include "agent/observe/enumerations.h"
#include "agent/observe/values.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/reflect.h"

namespace ptp_agent {
namespace {

using Role = FieldRow::Role;

constexpr auto data_set = &PortObservation::data_set;

Value port_handle(const ReportSource &source) { return optional_value(source.port_handle); }

constexpr FieldRow handle_rows[] = {{"hdl", Origin::Configured, port_handle, Role::Key}};

constexpr FieldRow data_set_rows[] = {
    {"port_identity.clock_identity.ptp_clk_id", Origin::Daemon,
     observed_of_port<data_set, &PortDataSet::identity, &PortIdentity::clock>},
    {"port_identity.portNumber", Origin::Daemon,
     observed_of_port<data_set, &PortDataSet::identity, &PortIdentity::port>},
    {"port_state", Origin::Daemon, mapped<to_port_state, observed_of_port<data_set, &PortDataSet::state>>},
    {"log_min_delay_req_interval", Origin::Daemon,
     observed_of_port<data_set, &PortDataSet::log_min_delay_req_interval>},
    {"peer_mean_path_delay.scaledNanoseconds", Origin::Daemon,
     observed_of_port<data_set, &PortDataSet::peer_mean_path_delay>},
    {"log_announce_interval", Origin::Daemon, observed_of_port<data_set, &PortDataSet::log_announce_interval>},
    {"announce_receipt_timeout", Origin::Daemon, observed_of_port<data_set, &PortDataSet::announce_receipt_timeout>},
    {"log_sync_intrvl", Origin::Daemon, observed_of_port<data_set, &PortDataSet::log_sync_interval>},
    {"delay_mech", Origin::Daemon,
     mapped<to_delay_mechanism, observed_of_port<data_set, &PortDataSet::delay_mechanism>>},
    {"log_min_pdelay_req_interval", Origin::Daemon,
     observed_of_port<data_set, &PortDataSet::log_min_pdelay_req_interval>},
    {"versionNumber", Origin::Daemon, observed_of_port<data_set, &PortDataSet::version>},
};

using Direction = std::array<std::uint64_t, 16> PortCounters::*;

/** Messages of one type, by the messageType of the common header. */
template <Direction Way, unsigned Type>
Value counted(const ReportSource &source) {
    return source.counters == nullptr ? Value() : Value(static_cast<std::int64_t>((source.counters->*Way)[Type]));
}

template <Direction Way>
Value counted_all(const ReportSource &source) {
    if (source.counters == nullptr) {
        return {};
    }
    std::uint64_t sum = 0;
    for (const std::uint64_t count : source.counters->*Way) {
        sum += count;
    }
    return Value(static_cast<std::int64_t>(sum));
}

constexpr Direction sent = &PortCounters::sent, received = &PortCounters::received;

constexpr FieldRow runtime_rows[] = {
    {"session_count", Origin::Absent, absent},
    {"port_state", Origin::Daemon, mapped<to_port_state, observed_of_port<data_set, &PortDataSet::state>>},
    {"role", Origin::Derived, mapped<to_port_role, observed_of_port<data_set, &PortDataSet::state>>},
    {"pkts_sent", Origin::Derived, counted_all<sent>},
    {"pkts_rcvd", Origin::Derived, counted_all<received>},
};

/** A number of the stream's configuration. */
constexpr auto configured = [](const ReportSource &source, const char *path) {
    return source.stream == nullptr ? Value() : optional_value(source.stream->number(path));
};

Value peer_address(const ReportSource &source) {
    const ip_address *address = source.stream == nullptr ? nullptr : source.stream->ip("dest_addr");
    if (address == nullptr || address->family == VELA_IP_NONE) {
        return {};
    }
    IpAddress value;
    value.family = static_cast<std::uint8_t>(address->family);
    std::copy(std::begin(address->bytes), std::end(address->bytes), value.bytes.begin());
    return Value(value);
}

Value peer_ipv4(const ReportSource &source) {
    const Value value = peer_address(source);
    const auto *address = std::get_if<IpAddress>(&value);
    if (address == nullptr || address->family != VELA_IP_V4) {
        return {};
    }
    const auto &bytes = address->bytes;
    return Value(std::int64_t{bytes[0]} << 24 | std::int64_t{bytes[1]} << 16 | std::int64_t{bytes[2]} << 8 | bytes[3]);
}

Value peer_mac(const ReportSource &source) {
    const en_address *address = source.stream == nullptr ? nullptr : source.stream->mac("dest_mac_addr");
    if (address == nullptr) {
        return {};
    }
    MacAddress value;
    std::copy(std::begin(address->octet), std::end(address->octet), value.begin());
    return Value(value);
}

Value stream_handle(const ReportSource &source) { return configured(source, "stream_handle"); }
Value encapsulation(const ReportSource &source) { return configured(source, "encap"); }
Value stream_state(const ReportSource &source) { return optional_value(source.stream_state); }

constexpr FieldRow ip_list_rows[] = {
    {"stream_id", Origin::Configured, stream_handle}, {"port_hdl.hdl", Origin::Configured, port_handle},
    {"addr", Origin::Configured, peer_address},       {"state", Origin::Derived, stream_state},
    {"encap", Origin::Configured, encapsulation},     {"mac_addr", Origin::Configured, peer_mac},
};

constexpr FieldRow ipv4_list_rows[] = {
    {"stream_id", Origin::Configured, stream_handle}, {"port_hdl.hdl", Origin::Configured, port_handle},
    {"addr", Origin::Configured, peer_ipv4},          {"state", Origin::Derived, stream_state},
    {"encap", Origin::Configured, encapsulation},     {"mac_addr", Origin::Configured, peer_mac},
};

// The daemon counts by port: where a port has one stream, its counters are the stream's.
constexpr FieldRow stream_rows[] = {
    {"stream_id", Origin::Configured, stream_handle},
    {"port_hdl.hdl", Origin::Configured, port_handle},
    {"addr", Origin::Configured, peer_address},
    {"encap", Origin::Configured, encapsulation},
    {"mac_addr", Origin::Configured, peer_mac},
    {"l2_tpt_type", Origin::Configured, [](const ReportSource &source) { return configured(source, "l2_tpt_type"); }},
    {"l2_tpt_val", Origin::Configured, [](const ReportSource &source) { return configured(source, "l2_tpt_val"); }},
    {"stats.sync_msg_tx_cnt", Origin::Derived, counted<sent, 0>},
    {"stats.sync_msg_rx_cnt", Origin::Derived, counted<received, 0>},
    {"stats.del_req_msg_tx_cnt", Origin::Derived, counted<sent, 1>},
    {"stats.del_req_msg_rx_cnt", Origin::Derived, counted<received, 1>},
    {"stats.pdel_req_msg_tx_cnt", Origin::Derived, counted<sent, 2>},
    {"stats.pdel_req_msg_rx_cnt", Origin::Derived, counted<received, 2>},
    {"stats.pdel_res_msg_tx_cnt", Origin::Derived, counted<sent, 3>},
    {"stats.pdel_res_msg_rx_cnt", Origin::Derived, counted<received, 3>},
    {"stats.follow_up_msg_tx_cnt", Origin::Derived, counted<sent, 8>},
    {"stats.follow_up_msg_rx_cnt", Origin::Derived, counted<received, 8>},
    {"stats.del_res_msg_tx_cnt", Origin::Derived, counted<sent, 9>},
    {"stats.del_res_msg_rx_cnt", Origin::Derived, counted<received, 9>},
    {"stats.pdel_follow_up_msg_tx_cnt", Origin::Derived, counted<sent, 10>},
    {"stats.pdel_follow_up_msg_rx_cnt", Origin::Derived, counted<received, 10>},
    {"stats.ann_msg_tx_cnt", Origin::Derived, counted<sent, 11>},
    {"stats.ann_msg_rx_cnt", Origin::Derived, counted<received, 11>},
    {"stats.sig_msg_tx_cnt", Origin::Derived, counted<sent, 12>},
    {"stats.sig_msg_rx_cnt", Origin::Derived, counted<received, 12>},
    {"stats.mgmt_msg_tx_cnt", Origin::Derived, counted<sent, 13>},
    {"stats.mgmt_msg_rx_cnt", Origin::Derived, counted<received, 13>},
};

constexpr RowGroup data_set_groups[] = {{0, "", handle_rows}, {1, "", data_set_rows}};
constexpr RowGroup runtime_groups[] = {{0, "", handle_rows}, {1, "", runtime_rows}};

/** A multicast stream has no peer's address; an IPv6 one does not fit in. */
bool fits_ipv4(const ReportSource &source) {
    return std::holds_alternative<std::monostate>(peer_address(source)) ||
           std::holds_alternative<std::int64_t>(peer_ipv4(source));
}

constexpr ReportRow rows[] = {
    {"ptp_port_data_set_info", Scope::Port, true, data_set_groups},
    {"ptp_port_runtime_state_msg", Scope::Port, true, runtime_groups},
    {"ptp_stream_runtime_state_msg",
     Scope::Clock,
     false,
     {},
     {"state", Scope::Stream, stream_rows, nullptr, "cnt", true}},
    {"ptp_ipv4_streams_list_msg",
     Scope::Clock,
     false,
     {},
     {"streams", Scope::Stream, ipv4_list_rows, fits_ipv4, nullptr, true}},
    {"ptp_ip_streams_list_msg",
     Scope::Clock,
     false,
     {},
     {"streams", Scope::Stream, ip_list_rows, nullptr, nullptr, true}},
};

}  // namespace

std::span<const ReportRow> port_report_rows() { return rows; }

}  // namespace ptp_agent
