// The name with the fewest letters to change.
#include "operations/text/nearest_name.h"

#include <string.h>

namespace ptp_cfg {

namespace {

u_int32 lesser(u_int32 a, u_int32 b) { return a < b ? a : b; }

}  // namespace

nearest_name::nearest_name(const char *wanted)
    : wanted_(wanted), length_(static_cast<u_int32>(strnlen(wanted, longest + 1))) {
    limit_ = length_ > longest ? 0 : 1 + (length_ < 3 ? 1 : length_ / 3);
}

/** Insertions, deletions and replacements between two names. */
u_int32 nearest_name::distance_to(const char *known, u_int32 length) const {
    u_int32 row[longest + 1];
    for (u_int32 j = 0; j <= length; ++j) {
        row[j] = j;
    }
    for (u_int32 i = 0; i < length_; ++i) {
        u_int32 diagonal = row[0]++;
        for (u_int32 j = 0; j < length; ++j) {
            const u_int32 replaced = diagonal + (wanted_[i] == known[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = lesser(lesser(row[j + 1], row[j]) + 1, replaced);
        }
    }
    return row[length];
}

void nearest_name::show(const char *known) {
    const u_int32 length = static_cast<u_int32>(strnlen(known, longest + 1));
    if (length > longest || limit_ == 0) {
        return;
    }
    const u_int32 distance = distance_to(known, length);
    if (distance < limit_) {
        limit_ = distance;
        found_ = known;
    }
}

}  // namespace ptp_cfg
