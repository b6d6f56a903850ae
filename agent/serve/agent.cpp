// From messages to daemons.
#include "agent/serve/agent.h"

#include <filesystem>

#include "base/clocks.h"
#include "ptp_cfg/receive.h"

namespace ptp_agent {
namespace {

/** Messages that belong together arrive within this time, and are tried together. */
constexpr std::uint64_t batch_ms = 20;
/** More than this waits at the control plane. */
constexpr std::size_t most_arrived_bytes = 4u << 20;

/** Makes the directory, and clears it of sockets that a killed agent left. */
std::string prepared(const std::string &directory) {
    std::error_code code;
    std::filesystem::create_directories(directory, code);
    return directory + "/lock";
}

void remove_old_sockets(const std::string &directory) {
    std::error_code code;
    for (const auto &entry : std::filesystem::directory_iterator(directory, code)) {
        if (entry.path().filename().string().starts_with("management.")) {
            std::filesystem::remove(entry.path(), code);
        }
    }
}

/** What dispatching hands over with each message. */
struct Receiving {
    Intent &intent;
    const RuleBook &rules;
    std::vector<Answer> &answers;
};

void take_message(vela_handle *handle, u_int32 mem_class, void *context, const ptp_cfg_type *type, void *message,
                  u_int32 *) {
    auto *receiving = static_cast<Receiving *>(context);
    receiving->answers.push_back(take(receiving->intent, type, message, handle, receiving->rules));
    ptp_cfg_message_destroy(handle, mem_class, type, message);
}

}  // namespace

Agent::Agent(EventLoop &loop, AgentConfiguration configuration)
    : configuration_(std::move(configuration)),
      loop_(loop),
      started_ns_(base::clock_ns(CLOCK_MONOTONIC)),
      lock_(prepared(configuration_.runtime_directory)),
      handle_(make_handle()),
      receiving_handle_(make_tracking_handle()),
      store_(configuration_.state_directory + "/intent"),
      intent_(handle_),
      batch_(loop, [this] { begin_batch(); }),
      ending_check_(loop, [this] { end_removed_clocks(); }),
      stop_check_(loop, [this] { stop(nullptr); }) {
    remove_old_sockets(configuration_.runtime_directory);
    prepared(configuration_.state_directory);
    if (configuration_.serves_notifications) {
        notifications_ = std::make_unique<notification::NotificationService>(
            loop, configuration_.notification,
            [this](const std::string &line) { log_.add(Severity::Info, "notifications", line); });
    }
    if (configuration_.daemon.is_external) {
        unit(configuration_.daemon.clock);
    }
    take_up_intent();
    for (const ControlPlaneConfiguration &plane : configuration_.control_planes) {
        ControlPlaneCallbacks callbacks;
        callbacks.received = [this](std::span<const std::uint8_t> bundle) { received(bundle); };
        callbacks.connected = [this, index = planes_.size()] {
            if (index < planes_.size()) {
                send_registration(*planes_[index]);
            }
            for (const auto &[clock, each] : clocks_) {
                each->request_full();
            }
        };
        callbacks.note = [this](const std::string &line) { log_.add(Severity::Info, "control plane", line); };
        planes_.push_back(std::make_unique<ControlPlane>(loop, plane, receiving_handle_.get(), std::move(callbacks)));
        if (planes_.back()->statistics().peers > 0) {
            send_registration(*planes_.back());  // somebody was there before there was a place for it
        }
    }
    log_.add(Severity::Notice, "", "started: " + summary());
}

Agent::~Agent() = default;

void Agent::take_up_intent() {
    LoadedIntent loaded = store_.load(handle_);
    if (!loaded.note.empty()) {
        log_.add(loaded.kind == LoadedIntent::Kind::Loaded ? Severity::Info : Severity::Warning, "", loaded.note);
    }
    if (loaded.kind == LoadedIntent::Kind::Failed) {
        throw std::runtime_error(loaded.note);
    }
    intent_ = std::move(loaded.intent);
    for (const std::uint8_t clock : intent_.clocks()) {
        unit(clock).apply(*intent_.clock(clock), DaemonControl::Refusal::KeepTrying, [](const ApplyResult &) {});
    }
}

ClockUnit &Agent::unit(std::uint8_t clock) {
    std::unique_ptr<ClockUnit> &entry = clocks_[clock];
    if (entry == nullptr) {
        ClockCallbacks callbacks;
        callbacks.publish = [this](const std::vector<Report> &reports) {
            publish(reports, reports.front().message.handle());
        };
        callbacks.observed = [this] { hand_over_state(); };
        entry = std::make_unique<ClockUnit>(loop_, configuration_, clock, log_, std::move(callbacks));
    }
    return *entry;
}

void Agent::received(std::span<const std::uint8_t> bundle) {
    arrived_.emplace_back(bundle.begin(), bundle.end());
    book_.arrived(bundle);
    arrived_bytes_ += bundle.size();
    if (!batch_.is_running() && applying_ == 0) {
        batch_.start_ms(batch_ms);
    }
    if (arrived_bytes_ > most_arrived_bytes && !is_paused_) {
        is_paused_ = true;
        for (const auto &plane : planes_) {
            plane->pause(true);
        }
    }
}

void Agent::take_bundle(Intent &intent, const std::vector<std::uint8_t> &bundle, std::vector<Answer> &answers) {
    Receiving receiving = {intent, rules_, answers};
    ptp_cfg_bundle_report report = {};
    u_int32 err = 0;
    ptp_cfg_dispatch_bundle(receiving_handle_.get(), 0, take_message, &receiving, bundle.data(),
                            static_cast<u_int32>(bundle.size()), &report, &err);
    if (report.failed > 0 || (err != 0 && report.messages == 0)) {
        Answer answer;
        answer.kind = Answer::Kind::Refused;
        answer.message = "undecodable";
        Violation violation;
        violation.reason = std::to_string(report.failed) + " message(s) cannot be decoded: " +
                           (report.first.reason != nullptr ? report.first.reason : "neither bundle nor message");
        answer.violations.push_back(violation);
        answers.push_back(std::move(answer));
    }
}

void Agent::count(const Answer &answer) {
    MessageCounts &counts = counts_[answer.message];
    switch (answer.kind) {
        case Answer::Kind::Applied:
            ++counts.applied;
            break;
        case Answer::Kind::Refused:
            ++counts.refused;
            break;
        case Answer::Kind::NotExpressible:
            ++counts.not_expressible;
            break;
        case Answer::Kind::NotForUs:
            ++counts.not_for_us;
            break;
    }
    const bool is_bad = answer.kind == Answer::Kind::Refused || answer.kind == Answer::Kind::NotExpressible;
    if (is_bad) {
        last_refusal_ = to_text(answer);
    }
    log_.add(is_bad ? Severity::Warning : Severity::Info, "", to_text(answer));
}

void Agent::begin_batch() {
    if (applying_ > 0 || arrived_.empty() || is_stopped_) {
        return;
    }
    Intent wanted = intent_;
    std::vector<Answer> answers;
    for (const std::vector<std::uint8_t> &bundle : std::exchange(arrived_, {})) {
        std::vector<Answer> of_bundle;
        take_bundle(wanted, bundle, of_bundle);
        answers.insert(answers.end(), of_bundle.begin(), of_bundle.end());
        book_.taken(std::move(of_bundle));
    }
    arrived_bytes_ = 0;
    if (std::exchange(is_paused_, false)) {
        for (const auto &plane : planes_) {
            plane->pause(false);
        }
    }
    bool has_changed = false;
    for (const Answer &answer : answers) {
        count(answer);
        has_changed |= answer.has_changed;
    }
    if (has_changed && keep(wanted)) {
        candidate_ = std::move(wanted);
        apply(*candidate_, DaemonControl::Refusal::GiveUp);
    } else {
        book_.settle(has_changed ? last_refusal_ : std::string());  // of a file that cannot be written
    }
}

bool Agent::keep(const Intent &intent) {
    const std::string failure = store_.save(intent);
    if (!failure.empty()) {
        last_refusal_ = "it cannot be kept: " + failure;
        log_.add(Severity::Error, "", "refused, nothing was changed: " + last_refusal_);
    }
    return failure.empty();
}

void Agent::apply(const Intent &wanted, DaemonControl::Refusal refusal) {
    const std::vector<std::uint8_t> clocks = wanted.clocks();
    // One more than clocks, so that answers that come at once do not end the batch before all are asked.
    applying_ = static_cast<unsigned>(clocks.size()) + 1;
    refusal_.clear();
    for (const std::uint8_t clock : clocks) {
        unit(clock).apply(*wanted.clock(clock), refusal,
                          [this, clock](const ApplyResult &result) { applied(clock, result); });
    }
    applied(0, {Outcome::Done, Plan::Action::Nothing, {}});
}

void Agent::applied(std::uint8_t clock, const ApplyResult &result) {
    if (result.outcome == Outcome::Refused) {
        refusal_ += (refusal_.empty() ? "clock " : "; clock ") + std::to_string(clock) + ": " + result.reason;
    }
    if (applying_ > 0 && --applying_ == 0) {
        end_batch();
    }
}

void Agent::end_batch() {
    if (is_stopped_) {
        return;  // what was tried when the agent was told to end is not known to be right
    }
    if (candidate_ && !refusal_.empty() && !is_reverting_) {
        last_refusal_ = refusal_;
        log_.add(Severity::Warning, "", "refused, nothing was changed: " + refusal_);
        book_.settle(refusal_);
        is_reverting_ = true;
        candidate_.reset();
        keep(intent_);
        apply(intent_, DaemonControl::Refusal::KeepTrying);
        return;
    }
    is_reverting_ = false;
    book_.settle({});
    if (candidate_) {
        intent_ = *std::exchange(candidate_, std::nullopt);
    }
    end_removed_clocks();
    if (!arrived_.empty()) {
        batch_.start_ms(0);
    }
}

void Agent::end_removed_clocks() {
    for (auto entry = clocks_.begin(); entry != clocks_.end();) {
        const auto present = entry++;
        if (!intent_.clock(present->first) && !present->second->control().is_external()) {
            present->second->stop();
            ending_.push_back(std::move(present->second));
            clocks_.erase(present);
        }
    }
    std::erase_if(ending_, [](const auto &clock) { return clock->has_ended(); });
    if (!ending_.empty()) {
        ending_check_.start_ms(100);
    }
}

std::string Agent::plan_for(std::span<const std::uint8_t> bundle) {
    Intent wanted = intent_;
    std::vector<Answer> answers;
    take_bundle(wanted, {bundle.begin(), bundle.end()}, answers);
    std::string text;
    for (const Answer &answer : answers) {
        text += to_text(answer) + "\n";
    }
    for (const std::uint8_t clock : wanted.clocks()) {
        text += "clock " + std::to_string(clock) + ": ";
        const ClockIntent intent = *wanted.clock(clock);
        const auto found = clocks_.find(clock);
        if (intent.ports().empty()) {
            text += "no port, so no daemon runs\n";
        } else if (found == clocks_.end()) {
            text += "a daemon is started\n";
        } else {
            text += to_text(found->second->plan_of(intent)) + "\n";
        }
    }
    for (const auto &[clock, each] : clocks_) {
        if (!wanted.clock(clock) && intent_.clock(clock)) {
            text += "clock " + std::to_string(clock) + ": its daemon is stopped\n";
        }
    }
    return text;
}

void Agent::reconfigure(const AgentConfiguration &configuration) {
    const bool needs_restart = configuration.runtime_directory != configuration_.runtime_directory ||
                               configuration.state_directory != configuration_.state_directory ||
                               configuration.daemon.is_external != configuration_.daemon.is_external ||
                               configuration.control_planes.size() != configuration_.control_planes.size() ||
                               configuration.daemon.options.global != configuration_.daemon.options.global;
    configuration_.poll_ms = configuration.poll_ms;
    configuration_.full_report_s = configuration.full_report_s;
    for (const auto &[clock, each] : clocks_) {
        each->reconfigure(configuration_);
    }
    log_.add(Severity::Notice, "",
             needs_restart ? "took the new configuration's times; what else changed needs a restart of ptp_agent"
                           : "took the new configuration's times");
}

void Agent::stop(std::function<void()> done) {
    if (done) {
        stopped_ = std::move(done);
    }
    const bool is_first = !std::exchange(is_stopped_, true);
    bool has_ended = true;
    for (const auto &[clock, each] : clocks_) {
        if (is_first) {
            each->stop();
        }
        has_ended &= each->has_ended();
    }
    if (has_ended && ending_.empty()) {
        stopped_();
    } else {
        stop_check_.start_ms(10);
    }
}

std::string Agent::summary() const {
    std::string text = std::to_string(clocks_.size()) + " clock(s)";
    for (const auto &[handle, clock] : clocks_) {
        text += ", " + std::to_string(handle) + ": " + std::string(to_text(clock->holdover().state));
    }
    return text;
}

}  // namespace ptp_agent
