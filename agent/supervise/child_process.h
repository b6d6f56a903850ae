// A child process that never outlives the agent.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "agent/base/event_loop.h"

namespace ptp_agent {

/** "ended with status 255", "was ended by signal 11 (Segmentation fault)" */
std::string to_text(const ChildEnd &end);

struct ChildOptions {
    int output = -1;                       ///< where its standard output and error go; -1: those of the agent
    std::vector<std::string> environment;  ///< NAME=VALUE, beside the agent's own
};

/** Killed at the latest when the object ends, and by the kernel when the agent is killed. */
class ChildProcess {
  public:
    using Ended = std::function<void(const ChildEnd &)>;

    /** Throws std::system_error when there is no process to be had. A program that cannot be run ends with 127. */
    ChildProcess(EventLoop &loop, const std::vector<std::string> &command, const ChildOptions &options, Ended ended);
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    pid_t id() const { return id_; }
    bool is_running() const { return id_ > 0; }
    void signal(int number);

  private:
    pid_t id_ = -1;
    EventSource end_;
};

}  // namespace ptp_agent
