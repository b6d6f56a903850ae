// Collectors of a test's own, killed by their numbers, and what they kept.
#pragma once

#include <sys/resource.h>

#include "../transport/nats/nats_server.h"
#include "database.h"
#include "journal.h"

namespace test {

/** A program that is ended with the test. */
class process {
  public:
    process(const std::vector<std::string> &arguments, const std::string &log, rlim_t most_bytes = RLIM_INFINITY) {
        pid_ = fork();
        if (pid_ == 0) {
            const rlimit limit = {most_bytes, RLIM_INFINITY};
            setrlimit(RLIMIT_FSIZE, &limit);
            if (freopen(log.c_str(), "a", stdout) == nullptr || freopen(log.c_str(), "a", stderr) == nullptr) {
                _exit(126);
            }
            std::vector<char *> list;
            for (const std::string &each : arguments) {
                list.push_back(const_cast<char *>(each.c_str()));
            }
            list.push_back(nullptr);
            execv(list[0], list.data());
            _exit(127);
        }
    }
    ~process() { end(SIGKILL); }
    process(const process &) = delete;
    process &operator=(const process &) = delete;

    /** Returns what it exited with, 128 and more for a signal. */
    int end(int signal) {
        if (pid_ > 0) {
            kill(pid_, signal);
        }
        return wait();
    }
    int wait() {
        int status = 0;
        if (pid_ > 0) {
            waitpid(pid_, &status, 0);
            pid_ = -1;
            status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        return status_;
    }
    bool has_ended() {
        siginfo_t info = {};
        return pid_ <= 0 ||
               (waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0);
    }
    pid_t pid() const { return pid_; }

  private:
    pid_t pid_ = -1;
    int status_ = 0;
};

/** How often each message is in the journal, by its id; what was refused is under its id, too, with no bytes. */
struct stored {
    std::map<std::string, int> taken, refused;
};

inline stored read_store(const std::string &file) {
    stored result;
    if (!std::filesystem::exists(file)) {
        return result;
    }
    try {
        ptp_fleet::database of(file, ptp_fleet::access::read);
        ptp_fleet::statement pieces(of, "SELECT bytes FROM piece");
        while (pieces.step()) {
            ptp_fleet::read_piece(pieces.bytes(0), [&](const ptp_fleet::journal_entry &each) {
                const std::string id = each.source + "-" + std::to_string(each.sequence);
                ++(each.bytes.empty() ? result.refused : result.taken)[id];
            });
        }
    } catch (const ptp_fleet::database_error &) {
        // It is being made.
    }
    return result;
}

inline std::uint64_t stored_count(const std::string &file) {
    try {
        ptp_fleet::database of(file, ptp_fleet::access::read);
        return of.number("SELECT total(count) FROM piece");
    } catch (const ptp_fleet::database_error &) {
        return 0;
    }
}

}  // namespace test
