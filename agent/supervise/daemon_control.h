/**
 * Brings a daemon to a configuration and keeps it there: by settings while it runs where that is enough, else by a new
 * file and a restart. A new file is tried first, beside the daemon that runs: one that the daemon does not take changes
 * nothing. One that it takes and does not run with is taken back. The reason is told in the daemon's own words.
 */
#pragma once

#include <optional>

#include "agent/daemon.h"
#include "agent/render/plan.h"
#include "agent/supervise/configuration_trial.h"
#include "agent/supervise/supervisor.h"

namespace ptp_agent {

struct ControlOptions {
    std::string configuration_path;          ///< the file that the daemon is started with
    bool is_external = false;                ///< somebody else starts and stops it: it is only asked and set
    std::uint64_t trial_timeout_ms = 2000;   ///< for a file to be read; then it is not tried
    std::uint64_t answer_timeout_ms = 4000;  ///< for a started daemon to answer
    std::uint64_t hung_after_ms = 10000;     ///< a daemon that runs and is silent for so long is started again
    std::function<Plan(const Rendering *, const Rendering &)> planner;  ///< plan() of render/plan.h
    SupervisorOptions supervisor;
};

struct ApplyResult {
    Outcome outcome = Outcome::NoAnswer;
    Plan::Action action = Plan::Action::Nothing;
    std::string reason;  ///< for people; empty when done
};

class DaemonControl {
  public:
    using Applied = std::function<void(const ApplyResult &)>;
    /** Told, for people and for status, of each change of the daemon's process. */
    using Changed = Supervisor::Changed;

    DaemonControl(EventLoop &loop, Daemon &daemon, ControlOptions options, Changed changed);

    /** What becomes of a first configuration with which the daemon does not run. */
    enum class Refusal : std::uint8_t {
        GiveUp,     ///< the daemon is stopped
        KeepTrying  ///< it ran before, perhaps before a restart of the machine: it is refused, and tried all the same
    };

    /** One at a time: what comes meanwhile waits, and of several that wait only the last is applied. */
    void apply(const Rendering &wanted, std::uint8_t domain, Refusal refusal, Applied done);
    void stop();

    /**
     * Compares what the daemon said with what it was told, and tells it again where it forgot, as after a restart that
     * the agent did not see. One that hangs, or lost its socket, is started again.
     */
    void check(const Observation &found);

    /** What the daemon runs with; nothing before the first. */
    const std::optional<Rendering> &running() const { return running_; }
    bool is_busy() const { return phase_ != Phase::Idle; }
    bool is_external() const { return options_.is_external; }
    const Supervisor &supervisor() const { return supervisor_; }
    /** Why the last configuration was not applied; empty when it was. */
    const std::string &trouble() const { return trouble_; }

  private:
    enum class Phase : std::uint8_t { Idle, Trying, Setting, Starting, RollingBack };
    struct Order {
        Rendering wanted;
        std::uint8_t domain = 0;
        Refusal refusal = Refusal::GiveUp;
        std::vector<Applied> done;
    };

    void begin();
    bool begin_trial();
    void proceed();
    void begin_setting(const Settings &settings);
    void begin_start();
    bool is_coming_up() const { return phase_ == Phase::Starting || phase_ == Phase::RollingBack; }
    void on_process(ProcessState state, const std::string &why);
    void ask_whether_it_answers();
    void started();
    void refused(const std::string &why);
    void look_whether_it_hangs();
    void finish(const ApplyResult &result);

    EventLoop &loop_;
    Daemon &daemon_;
    ControlOptions options_;
    Changed changed_;
    Supervisor supervisor_;
    std::unique_ptr<ConfigurationTrial> trial_;
    Phase phase_ = Phase::Idle;
    Plan::Action action_ = Plan::Action::Nothing;
    Settings to_set_;  // of the plan
    std::optional<Order> present_, waiting_;
    std::optional<Rendering> running_;
    std::uint8_t running_domain_ = 0;
    std::uint64_t deadline_ms_ = 0;
    std::uint64_t silent_since_ms_ = 0;  // 0: it answered last
    unsigned reminders_ = 0;             // settings that were told again without effect
    Timer timer_;
    std::string trouble_;
    std::shared_ptr<char> alive_ = std::make_shared<char>();  // callbacks of the daemon may outlive this
};

/** Whether the daemon has what was set, as far as its answers show. */
bool has_settings(const Observation &found, const Settings &settings);

}  // namespace ptp_agent
