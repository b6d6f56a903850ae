// What was, out of the store and, for what was not written there yet, out of memory.
#pragma once

#include "services.h"

namespace ptp_fleet {

/** The newest first. */
std::vector<change_entry> changes_before(const services &from, const clock_name &name, std::uint64_t time_ns,
                                         std::size_t limit);
std::vector<clock_record> records_at(const services &from, const clock_name &name, std::uint64_t time_ns);

}  // namespace ptp_fleet
