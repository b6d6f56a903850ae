#include "signals.h"

#include <csignal>

namespace ptpcfg {
namespace {

volatile std::sig_atomic_t signal_came = 0;

void on_signal(int number) { signal_came = number; }

}  // namespace

/** Without SA_RESTART: a signal ends the wait. */
void end_at_signals() {
    struct sigaction action {};
    action.sa_handler = on_signal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int stop_signal() { return signal_came; }

}  // namespace ptpcfg
