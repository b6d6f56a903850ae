/**
 * What the element's maker says to the agent: /etc/ptp_agent.toml. Everything has a default; a key that is not known is an
 * error, with its line, so that a misspelt one is noticed.
 */
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "agent/holdover/holdover.h"
#include "agent/notification/configuration.h"
#include "agent/render/plan.h"

namespace ptp_agent {

struct DaemonConfiguration {
    std::string executable = "ptp4l";
    std::vector<std::string> arguments = {"-m", "-q"};  ///< its log to standard output, and so to the journal
    bool is_external = false;                           ///< supervision = "external"
    std::string socket;                                 ///< of an external daemon
    std::uint8_t clock = 1;                             ///< handle of the clock that an external daemon is
    std::uint8_t domain = 0;                            ///< in which an external daemon is before a clock is configured
    RenderOptions options;                              ///< [daemon.options]
};

struct ControlPlaneConfiguration {
    std::string domain = "gable";
    std::string uri;
    bool connects = false;  ///< the other end listens
    bool allow_other_users = false;
    std::uint32_t socket_mode = 0600;
};

struct AgentConfiguration {
    std::string runtime_directory = "/run/ptp_agent";
    std::string state_directory = "/var/lib/ptp_agent";
    DaemonConfiguration daemon;
    std::vector<ControlPlaneConfiguration> control_planes;
    std::uint64_t poll_ms = 1000;
    std::uint64_t full_report_s = 60;
    std::uint64_t statistics_s = 10;
    bool listens_for_announce = true;
    std::string status_socket;  ///< default: status.sock in the runtime directory
    std::uint32_t status_mode = 0666;
    std::string metrics_address;  ///< "127.0.0.1:9162"; empty: over the status socket alone
    HoldoverModel holdover;
    bool serves_notifications = false;  ///< there is a table [notification]
    notification::Configuration notification;
};

/** Says what is wrong in the file, and where: "/etc/ptp_agent.toml:12: ...". */
class ConfigurationError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** Throws ConfigurationError. */
AgentConfiguration read_configuration(const std::string &path);
AgentConfiguration parse_configuration(const std::string &text, const std::string &path);

}  // namespace ptp_agent
