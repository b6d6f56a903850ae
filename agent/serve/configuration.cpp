// Reads the agent's configuration file.
#include "agent/serve/configuration.h"

#include <cstring>

#include "agent/base/whole_file.h"
#include "agent/serve/toml_section.h"

namespace ptp_agent {
namespace {

void read_daemon(TomlSection section, DaemonConfiguration &daemon) {
    section.read("executable", daemon.executable);
    section.read("arguments", daemon.arguments);
    daemon.is_external = section.read_choice("supervision", {"child", "external"}, 0) == 1;
    section.read("socket", daemon.socket);
    section.read("clock", daemon.clock);
    section.read("domain", daemon.domain);
    daemon.options.global = section.read_rows("options");
    TomlSection interfaces = section.section("interfaces");
    for (const std::string &name : interfaces.keys()) {
        daemon.options.interfaces[name] = interfaces.read_rows(name);
    }
    if (daemon.is_external && daemon.socket.empty()) {
        section.refuse("supervision", "an external daemon needs daemon.socket, its uds_address");
    }
    if (!daemon.is_external && !daemon.socket.empty()) {
        section.refuse("socket", "is for supervision = \"external\"; the agent gives its own daemons one");
    }
    const std::vector<std::string> problems = check(daemon.options);
    if (!problems.empty()) {
        section.refuse("options", problems.front());
    }
    section.finish();
}

ControlPlaneConfiguration read_control_plane(TomlSection section) {
    ControlPlaneConfiguration plane;
    static const std::vector<std::string_view> domains = {"gable", "wicket", "skein", "osprey"};
    plane.domain = domains[section.read_choice("domain", domains, 0)];
    std::string listen, connect;
    section.read("listen", listen);
    section.read("connect", connect);
    if (listen.empty() == connect.empty()) {
        section.refuse("listen", "give either listen or connect, with a URI as \"unix:/run/ptp.sock\"");
    }
    plane.connects = !connect.empty();
    plane.uri = plane.connects ? connect : listen;
    section.read("allow_other_users", plane.allow_other_users);
    section.read_mode("mode", plane.socket_mode);
    section.finish();
    return plane;
}

void read_holdover(TomlSection section, HoldoverModel &model) {
    section.read("lock_bound_ns", model.lock_bound_ns);
    section.read("lock_time_ns", model.lock_time_ns);
    section.read("unlock_time_ns", model.unlock_time_ns);
    section.read("silence_ns", model.silence_ns);
    section.read("specification_ns", model.specification_ns);
    section.read("out_of_specification_ns", model.out_of_specification_ns);
    section.read("drift_ppb", model.drift_ppb);
    section.read("aging_ppb_per_hour", model.aging_ppb_per_hour);
    section.read("temperature_ppb_per_kelvin", model.temperature_ppb_per_kelvin);
    section.read("temperature_range_kelvin", model.temperature_range_kelvin);
    section.read("initial_error_ns", model.initial_error_ns);
    section.read("timer_unit_ns", model.timer_unit_ns);
    section.read("frequency_category", model.frequency_category, std::uint8_t{1}, std::uint8_t{3});
    section.read("locked_variance", model.locked_variance);
    section.read("locked_accuracy", model.locked_accuracy);
    section.read("is_system_clock", model.is_system_clock);
    section.finish();
}

void read_limits(TomlSection section, notification::Limits &limits) {
    section.read("connections", limits.connections);
    section.read("connections_per_peer", limits.connections_per_peer);
    section.read("subscriptions", limits.subscriptions);
    section.read("subscriptions_per_peer", limits.subscriptions_per_peer);
    section.read("body_bytes", limits.body_bytes);
    section.read("reply_bytes", limits.reply_bytes);
    section.read("queued_events", limits.queued_events);
    section.read("request_ms", limits.request);
    section.read("connect_ms", limits.connect);
    section.read("delivery_ms", limits.delivery);
    section.read("first_retry_ms", limits.first_retry);
    section.read("most_retry_ms", limits.most_retry);
    section.read("remove_after_ms", limits.remove_after);
    section.finish();
}

void read_notification(TomlSection section, AgentConfiguration &configuration) {
    notification::Configuration &api = configuration.notification;
    configuration.serves_notifications = static_cast<bool>(section);
    api.state_file = configuration.state_directory + "/subscriptions.json";
    section.read("listen_address", api.listen_address);
    section.read("port", api.port);
    section.read("allow_unprotected", api.allow_unprotected);
    section.read("cluster_name", api.cluster_name);
    section.read("node_name", api.node_name);
    section.read("os_clock", api.os_clock);
    section.read("gnss", api.gnss);
    section.read("state_file", api.state_file);
    section.read("token_file", api.token_file);
    section.read("certificate_file", api.certificate_file);
    section.read("key_file", api.key_file);
    section.read("consumer_ca_file", api.consumer_ca_file);
    section.read("consumer_networks", api.consumer_networks);
    api.spelling = section.read_choice("spelling", {"standard", "camel"}, 0) == 0
                       ? notification::MemberSpelling::Standard
                       : notification::MemberSpelling::Camel;
    read_limits(section.section("limits"), api.limits);
    section.finish();
}

void read_observation(TomlSection section, AgentConfiguration &configuration) {
    section.read("poll_ms", configuration.poll_ms, std::uint64_t{50}, std::uint64_t{60'000});
    section.read("full_report_s", configuration.full_report_s, std::uint64_t{1}, std::uint64_t{86'400});
    section.read("statistics_s", configuration.statistics_s, std::uint64_t{1}, std::uint64_t{86'400});
    section.read("announce_listener", configuration.listens_for_announce);
    section.finish();
}

void read_status(TomlSection section, AgentConfiguration &configuration) {
    configuration.status_socket = configuration.runtime_directory + "/status.sock";
    section.read("socket", configuration.status_socket);
    section.read_mode("mode", configuration.status_mode);
    section.read("metrics", configuration.metrics_address);
    section.finish();
}

}  // namespace

AgentConfiguration parse_configuration(const std::string &text, const std::string &path) {
    AgentConfiguration configuration;
    try {
        const toml::table table = toml::parse(text, path);
        TomlSection all(&table, "", path);
        all.read("runtime_directory", configuration.runtime_directory);
        all.read("state_directory", configuration.state_directory);
        read_daemon(all.section("daemon"), configuration.daemon);
        for (const TomlSection &plane : all.sections("control_plane")) {
            configuration.control_planes.push_back(read_control_plane(plane));
        }
        read_observation(all.section("observation"), configuration);
        read_status(all.section("status"), configuration);
        read_holdover(all.section("holdover"), configuration.holdover);
        read_notification(all.section("notification"), configuration);
        all.finish();
    } catch (const toml::parse_error &error) {
        throw ConfigurationError(path + ":" + std::to_string(error.source().begin.line) + ": " +
                                 std::string(error.description()));
    }
    return configuration;
}

AgentConfiguration read_configuration(const std::string &path) {
    const std::optional<std::string> text = read_file(path);
    if (!text) {
        throw ConfigurationError(path + ": " + std::strerror(errno));
    }
    return parse_configuration(*text, path);
}

}  // namespace ptp_agent
