// Turns signals into a descriptor that becomes readable.
#include "signals.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>

#include "failure.h"

namespace ptpcfg {
namespace {

volatile std::sig_atomic_t signal_came = 0;
int signal_event = -1;  // readable once a signal came, and for good: poll() passes over -1

void on_signal(int number) {
    const int before = errno;
    signal_came = number;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(signal_event, &one, sizeof one);
    errno = before;
}

}  // namespace

/** Without SA_RESTART: a signal also ends other waits. */
void end_at_signals() {
    if (signal_event < 0) {
        signal_event = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    }
    if (signal_event < 0) {
        throw failure(exit_code::io, std::string("no descriptor for signals: ") + std::strerror(errno));
    }
    struct sigaction action {};
    action.sa_handler = on_signal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int stop_signal() { return signal_came; }

void wait_or_stop(int descriptor, int timeout_ms) {
    pollfd watched[] = {{descriptor, POLLIN, 0}, {signal_event, POLLIN, 0}};
    ::poll(watched, 2, timeout_ms);
}

}  // namespace ptpcfg
