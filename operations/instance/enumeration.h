// Operations of enumerations.
#pragma once

#include "operations/instance/header.h"

namespace ptp_cfg {

void *enumeration_create(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class);
void *enumeration_create_cr(const enumeration_descriptor &type, vela_handle *handle);
void enumeration_initialize(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                            const vela_type_info *type_info, bool hooks, u_int8 flags, u_int32 *err);
void enumeration_set_embedded(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class,
                              void *instance);
void enumeration_destroy(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                         u_int32 free);

u_int32 enumeration_get_value(const enumeration_descriptor &type, vela_handle *handle, const void *instance,
                              u_int32 *err);
void enumeration_set(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class, void *destination,
                     const void *source, u_int32 *err);
u_int32 enumeration_is_valid(const enumeration_descriptor &type, vela_handle *handle, u_int32 value);

/** A value's literal, or nullptr for a number without one. */
const char *enumeration_literal(const enumeration_descriptor &type, u_int32 value);

/** The first variant that may hold a value. */
inline int8 variant_needed(const u_int32 *thresholds, int8 latest, u_int32 number) {
    int8 needed = 0;
    while (needed <= latest && number >= thresholds[needed]) {
        ++needed;
    }
    return needed;
}

/** Whether an instance at `variant` may hold a value: variant_needed() in one look. */
PTP_CFG_INLINE bool variant_admits(const u_int32 *thresholds, int8 latest, int8 variant, u_int32 number) {
    return variant > latest || (variant >= 0 && number < thresholds[variant]);
}

/** Ends a store of a value that the instance's variant does not have: error 43. */
[[gnu::cold, gnu::noinline]] void refuse_value(const enumeration_descriptor &type, vela_handle *handle,
                                               const void *instance, u_int32 *err);
/** Ends a call of {type}_set_value: the word is set, or the instance is null, which is then error 22. */
[[gnu::cold, gnu::noinline]] void refuse_set_value(const enumeration_descriptor &type, vela_handle *handle,
                                                   u_int32 *err);

/** Prepares a store of `value`; false when the instance's variant does not have it. */
PTP_CFG_INLINE bool enumeration_admits(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class,
                                       void *instance, u_int32 value, u_int32 *err) {
    adjust(handle, mem_class, instance, type.latest, err);
    const int8 variant = VELA_CALL(vela_get_instance_variant)(instance, 0, 1);
    if (!variant_admits(type.thresholds, type.latest, variant, value)) {
        refuse_value(type, handle, instance, err);
        return false;
    }
    return true;
}

PTP_CFG_INLINE void enumeration_set_value(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class,
                                          void *instance, u_int32 value, u_int32 *err) {
    if (*err != 0) {
        refuse_set_value(type, handle, err);
        return;
    }
    clear_last_error(handle);
    if (instance == nullptr) {
        refuse_set_value(type, handle, err);
        return;
    }
    if (!enumeration_admits(type, handle, mem_class, instance, value, err)) {
        return;
    }
    notify(handle, mem_class, value_of(instance), sizeof(u_int32));
    *value_of(instance) = value;
}

PTP_CFG_INLINE int32 enumeration_compare(const void *a, const void *b) {
    if (a == nullptr || b == nullptr) {
        return a == b ? 0 : (a == nullptr ? -1 : 1);
    }
    return static_cast<int32>(*value_of(a) - *value_of(b));
}

PTP_CFG_INLINE u_int32 enumeration_hash(const void *instance, u_int32 seed) {
    return instance == nullptr ? seed : VELA_CALL(SuperFastHash)(value_of(instance), 4, seed);
}

}  // namespace ptp_cfg
