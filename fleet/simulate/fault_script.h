// Faults as data: what happens to which elements, when and for how long.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ptp_fleet {

enum class fault_kind { link_cut, grandmaster_loss, wrong_priority, flapping, clock_step, silent };

struct fault {
    fault_kind kind = fault_kind::link_cut;
    double at = 0;                      // seconds from the start
    double lasts = -1;                  // seconds; below 0: to the end
    std::uint32_t first = 0, last = 0;  // elements, both included
    std::string link;                   // link_cut and flapping: primary, secondary or both
    double period = 10;                 // flapping: seconds of one cut and one return
    int priority1 = 0;                  // wrong_priority
    double step_ns = 0;                 // clock_step

    bool concerns(std::uint32_t element) const { return first <= element && element <= last; }
    bool is_on(double time) const;
};

/** Reads a script; throws std::runtime_error with file and line. @param elements  that there are */
std::vector<fault> read_faults(const std::string &file, std::uint32_t elements);

}  // namespace ptp_fleet
