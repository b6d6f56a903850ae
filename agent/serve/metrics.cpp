// Prometheus' text exposition of the agent's state.
#include <sstream>

#include "agent/serve/status.h"

namespace ptp_agent {
namespace {

/** One family of samples. */
class Family {
  public:
    Family(std::ostringstream &out, const char *name, const char *type, const char *help) : out_(out), name_(name) {
        out_ << "# HELP ptp_agent_" << name << ' ' << help << "\n# TYPE ptp_agent_" << name << ' ' << type << '\n';
    }
    template <typename Number>
    void add(const std::string &labels, Number value) {
        out_ << "ptp_agent_" << name_ << (labels.empty() ? "" : "{" + labels + "}") << ' ' << +value << '\n';
    }

  private:
    std::ostringstream &out_;
    const char *name_;
};

std::string label(const char *name, const std::string &value) {
    std::string escaped;
    for (const char each : value) {
        escaped += each == '"' || each == '\\' ? std::string{'\\', each} : std::string(1, each == '\n' ? ' ' : each);
    }
    return std::string(name) + "=\"" + escaped + "\"";
}

std::string label_of(const ClockUnit &clock) { return label("clock", std::to_string(clock.handle())); }

void add_states(std::ostringstream &out, const Agent &agent) {
    Family states(out, "clock_state", "gauge", "1 for the state that the clock is in, 0 for the others.");
    for (const auto &[handle, clock] : agent.clocks()) {
        for (const LockState state : {LockState::FreeRun, LockState::Acquiring, LockState::Locked,
                                      LockState::HoldoverInSpec, LockState::HoldoverOutOfSpec}) {
            states.add(label_of(*clock) + "," + label("state", std::string(to_text(state))),
                       clock->holdover().state == state ? 1 : 0);
        }
    }
}

void add_interval(std::ostringstream &out, const Agent &agent, const char *name, const char *help,
                  std::int64_t CurrentDataSet::*interval) {
    Family family(out, name, "gauge", help);
    for (const auto &[handle, clock] : agent.clocks()) {
        if (const auto &current = clock->last_observation().current_ds) {
            family.add(label_of(*clock), static_cast<double>((*current).*interval) / 65536e9);
        }
    }
}

void add_data_sets(std::ostringstream &out, const Agent &agent) {
    Family answers(out, "daemon_answers", "gauge", "Whether the daemon answered the last poll.");
    for (const auto &[handle, clock] : agent.clocks()) {
        answers.add(label_of(*clock), clock->last_observation().default_ds ? 1 : 0);
    }
    Family clock_class(out, "clock_class", "gauge", "clockClass of the clock by its state.");
    for (const auto &[handle, clock] : agent.clocks()) {
        clock_class.add(label_of(*clock), clock->holdover().clock_class);
    }
    add_interval(out, agent, "offset_from_master_seconds", "Time of the clock minus that of its master.",
                 &CurrentDataSet::offset_from_master);
    add_interval(out, agent, "mean_path_delay_seconds", "Delay between the clock and its master.",
                 &CurrentDataSet::mean_path_delay);
}

void add_ports(std::ostringstream &out, const Agent &agent) {
    Family states(out, "port_state", "gauge", "portState of IEEE 1588 as its number.");
    for (const auto &[handle, clock] : agent.clocks()) {
        for (const PortObservation &port : clock->last_observation().ports) {
            if (port.data_set) {
                states.add(label_of(*clock) + "," + label("port", std::to_string(port.number)) + "," +
                               label("interface", port.interface.value_or("")),
                           static_cast<unsigned>(port.data_set->state));
            }
        }
    }
    Family packets(out, "port_packets_total", "counter", "PTP messages of all types, by direction.");
    for (const auto &[handle, clock] : agent.clocks()) {
        for (const PortObservation &port : clock->last_observation().ports) {
            std::uint64_t sent = 0, received = 0;
            for (std::size_t i = 0; port.counters && i < port.counters->sent.size(); ++i) {
                sent += port.counters->sent[i];
                received += port.counters->received[i];
            }
            if (port.counters) {
                const std::string labels = label_of(*clock) + "," + label("port", std::to_string(port.number)) + ",";
                packets.add(labels + label("direction", "sent"), sent);
                packets.add(labels + label("direction", "received"), received);
            }
        }
    }
}

void add_work(std::ostringstream &out, const Agent &agent) {
    Family starts(out, "daemon_starts_total", "counter", "How often the daemon was started.");
    for (const auto &[handle, clock] : agent.clocks()) {
        starts.add(label_of(*clock), clock->control().supervisor().starts());
    }
    Family failures(out, "daemon_failures_total", "counter", "How often the daemon ended by itself.");
    for (const auto &[handle, clock] : agent.clocks()) {
        failures.add(label_of(*clock), clock->control().supervisor().failures());
    }
    Family management(out, "management_requests_total", "counter", "Requests to the daemon, by outcome.");
    for (const auto &[handle, clock] : agent.clocks()) {
        const ManagementStatistics &counts = clock->daemon().client().statistics();
        management.add(label_of(*clock) + "," + label("outcome", "answered"), counts.replies);
        management.add(label_of(*clock) + "," + label("outcome", "unanswered"), counts.unanswered);
    }
    Family messages(out, "messages_total", "counter", "Messages from control planes, by what became of them.");
    for (const auto &[message, counts] : agent.messages()) {
        const std::string name = label("message", message) + ",";
        messages.add(name + label("outcome", "applied"), counts.applied);
        messages.add(name + label("outcome", "refused"), counts.refused);
        messages.add(name + label("outcome", "not_expressible"), counts.not_expressible);
    }
    Family peers(out, "control_plane_peers", "gauge", "Control planes that are connected.");
    for (const auto &plane : agent.control_planes()) {
        peers.add(label("uri", plane->uri()), plane->statistics().peers);
    }
}

}  // namespace

std::string metrics_text(const Agent &agent) {
    std::ostringstream out;
    out.precision(12);
    add_states(out, agent);
    add_data_sets(out, agent);
    add_ports(out, agent);
    add_work(out, agent);
    return out.str();
}

}  // namespace ptp_agent
