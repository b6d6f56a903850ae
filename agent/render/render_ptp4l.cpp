// The text of ptp4l's configuration file.
#include <algorithm>
#include <set>

#include "agent/profiles/interface_name.h"
#include "agent/render/options.h"
#include "ptp_cfg/enumerations.h"

namespace ptp_agent {

namespace {

class File {
  public:
    void section(std::string_view name) {
        text += std::string(text.empty() ? "" : "\n") + "[" + std::string(name) + "]\n";
    }
    void option(std::string_view name, std::string_view value) {
        text.append(name).append(" ").append(value).append("\n");
    }
    void options(std::span<const OptionRow> rows, const Context &context) {
        for (const OptionRow &row : rows) {
            const std::string value = row.value(context, row.field);
            if (!value.empty()) {
                option(row.option, value);
            }
        }
    }

    std::string text;
};

/** The masters that a port asks for messages. */
void add_master_table(File &file, const Context &context) {
    const std::int64_t encapsulation = encapsulation_of(context);
    std::set<std::string> known;
    for (const SharedRecord &stream : context.port->streams) {
        if (!asks_a_master(*stream)) {
            continue;
        }
        if (known.empty()) {
            file.section("unicast_master_table");
            file.option("table_id", context.record().shown("port_num"));
            // A master is first asked when this has passed: more than a second would be felt at every start.
            file.option("logQueryInterval", "0");
        }
        const bool is_ethernet = encapsulation == VELA_PTP_CFG_PORT_ENCAP_ETH;
        const std::string peer = stream->shown(is_ethernet ? "dest_mac_addr" : "dest_addr");
        if (known.insert(peer).second) {
            file.option(is_ethernet ? "L2" : peer.find(':') == std::string::npos ? "UDPv4" : "UDPv6", peer);
        }
    }
}

void add_overrides(File &file, const OptionList &overrides) {
    for (const auto &[option, value] : overrides) {
        file.option(option, value);
    }
}

bool is_of_the_intent(std::string_view option) {
    const auto has = [option](std::span<const OptionRow> rows) {
        return std::any_of(rows.begin(), rows.end(), [option](const OptionRow &row) { return row.option == option; });
    };
    return has(clock_options()) || has(port_options());
}

std::string problem_of(const std::string &option, const std::string &value) {
    const auto is_word = [](char character) { return character > ' ' && character < 0x7F; };
    if (option.empty() || !std::all_of(option.begin(), option.end(), is_word) || option[0] == '[' || option[0] == '#') {
        return "'" + option + "' is no option: one word, without '[' and '#' at its start";
    }
    if (value.empty() ||
        std::any_of(value.begin(), value.end(), [](char each) { return each < ' ' || each == 0x7F; })) {
        return option + ": its value is empty or has a line break or another control character";
    }
    if (is_of_the_intent(option)) {
        return option + ": the control plane decides it; take it out";
    }
    return {};
}

}  // namespace

std::vector<std::string> check(const RenderOptions &options) {
    std::vector<std::string> problems;
    const auto check_list = [&problems](const OptionList &list) {
        for (const auto &[option, value] : list) {
            const std::string problem = problem_of(option, value);
            if (!problem.empty()) {
                problems.push_back(problem);
            }
        }
    };
    check_list(options.global);
    for (const auto &[interface, list] : options.interfaces) {
        if (!is_interface_name(interface)) {
            problems.push_back("'" + interface + "' is no name of an interface");
        }
        check_list(list);
    }
    return problems;
}

Ptp4lRendering render_ptp4l(const ClockIntent &intent, const RenderOptions &options) {
    Ptp4lRendering made;
    Context context{intent, defaults_of(intent), options, made.notes};
    File file;
    file.text = "# Written by ptp_agent for clock " + intent.clock().shown("clock_handle") +
                "; changed here, it is overwritten.\n";
    file.section("global");
    file.options(clock_options(), context);
    add_overrides(file, options.global);
    for (const PortIntent &port : intent.ports()) {
        context.port = &port;
        add_master_table(file, context);
    }
    for (const PortIntent &port : intent.ports()) {
        context.port = &port;
        const std::string interface = port.port->text("port_name");
        file.section(interface);
        file.options(port_options(), context);
        const auto overrides = options.interfaces.find(interface);
        if (overrides != options.interfaces.end()) {
            add_overrides(file, overrides->second);
        }
    }
    if (!intent.clock().is_true("revertive_bmca")) {
        made.notes.push_back("revertive_bmca: the daemon always returns to a better master");
    }
    made.rendering.file = std::move(file.text);
    const auto priority = [&intent](std::string_view path) {
        return static_cast<std::uint8_t>(intent.clock().number_or(path, 128));
    };
    made.rendering.settings.priority1 = priority("default_data_set.priority1");
    made.rendering.settings.priority2 = priority("default_data_set.priority2");
    return made;
}

}  // namespace ptp_agent
