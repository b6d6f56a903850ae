// The collector as a program: one works, others of its name stand by.
#pragma once

#include "configuration.h"

namespace ptp_fleet {

/** Until SIGINT or SIGTERM. Throws std::runtime_error. */
void run(const run_configuration &how);

/** Copies a store that may be in use, or puts such a copy where there is none. Both throw std::runtime_error. */
void back_up(const std::string &database, const std::string &copy);
void restore(const std::string &copy, const std::string &database);

}  // namespace ptp_fleet
