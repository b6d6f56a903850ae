// Truth values: any number but 0 is true in memory, one byte of 0 or 1 on the wire.
#pragma once

#include "values/value.h"

namespace values {

struct boolean {
    using type = vela_boolean;
    static constexpr const char *written = "true or false; 1 and 0 are read as well";

    static VELA_INLINE void store(u_int8 *out, const vela_boolean *value) { out[0] = *value != 0; }
    static VELA_INLINE void load(const u_int8 *in, vela_boolean *value) { *value = in[0] != 0; }
    static VELA_INLINE int32 compare(const vela_boolean *a, const vela_boolean *b) { return order(*a != 0, *b != 0); }
    static VELA_INLINE u_int32 hash(const vela_boolean *value, u_int32 seed) {
        const vela_boolean truth = *value != 0;
        return hash_bytes(&truth, sizeof truth, seed);
    }

    static void write(bounded_text &out, vela_boolean value) { out.append(value != 0 ? "true" : "false"); }

    static bool read(std::string_view text, vela_boolean *value) {
        *value = text == "true" || text == "1";
        return *value != 0 || text == "false" || text == "0";
    }

    static void list_accepted(bounded_text &out) { out.append("true, false, 1 or 0"); }
};

}  // namespace values
