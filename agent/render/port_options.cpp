// Options of an interface's section: what a port and its streams are.
#include <algorithm>

#include "agent/render/options.h"
#include "ptp_cfg/enumerations.h"

namespace ptp_agent {

bool asks_a_master(const Record &stream) {
    return stream.is_true("unicast") && stream.number("stream_mode") != VELA_PTP_STREAM_MASTER_ONLY;
}

namespace {

/** Whether the port exchanges unicast messages at all. */
bool is_unicast(const Context &context) {
    const auto &streams = context.port->streams;
    return context.profile.is_unicast || context.port->port->is_true("ucast_neg.enabled") ||
           std::any_of(streams.begin(), streams.end(),
                       [](const SharedRecord &each) { return each->is_true("unicast"); });
}

/** Whether the port has streams, and every one is unicast. */
bool is_unicast_alone(const Context &context) {
    const auto &streams = context.port->streams;
    const bool has_only = !streams.empty() && std::all_of(streams.begin(), streams.end(), [](const SharedRecord &each) {
        return each->is_true("unicast");
    });
    return (context.profile.is_unicast || has_only) && !context.port->port->is_true("mixed_mode");
}

std::string transport(const Context &context, std::string_view) {
    switch (encapsulation_of(context)) {
        case VELA_PTP_CFG_PORT_ENCAP_ETH:
            return "L2";
        case VELA_PTP_CFG_PORT_EENCAP_IPV6:
            return "UDPv6";
        default:
            return "UDPv4";
    }
}

std::string delay_mechanism(const Context &context, std::string_view field) {
    return context.record().number(field) == VELA_PTP_DELAY_MECHANISM_P2P ? "P2P" : "E2E";
}

std::string master_only(const Context &context, std::string_view) {
    const auto mode = context.intent.clock().number("clk_mode");
    const Record &port = context.record();
    const bool is_on = port.is_true("not_slave") || port.number("port_role") == VELA_PTP_CFG_PORT_MASTER ||
                       mode == VELA_PTP_CLOCK_MODE_OC_MASTER || mode == VELA_PTP_CLOCK_MODE_BC_MASTER;
    if (!is_on && port.number("port_role") == VELA_PTP_CFG_PORT_SLAVE && !is_slave_only(context.intent)) {
        context.notes.push_back("port " + port.shown("port_num") +
                                ": port_role: the daemon has slave-only clocks, no slave-only ports; master selection "
                                "decides");
    }
    return is_on ? "1" : "0";
}

/** The port's rate: where streams differ, that which none of them finds too slow. */
std::string fastest(const Context &context, std::string_view field, std::int64_t otherwise) {
    std::optional<std::int64_t> least;
    bool do_differ = false;
    for (const SharedRecord &stream : context.port->streams) {
        const std::int64_t value = stream->number_or(field, otherwise);
        do_differ = do_differ || (least && *least != value);
        least = std::min(least.value_or(value), value);
    }
    if (do_differ) {
        context.notes.push_back("port " + context.record().shown("port_num") + ": its streams differ in " +
                                std::string(field) + "; the fastest holds for all");
    }
    return std::to_string(least.value_or(otherwise));
}

/** The longest of the streams' times, of which 0 says nothing. */
std::string longest(const Context &context, std::string_view field, std::int64_t otherwise) {
    std::int64_t most = 0;
    for (const SharedRecord &stream : context.port->streams) {
        most = std::max(most, stream->number_or(field, 0));
    }
    return std::to_string(most != 0 ? most : otherwise);
}

std::string announce(const Context &context, std::string_view field) {
    return fastest(context, field, context.profile.log_announce);
}

std::string sync(const Context &context, std::string_view field) {
    return fastest(context, field, context.profile.log_sync);
}

std::string delay_request(const Context &context, std::string_view field) {
    return fastest(context, field, context.profile.log_delay_request);
}

std::string receipt_timeout(const Context &context, std::string_view field) {
    return longest(context, field, context.profile.receipt_timeout);
}

/** Only over Ethernet; a multicast stream may choose another address than the profile's first. */
std::string destination(const Context &context, std::string_view field) {
    if (encapsulation_of(context) != VELA_PTP_CFG_PORT_ENCAP_ETH) {
        return {};
    }
    const std::string none = to_text(en_address{});
    for (const SharedRecord &stream : context.port->streams) {
        if (!stream->is_true("unicast") && stream->shown(field) != none) {
            return stream->shown(field);
        }
    }
    return std::string(context.profile.multicast);
}

std::string hybrid(const Context &context, std::string_view field) {
    return as_switch(context.record().is_true(field) || is_unicast(context));
}

std::string inhibit_multicast(const Context &context, std::string_view) { return as_switch(is_unicast_alone(context)); }

std::string unicast_listen(const Context &context, std::string_view field) {
    const auto &streams = context.port->streams;
    const bool serves = std::any_of(streams.begin(), streams.end(), [](const SharedRecord &each) {
        return each->is_true("unicast") && !asks_a_master(*each);
    });
    return as_switch(context.record().is_true(field) || serves);
}

bool has_masters(const Context &context) {
    const auto &streams = context.port->streams;
    return std::any_of(streams.begin(), streams.end(), [](const SharedRecord &each) { return asks_a_master(*each); });
}

/** The table has the port's number. */
std::string master_table(const Context &context, std::string_view field) {
    return has_masters(context) ? as_number(context, field) : std::string();
}

std::string request_duration(const Context &context, std::string_view field) {
    return has_masters(context) ? longest(context, field, context.profile.grant_seconds) : std::string();
}

constexpr OptionRow rows[] = {
    {"network_transport", "", transport},
    {"delay_mechanism", "delay_mechanism", delay_mechanism},
    {"masterOnly", "", master_only},
    {"G.8275.portDS.localPriority", "local_priority", as_local_priority},
    {"logAnnounceInterval", "log_announce_intrvl", announce},
    {"announceReceiptTimeout", "announce_receipt_timeout", receipt_timeout},
    {"logSyncInterval", "log_sync_interval", sync},
    {"logMinDelayReqInterval", "log_min_delay_req_interval", delay_request},
    {"ptp_dst_mac", "dest_mac_addr", destination},
    {"hybrid_e2e", "mixed_mode", hybrid},
    {"inhibit_multicast_service", "", inhibit_multicast},
    {"unicast_listen", "ucast_neg.enabled", unicast_listen},
    {"unicast_master_table", "port_num", master_table},
    {"unicast_req_duration", "unicast_negotiation_duration", request_duration},
};

}  // namespace

std::span<const OptionRow> port_options() { return rows; }

std::int64_t encapsulation_of(const Context &context) {
    const auto is_stated = [](std::int64_t encapsulation) { return encapsulation != VELA_PTP_CFG_PORT_ENCAP_NOT_SET; };
    const std::int64_t own = context.port->port->number_or("encap", VELA_PTP_CFG_PORT_ENCAP_NOT_SET);
    if (is_stated(own)) {
        return own;
    }
    for (const SharedRecord &stream : context.port->streams) {
        const std::int64_t of_stream = stream->number_or("encap", VELA_PTP_CFG_PORT_ENCAP_NOT_SET);
        if (is_stated(of_stream)) {
            return of_stream;
        }
        const ip_address *peer = stream->ip("dest_addr");
        if (peer != nullptr && peer->family == VELA_IP_V6) {
            return VELA_PTP_CFG_PORT_EENCAP_IPV6;
        }
    }
    return context.profile.encapsulation;
}

}  // namespace ptp_agent
