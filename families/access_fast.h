// Reading all values of an instance at once, where its variant has every field; otherwise field by field.
#pragma once

#include "families/structure.h"
#include "families/unroll.h"

namespace ptp_cfg {

/** Place of field `index` among the values of get_all. */
constexpr u_int32 value_place(const structure_descriptor &type, u_int32 index) {
    u_int32 place = 0;
    for (u_int32 i = 0; i < index; ++i) {
        place += is_value_field(type.fields[i]) ? 1 : 0;
    }
    return place;
}

template <const structure_descriptor &D>
PTP_CFG_INLINE void structure_get_all(vela_handle *handle, u_int32 mem_class, const void *instance, void *const *values,
                                      u_int32 *err) {
    if (*err != 0 || instance == nullptr || header_of(instance)->variant < D.newest) {
        structure_get_all(D, handle, mem_class, instance, values, err);
        return;
    }
    clear_last_error(handle);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (is_value_field(field)) {
            void *value = values[value_place(D, I)];
            const u_int8 *bytes = at(instance, field.offset);
            if (value == nullptr) {
                return;
            }
            if constexpr (field.kind == field_kind::enumeration) {
                *static_cast<u_int32 *>(value) = *value_of(static_cast<const void *>(bytes));
            } else {
                using T = typename primitive_traits<field.kind>::type;
                *static_cast<T *>(value) = *as<T>(bytes);
            }
        }
    });
}

}  // namespace ptp_cfg
