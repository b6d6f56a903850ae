// Times as the command line gives them and as people read them.
#pragma once

#include <string>

#include "velalib/types.h"

namespace ptpcfg {

/** A time, or a distance from the start of a recording. */
struct time_bound {
    bool is_distance;
    u_int64 nanoseconds;  // since 1970-01-01T00:00:00Z, or since the start

    /** The time it means in a recording that starts at `start`. */
    u_int64 in_recording(u_int64 start) const;
};

/** Reads seconds ("12.5") or a time of RFC 3339 ("2026-03-29T01:30:00+01:00"); fails with a usage error. */
time_bound parse_time_bound(const char *option, const std::string &text);

/** A time in RFC 3339, with nanoseconds. */
std::string time_text(u_int64 nanoseconds);

}  // namespace ptpcfg
