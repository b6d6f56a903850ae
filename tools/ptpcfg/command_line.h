// From the command line to a subcommand.
#pragma once

namespace ptpcfg {

/** Reads the command line and does what it says. Returns an exit status; faults of the work itself are thrown. */
int run_command_line(int argc, char **argv);

}  // namespace ptpcfg
