// VRF descriptors: on the wire 8 bytes identifier, 4 table, 4 address family, 4 subsequent address family.
#pragma once

#include "values/number.h"

namespace values {

struct vrf {
    using type = vrf_info;
    static constexpr const char *written = "ID:TABLE:AFI:SAFI, four numbers, as 1:254:1:1";

    static VELA_INLINE void store(u_int8 *out, const vrf_info *value) {
        put<u_int64>(out, value->id);
        put<u_int32>(out + 8, value->table_id);
        put<u_int32>(out + 12, value->afi);
        put<u_int32>(out + 16, value->safi);
    }
    static VELA_INLINE void load(const u_int8 *in, vrf_info *value) {
        value->id = take<u_int64>(in);
        value->table_id = take<u_int32>(in + 8);
        value->afi = take<u_int32>(in + 12);
        value->safi = take<u_int32>(in + 16);
        value->reserved = 0;
    }
    static VELA_INLINE int32 compare(const vrf_info *a, const vrf_info *b) {
        int32 result = order(a->id, b->id);
        result = result != 0 ? result : order(a->table_id, b->table_id);
        result = result != 0 ? result : order(a->afi, b->afi);
        return result != 0 ? result : order(a->safi, b->safi);
    }
    static VELA_INLINE u_int32 hash(const vrf_info *value, u_int32 seed) {
        return hash_bytes(value, offsetof(vrf_info, reserved), seed);
    }

    static void write(bounded_text &out, const vrf_info &value) {
        out.append_number(value.id);
        for (const u_int32 number : {value.table_id, value.afi, value.safi}) {
            out.append(':');
            out.append_number(number);
        }
    }

    static void print(bounded_text &out, const vrf_info &value) {
        out.append("id ");
        out.append_number(value.id);
        out.append(" table ");
        out.append_number(value.table_id);
        out.append(" afi ");
        out.append_number(value.afi);
        out.append(" safi ");
        out.append_number(value.safi);
    }

    static bool read(std::string_view text, vrf_info *value) {
        *value = {};
        std::string_view id;
        std::string_view table;
        std::string_view afi;
        return take_item(&text, &id) && take_item(&text, &table) && take_item(&text, &afi) &&
               number<u_int64>::read(id, &value->id) && number<u_int32>::read(table, &value->table_id) &&
               number<u_int32>::read(afi, &value->afi) && number<u_int32>::read(text, &value->safi);
    }

    static void list_accepted(bounded_text &out) { out.append(written); }
};

}  // namespace values
