// Settings, restarts and the way back.
#include "agent/supervise/daemon_control.h"

#include <system_error>

#include "agent/base/whole_file.h"
#include "base/clocks.h"

namespace ptp_agent {
namespace {

constexpr std::uint64_t asking_again_ms = 30;
constexpr unsigned most_reminders = 3;

std::uint64_t now_ms() { return base::clock_ms(CLOCK_MONOTONIC); }

}  // namespace

bool has_settings(const Observation &found, const Settings &settings) {
    const Observed<DefaultDataSet> &default_ds = found.default_ds;
    if (default_ds && settings.priority1 && *settings.priority1 != default_ds->priority1) {
        return false;
    }
    if (default_ds && settings.priority2 && *settings.priority2 != default_ds->priority2) {
        return false;
    }
    return !settings.grandmaster || !found.grandmaster_settings || *settings.grandmaster == *found.grandmaster_settings;
}

DaemonControl::DaemonControl(EventLoop &loop, Daemon &daemon, ControlOptions options, Changed changed)
    : loop_(loop),
      daemon_(daemon),
      options_(std::move(options)),
      changed_(std::move(changed)),
      supervisor_(loop, options_.supervisor,
                  [this](ProcessState state, const std::string &why) { on_process(state, why); }),
      timer_(loop, [this] { ask_whether_it_answers(); }) {}

void DaemonControl::apply(const Rendering &wanted, std::uint8_t domain, Refusal refusal, Applied done) {
    if (!waiting_) {
        waiting_ = Order{};
    }
    Order &order = *waiting_;
    order.wanted = wanted;
    order.domain = domain;
    order.refusal = refusal;
    order.done.push_back(std::move(done));
    if (phase_ == Phase::Idle) {
        begin();
    }
}

void DaemonControl::begin() {
    present_ = std::exchange(waiting_, std::nullopt);
    const Plan plan = options_.planner(running_ ? &*running_ : nullptr, present_->wanted);
    action_ = plan.action;
    if (action_ == Plan::Action::Nothing) {
        finish({Outcome::Done, action_, {}});
        return;
    }
    to_set_ = plan.settings;
    if (!begin_trial()) {
        proceed();
    }
}

bool DaemonControl::begin_trial() {
    // What ran before is started all the same, and needs no trial.
    const bool can_be_refused = running_ || present_->refusal == Refusal::GiveUp;
    if (action_ != Plan::Action::Restart || options_.is_external || !can_be_refused) {
        return false;
    }
    const std::optional<Trial> trial = daemon_.trial(present_->wanted);
    const std::string path = options_.configuration_path + ".trial";
    if (!trial || !write_file(path, trial->file).empty()) {
        return false;
    }
    try {
        trial_ = std::make_unique<ConfigurationTrial>(
            loop_, daemon_.command(path), path, *trial, options_.trial_timeout_ms, [this](const std::string &refusal) {
                trial_.reset();
                if (refusal.empty()) {
                    proceed();
                } else {
                    finish({Outcome::Refused, action_,
                            std::string(daemon_.name()) + " does not take this configuration: " + refusal});
                }
            });
    } catch (const std::system_error &) {
        return false;
    }
    phase_ = Phase::Trying;
    return true;
}

void DaemonControl::proceed() {
    const std::string failure = write_file(options_.configuration_path, present_->wanted.file);
    if (!failure.empty()) {
        finish({Outcome::Refused, action_, failure});
    } else if (action_ == Plan::Action::Set) {
        begin_setting(to_set_);
    } else if (options_.is_external) {
        daemon_.running_in_domain(present_->domain);
        begin_setting(present_->wanted.settings);
    } else {
        begin_start();
    }
}

void DaemonControl::begin_setting(const Settings &settings) {
    phase_ = Phase::Setting;
    const std::weak_ptr<char> alive = alive_;
    daemon_.set(settings, [this, alive](const SettingResult &result) {
        if (alive.expired()) {
            return;
        }
        ApplyResult applied = {result.outcome, action_, result.reason};
        if (result.outcome == Outcome::Done && action_ == Plan::Action::Restart && running_) {
            applied.outcome = Outcome::Unsupported;
            applied.reason = std::string(daemon_.name()) +
                             " needs another configuration, and is not started by this agent: restart it with " +
                             options_.configuration_path;
        }
        if (result.outcome != Outcome::Refused) {
            // Also without an answer: check() sets it when the daemon is back.
            running_ = present_->wanted;
            running_domain_ = present_->domain;
        }
        finish(applied);
    });
}

void DaemonControl::begin_start() {
    phase_ = Phase::Starting;
    deadline_ms_ = now_ms() + options_.answer_timeout_ms + options_.supervisor.stop_timeout_ms;
    daemon_.running_in_domain(present_->domain);
    supervisor_.start(daemon_.command(options_.configuration_path));
}

void DaemonControl::on_process(ProcessState state, const std::string &why) {
    if (state == ProcessState::Running && is_coming_up()) {
        timer_.start_ms(0);
    }
    const bool ended = state == ProcessState::Waiting || state == ProcessState::Failing;
    const bool ended_on_trial = ended && phase_ == Phase::Starting;
    changed_(state, why);
    if (ended_on_trial) {
        refused(supervisor_.last_end());
    }
}

void DaemonControl::ask_whether_it_answers() {
    if (!is_coming_up()) {
        return;
    }
    const std::weak_ptr<char> alive = alive_;
    const std::uint64_t start = supervisor_.starts();
    daemon_.observe([this, alive, start](const Observation &found) {
        const bool late = alive.expired() || !is_coming_up() || start != supervisor_.starts();
        if (late) {
            return;
        }
        if (found.default_ds) {
            started();
        } else if (now_ms() >= deadline_ms_) {
            refused("does not answer at its management socket");
        } else {
            timer_.start_ms(asking_again_ms);
        }
    });
}

void DaemonControl::started() {
    const bool rolled_back = phase_ == Phase::RollingBack;
    if (!rolled_back) {
        running_ = present_->wanted;
        running_domain_ = present_->domain;
    }
    phase_ = Phase::Setting;
    const std::weak_ptr<char> alive = alive_;
    daemon_.set(running_->settings, [this, alive, rolled_back](const SettingResult &result) {
        if (alive.expired()) {
            return;
        }
        if (rolled_back) {
            finish({Outcome::Refused, action_, trouble_ + "; the former configuration is back"});
        } else {
            finish({result.outcome, action_, result.reason});
        }
    });
}

void DaemonControl::refused(const std::string &why) {
    timer_.stop();
    if (phase_ == Phase::RollingBack) {
        // It ran with this before: the supervisor goes on trying.
        finish({Outcome::Refused, action_, trouble_ + "; with the former configuration it " + why});
        return;
    }
    trouble_ = std::string(daemon_.name()) + " does not run with this configuration: it " + why;
    if (!running_) {
        if (present_->refusal == Refusal::KeepTrying) {
            running_ = present_->wanted;
            running_domain_ = present_->domain;
        } else {
            supervisor_.stop();
        }
        finish({Outcome::Refused, action_, trouble_});
        return;
    }
    const std::string failure = write_file(options_.configuration_path, running_->file);
    if (!failure.empty()) {
        supervisor_.stop();
        finish({Outcome::Refused, action_, trouble_ + "; " + failure});
        return;
    }
    phase_ = Phase::RollingBack;
    deadline_ms_ = now_ms() + options_.answer_timeout_ms + options_.supervisor.stop_timeout_ms;
    daemon_.running_in_domain(running_domain_);
    supervisor_.start(daemon_.command(options_.configuration_path));
}

void DaemonControl::finish(const ApplyResult &result) {
    phase_ = Phase::Idle;
    reminders_ = 0;
    trouble_ = result.reason;
    const std::vector<Applied> done = std::move(present_->done);
    present_.reset();
    const std::weak_ptr<char> alive = alive_;
    for (const Applied &each : done) {
        each(result);
        if (alive.expired()) {
            return;
        }
    }
    if (waiting_ && phase_ == Phase::Idle) {
        begin();
    }
}

void DaemonControl::stop() {
    timer_.stop();
    trial_.reset();
    running_.reset();
    if (!options_.is_external) {
        supervisor_.stop();
    }
    if (present_) {
        finish({Outcome::Refused, action_, "was stopped"});
    }
}

void DaemonControl::look_whether_it_hangs() {
    if (options_.is_external || supervisor_.state() != ProcessState::Running) {
        silent_since_ms_ = 0;
        return;
    }
    silent_since_ms_ = silent_since_ms_ == 0 ? now_ms() : silent_since_ms_;
    if (now_ms() - silent_since_ms_ >= options_.hung_after_ms) {
        silent_since_ms_ = 0;
        changed_(ProcessState::Running,
                 "has not answered for " + std::to_string(options_.hung_after_ms) + " ms; it is started again");
        supervisor_.start(daemon_.command(options_.configuration_path));
    }
}

void DaemonControl::check(const Observation &found) {
    if (!running_ || phase_ != Phase::Idle) {
        return;
    }
    if (!found.default_ds) {
        look_whether_it_hangs();
        return;
    }
    silent_since_ms_ = 0;
    if (has_settings(found, running_->settings)) {
        reminders_ = 0;
        return;
    }
    if (reminders_ < most_reminders) {
        ++reminders_;
        phase_ = Phase::Setting;
        const std::weak_ptr<char> alive = alive_;
        daemon_.set(running_->settings, [this, alive](const SettingResult &result) {
            if (alive.expired()) {
                return;
            }
            phase_ = Phase::Idle;
            trouble_ = result.reason;
            if (waiting_) {
                begin();
            }
        });
    }
}

}  // namespace ptp_agent
