// Reading and storing all values of an instance at once, where its variant has every field; otherwise field by field.
#pragma once

#include "operations/core/unroll.h"
#include "operations/instance/enumeration.h"
#include "operations/instance/structure.h"

namespace ptp_cfg {

/** Whether set_all takes a field; the length of a text is not set by itself. */
constexpr bool is_set_field(const field_descriptor &field) { return is_value_field(field) && !field.is_companion; }

/** How many fields before field `index` an operation takes. */
template <bool is_taken(const field_descriptor &)>
constexpr u_int32 taken_before(const structure_descriptor &type, u_int32 index) {
    u_int32 count = 0;
    for (u_int32 i = 0; i < index; ++i) {
        count += is_taken(type.fields[i]) ? 1 : 0;
    }
    return count;
}

/**
 * Calls `slow` with a copy of the values. Values that are handed on must be in memory; as it is a copy that is, those
 * of the caller stay where they were passed.
 */
template <u_int32 count, class Value, class Slow>
PTP_CFG_INLINE void with_copy(const Value *values, Slow &&slow) {
    [&]<size_t... I>(std::index_sequence<I...>) __attribute__((always_inline)) {
        const Value copy[] = {values[I]...};
        slow(copy);
    }
    (std::make_index_sequence<count>{});
}

template <const structure_descriptor &D>
PTP_CFG_INLINE void structure_get_all(vela_handle *handle, u_int32 mem_class, const void *instance, void *const *values,
                                      u_int32 *err) {
    constexpr u_int32 count = taken_before<is_value_field>(D, D.field_count);
    if constexpr (count > 0) {
        if (!has_own_runtime || *err != 0 || instance == nullptr || header_of(instance)->variant < D.latest) {
            with_copy<count>(values,
                             [&](void *const *copy) { structure_get_all(D, handle, mem_class, instance, copy, err); });
            return;
        }
        clear_last_error(handle);
        for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
            constexpr const field_descriptor &field = D.fields[I];
            if constexpr (is_value_field(field)) {
                void *value = values[taken_before<is_value_field>(D, I)];
                using T = typename by_value<field.kind>::type;
                if (value != nullptr) {
                    *static_cast<T *>(value) = *as<T>(at(instance, value_offset(field)));
                }
            }
        });
    } else {
        structure_get_all(D, handle, mem_class, instance, nullptr, err);
    }
}

/** Whether the instance has every field, and every enumeration admits its value. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool admits_all(const void *instance, const u_int64 *values) {
    bool admitted = header_of(instance)->variant >= D.latest;
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (is_set_field(field) && field.kind == field_kind::enumeration) {
            const int8 variant = header_of(static_cast<const void *>(at(instance, field.offset)))->variant;
            admitted &= variant_admits(field.enumeration->thresholds, field.enumeration->latest, variant,
                                       static_cast<u_int32>(values[taken_before<is_set_field>(D, I)]));
        }
    });
    return admitted;
}

template <const structure_descriptor &D>
PTP_CFG_INLINE void structure_set_all(vela_handle *handle, u_int32 mem_class, void *instance, const u_int64 *values,
                                      u_int32 *err) {
    constexpr u_int32 count = taken_before<is_set_field>(D, D.field_count);
    if constexpr (count > 0) {
        if (!has_own_runtime || *err != 0 || instance == nullptr || handle->pre_write != nullptr ||
            !admits_all<D>(instance, values)) {
            with_copy<count>(
                values, [&](const u_int64 *copy) { structure_set_all(D, handle, mem_class, instance, copy, err); });
            return;
        }
        clear_last_error(handle);
        for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
            constexpr const field_descriptor &field = D.fields[I];
            if constexpr (is_set_field(field)) {
                const u_int64 value = values[taken_before<is_set_field>(D, I)];
                using T = typename by_value<field.kind>::type;
                *as<T>(at(instance, value_offset(field))) = static_cast<T>(value);
            }
        });
    } else {
        structure_set_all(D, handle, mem_class, instance, nullptr, err);
    }
}

}  // namespace ptp_cfg
