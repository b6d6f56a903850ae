#include "signals.h"

#include <csignal>

namespace ptpcfg {
namespace {

volatile std::sig_atomic_t signal_came = 0;

void on_signal(int) { signal_came = 1; }

}  // namespace

/** Without SA_RESTART: a signal ends the wait. */
void end_at_signals() {
    struct sigaction action {};
    action.sa_handler = on_signal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool stopped() { return signal_came != 0; }

}  // namespace ptpcfg
