// Starting, signalling and reaping one child.
#include "agent/supervise/child_process.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>

namespace ptp_agent {
namespace {

std::vector<char *> pointers(const std::vector<std::string> &words) {
    std::vector<char *> result;
    for (const std::string &word : words) {
        result.push_back(const_cast<char *>(word.c_str()));
    }
    result.push_back(nullptr);
    return result;
}

/** In the child, between fork and exec: only what may be called there. */
[[noreturn]] void become(const std::vector<char *> &arguments, const std::vector<char *> &environment, int output,
                         pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(cannot_run);  // the parent ended before the line above
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
    const int input = open("/dev/null", O_RDONLY);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    for (char *variable : environment) {
        if (variable != nullptr) {
            putenv(variable);
        }
    }
    execvp(arguments[0], arguments.data());
    _exit(cannot_run);
}

}  // namespace

std::string to_text(const ChildEnd &end) {
    if (end.signalled) {
        return "was ended by signal " + std::to_string(end.value) + " (" + strsignal(end.value) + ")";
    }
    if (end.value == cannot_run) {
        return "could not be run (status 127); is it installed, and in PATH?";
    }
    return "ended with status " + std::to_string(end.value);
}

ChildProcess::ChildProcess(EventLoop &loop, const std::vector<std::string> &command, const ChildOptions &options,
                           Ended ended)
    : output_(loop, options.hands_on_output) {
    const std::vector<char *> arguments = pointers(command), environment = pointers(options.environment);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "start " + command[0]);
    }
    if (child == 0) {
        become(arguments, environment, output_.child_end(), parent);
    }
    id_ = child;
    output_.close_child_end();
    end_ = loop.watch_child(child, [this, ended = std::move(ended)](const ChildEnd &end) {
        id_ = -1;
        output_.read();
        ended(end);
    });
}

ChildProcess::~ChildProcess() {
    if (id_ > 0) {
        kill(id_, SIGKILL);
        while (waitpid(id_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
}

void ChildProcess::signal(int number) {
    if (id_ > 0) {
        kill(id_, number);
    }
}

}  // namespace ptp_agent
