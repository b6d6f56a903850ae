// Subcommands without an end of their own end at SIGINT and SIGTERM, in order.
#pragma once

namespace ptpcfg {

/** From now on these signals end a wait and set `stopped()`. */
void end_at_signals();

bool stopped();

}  // namespace ptpcfg
