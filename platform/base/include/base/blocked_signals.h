// Holds signals back from a thread.
#pragma once

#include <signal.h>

namespace base {

/** Blocks all signals of this thread, and of threads that it starts, as long as it lives. */
class blocked_signals {
  public:
    blocked_signals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~blocked_signals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    blocked_signals(const blocked_signals &) = delete;
    blocked_signals &operator=(const blocked_signals &) = delete;

  private:
    sigset_t before_;
};

}  // namespace base
