// Polls, decides, reports.
#include "agent/serve/clock_unit.h"

#include <algorithm>

#include "base/clocks.h"

namespace ptp_agent {
namespace {

std::string socket_of(const AgentConfiguration &configuration, std::uint8_t handle) {
    return configuration.daemon.is_external
               ? configuration.daemon.socket
               : configuration.runtime_directory + "/ptp4l." + std::to_string(handle) + ".sock";
}

Ptp4lOptions daemon_options(const AgentConfiguration &configuration, std::uint8_t handle) {
    Ptp4lOptions options;
    options.management.daemon_path = socket_of(configuration, handle);
    options.management.own_directory = configuration.runtime_directory;
    options.management.domain = configuration.daemon.domain;
    options.executable = configuration.daemon.executable;
    options.arguments = configuration.daemon.arguments;
    RenderOptions render = configuration.daemon.options;
    render.global.emplace_back("uds_address", options.management.daemon_path);
    options.renderer = [render](const ClockIntent &intent) { return render_ptp4l(intent, render).rendering; };
    return options;
}

ControlOptions control_options(const AgentConfiguration &configuration, std::uint8_t handle) {
    ControlOptions options;
    options.configuration_path = configuration.runtime_directory + "/ptp4l." + std::to_string(handle) + ".conf";
    options.is_external = configuration.daemon.is_external;
    options.planner = [](const Rendering *running, const Rendering &wanted) { return plan(running, wanted); };
    return options;
}

std::uint8_t domain_of(const ClockIntent &intent) {
    return static_cast<std::uint8_t>(intent.clock().number_or("default_data_set.clk_domain", 0));
}

constexpr std::string_view names_of_port_states[] = {
    "",       "INITIALIZING", "FAULTY",       "DISABLED", "LISTENING",   "PRE_MASTER",
    "MASTER", "PASSIVE",      "UNCALIBRATED", "SLAVE",    "GRAND_MASTER"};

/** With software timestamps a daemon's clock is the system's, which counts UTC: the PTP timescale would be off by 37 s. */
GrandmasterSettings as_counted(GrandmasterSettings settings, const Observation &found) {
    constexpr std::uint8_t software = 0;
    for (const PortObservation &port : found.ports) {
        if (port.timestamping == software) {
            settings.properties.ptp_timescale = false;
        }
    }
    return settings;
}

}  // namespace

std::string_view to_text(PortState state) {
    const auto number = static_cast<std::size_t>(state);
    return number < std::size(names_of_port_states) ? names_of_port_states[number] : "unknown";
}

ClockUnit::ClockUnit(EventLoop &loop, const AgentConfiguration &configuration, std::uint8_t handle, EventLog &log,
                     ClockCallbacks callbacks)
    : loop_(loop),
      configuration_(&configuration),
      handle_(handle),
      log_(log),
      callbacks_(std::move(callbacks)),
      daemon_(loop, daemon_options(configuration, handle)),
      control_(loop, daemon_, control_options(configuration, handle),
               [this](ProcessState state, const std::string &why) { process_changed(state, why); }),
      listener_(loop, configuration.listens_for_announce),
      holdover_(configuration.holdover),
      report_handle_(make_tracking_handle(handle)),  // reports name no clock: the header does
      reporter_(report_handle_, configuration.statistics_s * 1'000'000'000),
      timer_(loop, [this] { poll(); }) {
    daemon_.subscribe([this](const DaemonEvent &) { poll(); });
    timer_.start_ms(0);
}

Rendering ClockUnit::wanted_rendering(const ClockIntent &intent) const {
    Rendering rendering = daemon_.render(intent);
    if (announced_) {
        rendering.settings.grandmaster = announced_;
    }
    return rendering;
}

Plan ClockUnit::plan_of(const ClockIntent &intent) const {
    return plan(control_.running() ? &*control_.running() : nullptr, wanted_rendering(intent));
}

void ClockUnit::apply(const ClockIntent &intent, DaemonControl::Refusal refusal,
                      std::function<void(const ApplyResult &)> done) {
    intent_ = intent;
    if (intent.ports().empty() && !control_.is_external()) {
        control_.stop();
        done({Outcome::Done, Plan::Action::Nothing, {}});
        return;
    }
    control_.apply(wanted_rendering(intent), domain_of(intent), refusal,
                   [this, done = std::move(done)](const ApplyResult &result) {
                       if (result.outcome != Outcome::Done) {
                           log_.add(Severity::Warning, subject(), result.reason);
                       }
                       poll();
                       done(result);
                   });
}

void ClockUnit::request_full() {
    full_wanted_ = true;
    poll();
}

void ClockUnit::reconfigure(const AgentConfiguration &configuration) {
    configuration_ = &configuration;
    poll();
}

void ClockUnit::stop() {
    is_stopped_ = true;
    timer_.stop();
    control_.stop();
}

void ClockUnit::poll() {
    if (is_stopped_) {
        return;
    }
    if (is_observing_) {
        poll_again_ = true;
        return;
    }
    const bool has_daemon = control_.is_external() || control_.supervisor().process() != 0;
    timer_.start_ms(configuration_->poll_ms);
    if (!has_daemon) {
        Observation nothing;
        nothing.monotonic_ns = base::clock_ns(CLOCK_MONOTONIC);
        nothing.wall_ns = base::clock_ns(CLOCK_REALTIME);
        observed(nothing);
        return;
    }
    is_observing_ = true;
    daemon_.observe([this](const Observation &found) {
        is_observing_ = false;
        observed(found);
        if (std::exchange(poll_again_, false)) {
            timer_.start_ms(0);
        }
    });
}

void ClockUnit::observed(const Observation &found) {
    if (is_stopped_) {
        return;
    }
    ++polls_;
    Observation all = found;
    listener_.follow(all);
    control_.check(all);
    decide(all);
    note_changes(all);
    report(all);
    last_ = std::move(all);
    callbacks_.observed();
}

void ClockUnit::decide(const Observation &found) {
    if (!intent_) {
        return;
    }
    const LockState before = holdover_report_.state;
    holdover_report_ = holdover_.update(*intent_, found.default_ds ? &found : nullptr, base::clock_ns(CLOCK_MONOTONIC),
                                        base::clock_ns(CLOCK_REALTIME));
    if (holdover_report_.has_changed && holdover_report_.state != before) {
        log_.add(Severity::Notice, subject(),
                 std::string(to_text(holdover_report_.state)) + ": " + std::string(holdover_report_.reason));
    }
    if (holdover_report_.announce) {
        const GrandmasterSettings wanted = as_counted(*holdover_report_.announce, found);
        if (wanted != announced_ || is_announcement_pending_) {
            announce(wanted);
        }
    }
    if (holdover_report_.next_ns) {
        const std::uint64_t now = base::clock_ns(CLOCK_MONOTONIC);
        const std::uint64_t wait = *holdover_report_.next_ns > now ? (*holdover_report_.next_ns - now) / 1'000'000 : 0;
        timer_.start_ms(std::clamp(wait, std::uint64_t{10}, configuration_->poll_ms));
    }
}

void ClockUnit::announce(const GrandmasterSettings &settings) {
    announced_ = settings;
    is_announcement_pending_ = !control_.running() || control_.is_busy();
    if (is_announcement_pending_) {
        return;  // what is under way was rendered without it: the next observation's decision comes back to it
    }
    Rendering rendering = *control_.running();
    rendering.settings.grandmaster = settings;
    control_.apply(rendering, domain_of(*intent_), DaemonControl::Refusal::KeepTrying,
                   [this](const ApplyResult &result) {
                       if (result.outcome != Outcome::Done) {
                           log_.add(Severity::Warning, subject(), result.reason);
                       }
                   });
}

void ClockUnit::report(const Observation &found) {
    ReportInput input;
    input.now = &found;
    input.intent = intent_ ? &*intent_ : nullptr;
    input.hears_masters = listener_.is_allowed();
    input.full = std::exchange(full_wanted_, false) || found.monotonic_ns >= next_full_ns_;
    if (intent_) {
        input.clock_state = to_clock_state(holdover_report_.state);
    }
    if (input.full) {
        next_full_ns_ = found.monotonic_ns + configuration_->full_report_s * 1'000'000'000;
    }
    const std::vector<Report> reports = reporter_.report(input);
    reports_ += reports.size();
    if (!reports.empty()) {
        callbacks_.publish(reports);
    }
}

void ClockUnit::note_changes(const Observation &found) {
    if (found.default_ds.has_value() != last_.default_ds.has_value()) {
        log_.add(found.default_ds ? Severity::Info : Severity::Warning, subject(),
                 found.default_ds                     ? "the daemon answers"
                 : daemon_.client().trouble().empty() ? "the daemon does not answer"
                                                      : "the daemon does not answer: " + daemon_.client().trouble());
    }
    for (std::size_t i = 0; i < found.ports.size(); ++i) {
        const auto &now = found.ports[i].data_set;
        const auto *before = i < last_.ports.size() && last_.ports[i].data_set ? &*last_.ports[i].data_set : nullptr;
        if (now && (before == nullptr || before->state != now->state)) {
            log_.add(Severity::Info, subject(),
                     "port " + std::to_string(i + 1) + " (" + found.ports[i].interface.value_or("?") +
                         "): " + std::string(to_text(now->state)));
        }
    }
}

void ClockUnit::process_changed(ProcessState state, const std::string &why) {
    const bool is_bad = state == ProcessState::Waiting || state == ProcessState::Failing;
    log_.add(state == ProcessState::Failing ? Severity::Error
             : is_bad                       ? Severity::Warning
                                            : Severity::Info,
             subject(), "ptp4l is " + std::string(to_text(state)) + ": " + why);
    if (state == ProcessState::Running || is_bad) {
        timer_.start_ms(0);
    }
}

}  // namespace ptp_agent
