// Subcommands without an end of their own end at SIGINT and SIGTERM, in order.
#pragma once

namespace ptpcfg {

/** From now on these signals end a wait and set `stopped()`. */
void end_at_signals();

/** The signal that came, or 0. */
int stop_signal();

inline bool stopped() { return stop_signal() != 0; }

}  // namespace ptpcfg
