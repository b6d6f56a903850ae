// Observations, settings and subscriptions as management requests.
#include "agent/management/ptp4l.h"

#include <algorithm>

#include "base/clocks.h"

namespace ptp_agent {
namespace {

/** More ports than a daemon has: a number from elsewhere does not decide how much is asked. */
constexpr std::uint16_t most_ports = 256;
/** Short: the daemon keeps the subscriptions of agents that ended, and sends for nobody until they expire. */
constexpr std::uint16_t subscription_s = 30;
constexpr std::uint64_t renewal_ms = 10'000;
constexpr std::uint8_t port_state_events = 1 << 0;

template <typename Structure>
auto into(Observed<Structure> Observation::*member) {
    return
        [member](Observation &found, const ManagementReply &reply) { found.*member = decode<Structure>(reply.data); };
}

std::vector<std::uint8_t> encode_octet(ManagementId id, std::uint8_t value) {
    const SingleOctet octet = {value};
    return encode_tlv(*find_tlv(id), &octet);
}

}  // namespace

Ptp4l::Ptp4l(EventLoop &loop, Ptp4lOptions options)
    : options_(std::move(options)), client_(loop, options_.management), renewal_(loop, [this] { renew(); }) {
    client_.on_event([this](ManagementId id, std::span<const std::uint8_t> data, const PortIdentity &source) {
        tell(id, data, source);
    });
    client_.on_connect([this] {
        // Another daemon, perhaps of another release, which knows nothing of the subscription.
        unknown_.clear();
        if (on_event_) {
            renewal_.start_ms(0);
        }
    });
}

std::vector<std::string> Ptp4l::command(const std::string &configuration_path) const {
    std::vector<std::string> words = {options_.executable};
    words.insert(words.end(), options_.arguments.begin(), options_.arguments.end());
    words.insert(words.end(), {"-f", configuration_path});
    return words;
}

std::optional<Trial> Ptp4l::trial(const Rendering &rendering) const {
    // The daemon parses its file line by line before anything else, and ends at the first line that it refuses.
    const std::string unknown = "ends_the_trial_of_ptp_agent";
    return Trial{
        rendering.file + "\n[global]\nuds_address " + options_.management.daemon_path + ".trial\n" + unknown + " 1\n",
        unknown};
}

void Ptp4l::observe(std::function<void(const Observation &)> done) {
    observers_.push_back(std::move(done));
    if (observers_.size() == 1) {
        begin_observation();
    }
}

void Ptp4l::begin_observation() {
    const auto gathering = std::make_shared<Gathering>();
    gathering->found.monotonic_ns = base::clock_ns(CLOCK_MONOTONIC);
    gathering->found.wall_ns = base::clock_ns(CLOCK_REALTIME);
    gathering->done = observers_.front();
    // The first answer says whether anybody is there, and how many ports.
    ask(gathering, all_ports, ManagementId::DefaultDataSet,
        [this, gathering](Observation &found, const ManagementReply &reply) {
            found.default_ds = decode<DefaultDataSet>(reply.data);
            ask_the_rest(gathering);
        });
}

void Ptp4l::ask(const Shared &gathering, std::uint16_t port, ManagementId id, Store store) {
    if (unknown_.contains(id)) {
        return;
    }
    ++gathering->missing;
    client_.get(port, id, [this, gathering, id, store = std::move(store)](const ManagementReply &reply) {
        if (reply.outcome == Outcome::Done) {
            store(gathering->found, reply);
        } else if (reply.outcome == Outcome::Unsupported) {
            unknown_.insert(id);
        }
        if (--gathering->missing == 0) {
            finish(gathering);
        }
    });
}

void Ptp4l::ask_the_rest(const Shared &gathering) {
    ask(gathering, all_ports, ManagementId::CurrentDataSet, into(&Observation::current_ds));
    ask(gathering, all_ports, ManagementId::ParentDataSet, into(&Observation::parent_ds));
    ask(gathering, all_ports, ManagementId::TimeProperties, into(&Observation::time_properties));
    ask(gathering, all_ports, ManagementId::TimeStatus, into(&Observation::time_status));
    ask(gathering, all_ports, ManagementId::GrandmasterSettings, into(&Observation::grandmaster_settings));
    const Observed<DefaultDataSet> &default_ds = gathering->found.default_ds;
    gathering->found.ports.resize(default_ds ? std::min(default_ds->number_ports, most_ports) : 0);
    for (std::size_t i = 0; i < gathering->found.ports.size(); ++i) {
        gathering->found.ports[i].number = static_cast<std::uint16_t>(i + 1);
        ask_port(gathering, i);
    }
}

void Ptp4l::ask_port(const Shared &gathering, std::size_t index) {
    const auto port = static_cast<std::uint16_t>(index + 1);
    ask(gathering, port, ManagementId::PortDataSet, [index](Observation &found, const ManagementReply &reply) {
        found.ports[index].data_set = decode<PortDataSet>(reply.data);
    });
    ask(gathering, port, ManagementId::PortProperties, [index](Observation &found, const ManagementReply &reply) {
        if (const auto properties = decode<PortProperties>(reply.data)) {
            found.ports[index].timestamping = properties->timestamping;
        }
        found.ports[index].interface = decode_text(*find_tlv(ManagementId::PortProperties), reply.data);
    });
    ask(gathering, port, ManagementId::PortStatistics, [index](Observation &found, const ManagementReply &reply) {
        if (const auto statistics = decode<PortStatistics>(reply.data)) {
            found.ports[index].counters = statistics->counters;
        }
    });
}

void Ptp4l::finish(const Shared &gathering) {
    observers_.pop_front();
    if (!observers_.empty()) {
        begin_observation();
    }
    gathering->done(gathering->found);
}

void Ptp4l::set(const Settings &settings, std::function<void(const SettingResult &)> done) {
    const auto steps = std::make_shared<std::deque<Setting>>();
    if (settings.priority1) {
        steps->push_back({ManagementId::Priority1, encode_octet(ManagementId::Priority1, *settings.priority1)});
    }
    if (settings.priority2) {
        steps->push_back({ManagementId::Priority2, encode_octet(ManagementId::Priority2, *settings.priority2)});
    }
    if (settings.grandmaster) {
        steps->push_back({ManagementId::GrandmasterSettings, encode(*settings.grandmaster)});
    }
    set_next(steps, done);
}

void Ptp4l::set_next(const Steps &steps, const std::function<void(const SettingResult &)> &done) {
    if (steps->empty()) {
        done({Outcome::Done, {}});
        return;
    }
    const Setting step = std::move(steps->front());
    steps->pop_front();
    client_.set(all_ports, step.id, step.data, [this, steps, done](const ManagementReply &reply) {
        if (reply.outcome == Outcome::Done) {
            set_next(steps, done);
        } else {
            done({reply.outcome, reply.reason});
        }
    });
}

void Ptp4l::subscribe(std::function<void(const DaemonEvent &)> on_event) {
    on_event_ = std::move(on_event);
    renewal_.start_ms(0);
}

void Ptp4l::renew() {
    EventSubscription subscription;
    subscription.duration_s = subscription_s;
    subscription.events[0] = port_state_events;
    // One that fails is tried again at the next renewal, and at once when the daemon is back.
    client_.set(all_ports, ManagementId::SubscribeEvents, encode(subscription), [](const ManagementReply &) {});
    renewal_.start_ms(renewal_ms);
}

void Ptp4l::tell(ManagementId id, std::span<const std::uint8_t> data, const PortIdentity &source) {
    if (!on_event_) {
        return;
    }
    DaemonEvent event;
    if (id == ManagementId::PortDataSet) {
        event.port.number = source.port;
        event.port.data_set = decode<PortDataSet>(data);
        if (!event.port.data_set) {
            return;
        }
        event.port.number = event.port.data_set->identity.port;
    } else {
        const auto status = decode<TimeStatus>(data);
        if (!status) {
            return;
        }
        event.kind = DaemonEvent::Kind::TimeStatus;
        event.time_status = *status;
    }
    on_event_(event);
}

}  // namespace ptp_agent
