// Subcommands without an end of their own end at SIGINT and SIGTERM, in order.
#pragma once

namespace ptpcfg {

/** From now on these signals end a wait and set `stopped()`. */
void end_at_signals();

/** The signal that came, or 0. */
int stop_signal();

inline bool stopped() { return stop_signal() != 0; }

/**
 * Waits until a descriptor is readable, the time is over or one of the signals has come, also before the call: a signal
 * between a look at `stopped()` and the wait is not missed.
 * @param timeout_ms  negative: no limit
 */
void wait_or_stop(int descriptor, int timeout_ms);

}  // namespace ptpcfg
