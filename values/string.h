// Texts: bytes with a count in memory and on the wire, escaped where they are written. Operations: velalib/strings.h.
#pragma once

#include "velalib/types.h"

namespace values {

struct string {
    static constexpr u_int32 longest = 255;  // the length companion of a var_string is one byte
    static constexpr const char *doc = "Text of up to 255 characters";
    static constexpr const char *written =
        "itself, with \\\\ for a backslash and \\xNN for a byte that XML cannot have";

    /** Whether a text of XML stands for bytes that a var_string can hold: 0; 22 or 28 with a reason. */
    static u_int32 check(const char *text, char *reason, u_int32 room);
};

}  // namespace values
