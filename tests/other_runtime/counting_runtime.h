// A runtime in front of the one that is linked: it counts what it is asked, and does some things in ways of its own.
#pragma once

#include <map>
#include <string>

#include "velalib.h"

namespace ptp_cfg_test {

/** Calls of a function of the runtime since count_anew(). The name must be one that is counted. */
u_int64 asked(const std::string &function);
void count_anew();

/** What this runtime does otherwise, while it is set. */
struct own_ways {
    std::map<std::string, int8> variants;  // by type name: decided here, whatever the handle's domain
    bool keeps_counters = false;           // created and destroyed instances are not counted in the records
    bool turns_numbers = false;            // u_int16 travels with its low byte first, and sorts the greatest first
};
extern own_ways ways;

}  // namespace ptp_cfg_test
