// Access to single fields. Every operation tests in this order: the error word, then whether the instance's variant
// has the field (43), then index and value.
#pragma once

#include "operations/instance/enumeration.h"
#include "operations/instance/state_flags.h"
#include "operations/instance/structure.h"

namespace ptp_cfg {

/** Whether an instance's variant has a field. A null instance has none. */
PTP_CFG_INLINE bool has_field(const field_descriptor &field, const void *instance) {
    // The runtime is told the kind of field, for variants that it may keep apart.
    const u_int32 by_kind = field.kind == field_kind::enumeration || field.kind == field_kind::vela_boolean ? 1 : 0;
    return VELA_CALL(vela_get_instance_variant)(instance, 1, by_kind) >= static_cast<int>(field.since);
}

/** The name of a field's accessor, also of its form for chains. */
call_name accessor_name(const structure_descriptor &type, const field_descriptor &field, const char *operation);

// What ends an access returns 0, for accessors to end with its call: they need no frame then.

/** Ends an access that must not go on: the word is set, or there is no such field, which is then error 43. */
[[gnu::cold, gnu::noinline]] u_int64 refuse_access(const structure_descriptor &type, const field_descriptor &field,
                                                   const char *operation, vela_handle *handle, const void *instance,
                                                   u_int32 *err);

/** Whether a field can be read; otherwise the read ends with refuse_access(). */
PTP_CFG_INLINE bool can_get(const field_descriptor &field, vela_handle *handle, const void *instance, u_int32 *err) {
    if (*err != 0) [[unlikely]] {
        return false;
    }
    clear_last_error(handle);
    return has_field(field, instance);
}

/** Opens a read of a field by the function {type}_{field}{operation}; false when it ends here. */
PTP_CFG_INLINE bool begin_get(const structure_descriptor &type, const field_descriptor &field, const char *operation,
                              vela_handle *handle, const void *instance, u_int32 *err) {
    if (can_get(field, handle, instance, err)) [[likely]] {
        return true;
    }
    refuse_access(type, field, operation, handle, instance, err);
    return false;
}

/** Opens a write of a field; false when it ends here. */
PTP_CFG_INLINE bool begin_set(const structure_descriptor &type, const field_descriptor &field, const char *operation,
                              vela_handle *handle, u_int32 mem_class, void *instance, u_int32 *err) {
    if (*err == 0) [[likely]] {
        clear_last_error(handle);
        adjust(handle, mem_class, instance, type.latest, err);
        if (has_field(field, instance)) [[likely]] {
            return true;
        }
        *err = 0;  // whatever the adjustment came to: the field is tested first
    }
    refuse_access(type, field, operation, handle, instance, err);
    return false;
}

/** Ends an access with an index beyond the field's elements: error 2. */
[[gnu::cold, gnu::noinline]] u_int64 refuse_index(const structure_descriptor &type, const field_descriptor &field,
                                                  const char *operation, vela_handle *handle, u_int32 *err);

/** False, with error 2, for an index at or above the capacity. */
inline bool within(const structure_descriptor &type, const field_descriptor &field, const char *operation,
                   u_int32 element, vela_handle *handle, u_int32 *err) {
    if (element < field.capacity) [[likely]] {
        return true;
    }
    refuse_index(type, field, operation, handle, err);
    return false;
}

/** Storage of a field, or of an element of an array field. */
PTP_CFG_INLINE void *field_get(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                               void *instance, u_int32 element, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    if (!can_get(field, handle, instance, err)) [[unlikely]] {
        return reinterpret_cast<void *>(refuse_access(type, field, "_get", handle, instance, err));
    }
    if (element >= field.capacity) [[unlikely]] {
        return reinterpret_cast<void *>(refuse_index(type, field, "_get", handle, err));
    }
    u_int8 *value = storage(field, instance, element);
    if (has_own_runtime || !is_primitive(field.kind)) {
        return value;
    }
    return visit_primitive(field.kind, [&](auto primitive) -> void * {
        using P = decltype(primitive);
        return P::get(handle, mem_class, as<typename P::type>(value), err);
    });
}

/** Value of a number or truth value of kind K, in a field or an element of one. */
template <field_kind K>
typename primitive_traits<K>::type field_get_value(const structure_descriptor &type, u_int32 index, vela_handle *handle,
                                                   u_int32 mem_class, const void *instance, u_int32 element,
                                                   u_int32 *err) {
    using P = primitive_traits<K>;
    const field_descriptor &field = type.fields[index];
    constexpr const char *operation = "_get_value";
    if (!begin_get(type, field, operation, handle, instance, err) ||
        !within(type, field, operation, element, handle, err)) {
        return 0;
    }
    const auto *value = as<typename P::type>(storage(field, instance, element));
    return has_own_runtime ? *value : P::get_value(handle, mem_class, value, err);
}

/** Stores a number or truth value of kind K and marks the field as set. */
template <field_kind K>
void field_set_value(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                     void *instance, u_int32 element, typename primitive_traits<K>::type value, u_int32 *err) {
    using P = primitive_traits<K>;
    const field_descriptor &field = type.fields[index];
    constexpr const char *operation = "_set_value";
    if (!begin_set(type, field, operation, handle, mem_class, instance, err) ||
        !within(type, field, operation, element, handle, err)) {
        return;
    }
    auto *destination = as<typename P::type>(storage(field, instance, element));
    if constexpr (has_own_runtime) {
        notify(handle, mem_class, destination, sizeof *destination);
        *destination = value;
    } else {
        P::set_value(handle, mem_class, destination, value, err);
    }
    finish_set(type, field, operation, handle, mem_class, instance, element, err);
}

PTP_CFG_INLINE u_int32 field_get_enumeration(const structure_descriptor &type, u_int32 index, vela_handle *handle,
                                             const void *instance, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    return begin_get(type, field, "_get_value", handle, instance, err)
               ? *value_of(static_cast<const void *>(storage(field, instance)))
               : 0;
}

PTP_CFG_INLINE void field_set_enumeration(const structure_descriptor &type, u_int32 index, vela_handle *handle,
                                          u_int32 mem_class, void *instance, u_int32 value, u_int32 *err) {
    const field_descriptor &field = type.fields[index];
    constexpr const char *operation = "_set_value";
    if (!begin_set(type, field, operation, handle, mem_class, instance, err)) {
        return;
    }
    enumeration_set_value(*field.enumeration, handle, mem_class, storage(field, instance), value, err);
    finish_set(type, field, operation, handle, mem_class, instance, 0, err);
}

/** Copies a value of the field's own type into a field, or into an element of a scalar array. */
void field_set(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class, void *instance,
               u_int32 element, const void *source, u_int32 *err);

/** Characters of a text field, "" when it is empty; nullptr on failure. */
const char *text_get(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                     void *instance, u_int32 *err);
/** Sets a text and its length companion, which keeps the low 8 bits of the count. */
void text_set(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class, void *instance,
              const char *characters, u_int32 count, u_int32 *err);

}  // namespace ptp_cfg
