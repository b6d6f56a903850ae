// A child process that never outlives the agent.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "agent/base/event_loop.h"
#include "agent/supervise/child_output.h"

namespace ptp_agent {

/** Exit status of a child whose program cannot be run. */
constexpr int cannot_run = 127;

/** "ended with status 255", "was ended by signal 11 (Segmentation fault)" */
std::string to_text(const ChildEnd &end);

struct ChildOptions {
    bool hands_on_output = true;           ///< what it writes goes to the agent's standard output
    std::vector<std::string> environment;  ///< NAME=VALUE, beside the agent's own
};

/** Killed at the latest when the object ends, and by the kernel when the agent is killed. */
class ChildProcess {
  public:
    using Ended = std::function<void(const ChildEnd &)>;

    /** Throws std::system_error when no process or pipe is to be had. A program that cannot be run ends with 127. */
    ChildProcess(EventLoop &loop, const std::vector<std::string> &command, const ChildOptions &options, Ended ended);
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    pid_t id() const { return id_; }
    bool is_running() const { return id_ > 0; }
    /** The last lines that it wrote, joined; all that it wrote is there when its end is told. */
    std::string last_words() const { return output_.last_words(); }
    void signal(int number);

  private:
    pid_t id_ = -1;
    ChildOutput output_;
    EventSource end_;
};

}  // namespace ptp_agent
