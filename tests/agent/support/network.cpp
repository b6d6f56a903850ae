#include "network.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

namespace ptp_agent::test {
namespace {

void write_file(const char *path, const std::string &text) { std::ofstream(path) << text; }

std::string enter_now() {
    // Nothing that is started from here may set the machine's clock, whatever else fails.
    if (prctl(PR_CAPBSET_DROP, CAP_SYS_TIME) != 0 && errno != EPERM) {
        return std::string("the right to set the clock cannot be given up: ") + strerror(errno);
    }
    const uid_t user = getuid();
    const gid_t group = getgid();
    if (unshare(CLONE_NEWNET) != 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
            return std::string("network namespaces are denied here: ") + strerror(errno);
        }
        write_file("/proc/self/setgroups", "deny");
        write_file("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        write_file("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    }
    if (run({"ip", "link", "set", "lo", "up"}) != 0) {
        return "interfaces of a network namespace cannot be set up here";
    }
    return {};
}

pid_t start(const std::vector<std::string> &words, int network) {
    std::vector<char *> arguments;
    for (const std::string &word : words) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (network < 0 || setns(network, CLONE_NEWNET) == 0) {
            execvp(arguments[0], arguments.data());
        }
        _exit(127);
    }
    return child;
}

int status_of(pid_t child) {
    int status = -1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

namespace {

/**
 * Keeps the kernel stamping packets in software. It stops when the last socket that asked for it goes, and where daemons
 * come and go quickly it can miss that another has asked: that one never locks.
 */
void keep_timestamps() {
    static const base::file_descriptor holder(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    setsockopt(holder.get(), SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
}

}  // namespace

std::string enter_own_network() {
    static const std::string why_not = enter_now();
    keep_timestamps();
    return why_not;
}

int run(const std::vector<std::string> &words) { return status_of(start(words, -1)); }

SecondNamespace::SecondNamespace() {
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0) {
        return;
    }
    holder_ = fork();
    if (holder_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const char result = unshare(CLONE_NEWNET) == 0 ? 'y' : 'n';
        (void)!write(ready[1], &result, 1);
        pause();
        _exit(0);
    }
    char result = 'n';
    (void)!read(ready[0], &result, 1);
    close(ready[0]);
    close(ready[1]);
    network_ = base::file_descriptor(open(("/proc/" + process() + "/ns/net").c_str(), O_RDONLY | O_CLOEXEC));
    run({"ip", "link", "set", "lo", "up"});
}

SecondNamespace::~SecondNamespace() {
    if (holder_ > 0) {
        kill(holder_, SIGKILL);
        waitpid(holder_, nullptr, 0);
    }
}

int SecondNamespace::run(const std::vector<std::string> &words) const { return status_of(start(words, descriptor())); }

Link::Link(std::string one, std::string other) : one_(std::move(one)), other_(std::move(other)) {
    run({"ip", "link", "add", one_, "type", "veth", "peer", "name", other_});
    set_up(true);
}

Link::~Link() { run({"ip", "link", "del", one_}); }

void Link::set_up(bool up) const {
    run({"ip", "link", "set", one_, up ? "up" : "down"});
    run({"ip", "link", "set", other_, up ? "up" : "down"});
}

}  // namespace ptp_agent::test
