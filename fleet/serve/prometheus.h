// Metrics for Prometheus.
#pragma once

#include <string>

#include "clock_table.h"

namespace ptp_fleet {

std::string metrics_text(const services &from, const clock_table &table, std::uint64_t now_ns);

/** When the last message of any element came; 0 for never. */
std::uint64_t last_heard(const clock_table &table);

}  // namespace ptp_fleet
