// Which paths encodings take, told by a library that is built with PTP_CFG_COUNT_PATHS.
#pragma once

#include "velalib.h"

extern "C" const u_int64 *ptp_cfg_counted_wire_paths();

namespace ptp_cfg_test {

/** Structures that this thread encoded or decoded, by path. */
struct wire_paths {
    u_int64 unrolled, reference, versioned;
};

inline wire_paths wire_paths_so_far() {
    const u_int64 *counts = ptp_cfg_counted_wire_paths();
    return {counts[0], counts[1], counts[2]};
}

/** The paths that the encodings in `calls` take. */
template <class F>
wire_paths wire_paths_of(F &&calls) {
    const wire_paths before = wire_paths_so_far();
    calls();
    const wire_paths after = wire_paths_so_far();
    return {after.unrolled - before.unrolled, after.reference - before.reference, after.versioned - before.versioned};
}

}  // namespace ptp_cfg_test
