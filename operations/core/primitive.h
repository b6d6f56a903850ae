// What a primitive is to an algorithm, before any is known by name.
#pragma once

#include "operations/core/runtime.h"

#define PTP_CFG_TRAIT [[gnu::always_inline]] static inline

namespace ptp_cfg {

/** The `class` of a primitive's row. */
enum class primitive_class : u_int8 {
    unsigned_number,  // by value; its bytes travel most significant first
    signed_number,    // likewise
    boolean,          // by value; four bytes in memory, one on the wire, 0 or 1
    octets,           // by pointer; its bytes travel as they lie in memory
    opaque            // by pointer; its encoding is not its bytes
};

struct primitive_properties {
    const char *name;
    u_int32 size;   // bytes in memory
    u_int32 width;  // bytes on the wire
    primitive_class what;

    constexpr bool is_number() const {
        return what == primitive_class::unsigned_number || what == primitive_class::signed_number;
    }
    /** Whether get_value and set_value have it, and get_all and set_all of a structure. */
    constexpr bool is_value() const { return is_number() || what == primitive_class::boolean; }
};

}  // namespace ptp_cfg
