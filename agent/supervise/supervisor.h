/**
 * Keeps one program running: starts it, starts it again when it ends by itself, each time after a longer wait, and says so
 * once when that does not help.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "agent/supervise/child_process.h"

namespace ptp_agent {

struct SupervisorOptions {
    ChildOptions child;
    std::uint64_t stop_timeout_ms = 2000;   ///< between SIGTERM and SIGKILL
    std::uint64_t first_wait_ms = 200;      ///< before the second start; doubled each time ...
    std::uint64_t longest_wait_ms = 30000;  ///< ... up to this
    std::uint64_t stable_ms = 5000;         ///< who ran this long is sound: waits and failures count anew
    unsigned failing_after = 5;             ///< ends in a row
};

enum class ProcessState : std::uint8_t {
    Stopped,
    Running,
    Stopping,
    Waiting,  ///< ended by itself; will be started again
    Failing   ///< ended by itself many times; is still tried, with the longest wait. Left after a stable run
};

/** "stopped", "running", "stopping", "waiting", "failing" */
std::string_view to_text(ProcessState state);

class Supervisor {
  public:
    /** Told of every change of state, with a sentence for people. It may start and stop. */
    using Changed = std::function<void(ProcessState, const std::string &why)>;

    Supervisor(EventLoop &loop, SupervisorOptions options, Changed changed);

    /** Runs that command from now on; what runs now is stopped first. Failures count anew. */
    void start(std::vector<std::string> command);
    void stop();

    ProcessState state() const { return state_; }
    /** 0 where none runs. */
    pid_t process() const { return child_ && child_->is_running() ? child_->id() : 0; }
    /** How often it was started. */
    std::uint64_t starts() const { return starts_; }
    /** How often it ended by itself. */
    std::uint64_t failures() const { return failures_; }
    /** Of its last end that nobody asked for; empty without one. */
    const std::string &last_end() const { return last_end_; }

  private:
    void launch();
    void ended(const ChildEnd &end);
    void ended_by_itself(const ChildEnd &end);
    void on_timer();
    void change(ProcessState state, const std::string &why);

    EventLoop &loop_;
    SupervisorOptions options_;
    Changed changed_;
    ProcessState state_ = ProcessState::Stopped;
    std::vector<std::string> command_;
    bool wanted_ = false;
    bool is_failing_ = false;  // Failing was said and no stable run has come since
    unsigned ends_in_a_row_ = 0;
    std::uint64_t started_ms_ = 0;
    std::uint64_t starts_ = 0;
    std::uint64_t failures_ = 0;
    std::string last_end_;
    Timer timer_;  // of the present state: SIGKILL, the next start, or soundness
    std::unique_ptr<ChildProcess> child_;
};

}  // namespace ptp_agent
