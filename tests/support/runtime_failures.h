// Failures of the runtime that nothing an application does brings about. The program's own functions stand before the
// runtime's of the same name, fail when told to, and else pass on.
#pragma once

#include "velalib.h"

namespace ptp_cfg_test {

/** What fails next; 0: nothing. */
struct runtime_failures {
    /** The n-th place of a nested block from now on cannot be kept, from 1. */
    int kept_offset = 0;
    /** Error of every lookup of a variant in a domain. */
    u_int32 variant_lookup = 0;
    /** Error of every removal of what the runtime keeps for an instance. */
    u_int32 mapping_removal = 0;
    /** How many such removals were asked for. */
    int removals = 0;
};
extern runtime_failures failures;

}  // namespace ptp_cfg_test
