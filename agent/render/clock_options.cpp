// Options of [global]: what a clock is.
#include <algorithm>
#include <array>
#include <cstdio>

#include "agent/render/options.h"
#include "agent/render/values.h"
#include "ptp_cfg/enumerations.h"

namespace ptp_agent {
namespace {

constexpr std::array<ProfileDefaults, 3> profiles = {{
    {VELA_PTP_PROFILE_DEFAULT, "ieee1588", false, VELA_PTP_CFG_PORT_ENCAP_IPV4, "01:1b:19:00:00:00", 1, 0, 0, 3, 300,
     false},
    {VELA_PTP_PHASE_PROFILE_G8275_1, "G.8275.x", true, VELA_PTP_CFG_PORT_ENCAP_ETH, "01:80:c2:00:00:0e", -3, -4, -4, 3,
     300, false},
    {VELA_PTP_PHASE_PROFILE_G8275_2, "G.8275.x", true, VELA_PTP_CFG_PORT_ENCAP_IPV4, "01:1b:19:00:00:00", 0, -4, -4, 3,
     300, true},
}};

std::string comparison(const Context &context, std::string_view) { return std::string(context.profile.comparison); }

std::string slave_only(const Context &context, std::string_view) { return is_slave_only(context.intent) ? "1" : "0"; }

/** A clock with time sources announces their quality once the daemon runs and they are good, and none of its own before. */
ClockQuality first_quality(const Context &context) {
    return context.intent.virtual_ports().empty() || is_slave_only(context.intent)
               ? quality_at(context.intent.clock(), "default_data_set.clock_quality")
               : ClockQuality{};
}

std::string hexadecimal(unsigned value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*X", digits, value);
    return text;
}

std::string clock_class(const Context &context, std::string_view) {
    return is_slave_only(context.intent) ? "255" : std::to_string(first_quality(context).clock_class);
}

std::string accuracy(const Context &context, std::string_view) {
    return hexadecimal(first_quality(context).clock_accuracy, 2);
}

std::string variance(const Context &context, std::string_view) {
    return hexadecimal(first_quality(context).offset_scaled_log_variance, 4);
}

/** "aabbcc.fffe.000110"; not stated for zeros, from which the daemon would make none. */
std::string identity(const Context &context, std::string_view field) {
    std::array<unsigned, 8> octets{};
    for (std::size_t index = 0; index < octets.size(); ++index) {
        const std::string path = std::string(field) + "[" + std::to_string(index) + "]";
        octets[index] = static_cast<unsigned>(context.record().number_or(path, 0));
    }
    if (std::all_of(octets.begin(), octets.end(), [](unsigned octet) { return octet == 0; })) {
        return {};
    }
    char text[32];
    std::snprintf(text, sizeof text, "%02x%02x%02x.%02x%02x.%02x%02x%02x", octets[0], octets[1], octets[2], octets[3],
                  octets[4], octets[5], octets[6], octets[7]);
    return text;
}

std::string_view option_of(const RenderOptions &options, std::string_view name) {
    for (const auto &[option, value] : options.global) {
        if (option == name) {
            return value;
        }
    }
    return {};
}

std::string two_step(const Context &context, std::string_view field) {
    if (context.record().is_true(field)) {
        return "1";
    }
    const std::string_view timestamping = option_of(context.options, "time_stamping");
    if (timestamping == "software" || timestamping == "legacy") {
        context.notes.push_back(
            "default_data_set.two_step_flag: one-step was asked for, which needs hardware timestamps; "
            "with time_stamping " +
            std::string(timestamping) + " the clock is two-step");
        return "1";
    }
    return "0";
}

std::string utc_offset(const Context &context, std::string_view field) {
    const SharedRecord &command = context.intent.settings().utc_offset;
    return std::to_string(command != nullptr ? command->number_or("utc_offset", 0)
                                             : context.record().number_or(field, 0));
}

std::string time_source(const Context &context, std::string_view field) {
    return hexadecimal(time_source_octet(context.record().number_or(field, 0)), 2);
}

bool is_transparent(const ClockIntent &intent) {
    const std::int64_t type = intent.clock().number_or("clk_type", 0);
    return type == VELA_PTP_CFG_CLK_TYPE_P2P_TRANSPARENT || type == VELA_PTP_CFG_CLK_TYPE_E2E_TRANSPARENT;
}

std::string clock_type(const Context &context, std::string_view field) {
    const auto type = context.record().number(field);
    if (is_transparent(context.intent)) {
        return type == VELA_PTP_CFG_CLK_TYPE_P2P_TRANSPARENT ? "P2P_TC" : "E2E_TC";
    }
    const bool has_several = context.intent.ports().size() > 1;
    if (type == VELA_PTP_CFG_CLK_TYPE_BOUNDARY && !has_several) {  // which the daemon takes for a mistake
        context.notes.push_back(
            "clk_type: a boundary clock with one port runs as an ordinary clock until it has a second");
    }
    return has_several ? "BC" : "OC";
}

/** The daemon wants to hear of it before the ports. */
std::string transparent_mechanism(const Context &context, std::string_view field) {
    return context.record().number(field) == VELA_PTP_CFG_CLK_TYPE_P2P_TRANSPARENT ? "P2P" : "";
}

/** Weights help where delay varies much; elsewhere the daemon's own choice stands. */
std::string filter(const Context &context, std::string_view) {
    const Record &clock = context.intent.clock();
    const bool is_jittery = clock.number("network_type") == VELA_PTP_HI_JITTER_NETWORK_TYPE ||
                            clock.number("tracking_type") == VELA_PTP_HI_JITTER_TRACKING_TYPE;
    return is_jittery ? "filter_weight" : "";
}

constexpr OptionRow rows[] = {
    {"clock_type", "clk_type", clock_type},
    {"delay_mechanism", "clk_type", transparent_mechanism},
    {"dataset_comparison", "", comparison},
    {"domainNumber", "default_data_set.clk_domain", as_number},
    {"clockIdentity", "default_data_set.clk_id.ptp_clk_id", identity},
    {"slaveOnly", "", slave_only},
    {"twoStepFlag", "default_data_set.two_step_flag", two_step},
    {"priority1", "default_data_set.priority1", as_number, true},
    {"priority2", "default_data_set.priority2", as_number, true},
    {"clockClass", "", clock_class, true},
    {"clockAccuracy", "", accuracy, true},
    {"offsetScaledLogVariance", "", variance, true},
    {"G.8275.defaultDS.localPriority", "default_data_set.local_priority", as_local_priority},
    {"utc_offset", "time_properties.currentUtcOffset", utc_offset, true},
    {"timeSource", "time_properties.timeSource", time_source, true},
    {"tsproc_mode", "", filter},
};

}  // namespace

std::span<const OptionRow> clock_options() { return rows; }

const ProfileDefaults &defaults_of(const ClockIntent &intent) {
    const auto profile = intent.clock().number("clk_profile");
    const auto *const place = std::find_if(profiles.begin(), profiles.end(), [&profile](const ProfileDefaults &each) {
        return each.clk_profile == profile;
    });
    return place == profiles.end() ? profiles.front() : *place;
}

bool is_slave_only(const ClockIntent &intent) {
    const Record &clock = intent.clock();
    const auto mode = clock.number("clk_mode");
    const bool is_slave_port =
        intent.ports().size() == 1 && intent.ports().front().port->number("port_role") == VELA_PTP_CFG_PORT_SLAVE;
    return clock.is_true("default_data_set.slv_only") || mode == VELA_PTP_CLOCK_MODE_OC_SLAVE ||
           mode == VELA_PTP_CLOCK_MODE_OC_SLAVE_HYBRID || is_slave_port;
}

std::string as_number(const Context &context, std::string_view field) {
    return std::to_string(context.record().number_or(field, 0));
}

std::string as_flag(const Context &context, std::string_view field) {
    return context.record().is_true(field) ? "1" : "0";
}

std::string as_switch(bool is_on) { return is_on ? "1" : ""; }

std::string as_local_priority(const Context &context, std::string_view field) {
    return context.profile.has_local_priorities ? as_number(context, field) : std::string();
}

}  // namespace ptp_agent
