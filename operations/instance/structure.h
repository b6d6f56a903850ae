// Life of structures and array types, and access to whole instances.
#pragma once

#include "operations/instance/header.h"

namespace ptp_cfg {

u_int32 structure_sizeof(const structure_descriptor &type, vela_handle *handle);

void *structure_create(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class);
void *structure_create_internal(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class);
void *structure_create_cr(const structure_descriptor &type, vela_handle *handle);

/**
 * Sets up an instance in memory that is already there and zeroed.
 * @param embedded   true: counted by its parent's owner, not by itself
 * @param sttr_base  for a nested instance under a tracking handle: the parent's state-flag block
 */
void structure_initialize(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                          const vela_type_info *type_info, bool hooks, bool embedded, u_int8 flags, u_int8 *sttr_base,
                          u_int32 *err);
void structure_set_embedded(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance);

void structure_destroy(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance);
void structure_destroy_internal(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class,
                                void *instance, u_int32 free);

/** Keeps, or drops, the places of the state-flag blocks of all nested instances. */
void structure_offset_update(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                             u_int8 *sttr_base);
void structure_offset_remove(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                             u_int32 *err);

/**
 * Copies a whole instance over another, header included; texts are duplicated. Flags that tell of the destination's
 * memory and of its place in a parent stay, in it and in all that it embeds.
 */
void structure_set(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *destination,
                   const void *source, u_int32 *err);

/** Gives an instance whose bytes were copied from another texts of its own. */
void structure_own_texts(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance);
/** Repeats the element type's set for every element of every array field. */
void structure_set_elements(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *destination,
                            const void *source, u_int32 *err);

/** Whether get_all and set_all take a field: single numbers, truth values and enumerations. */
constexpr bool is_value_field(const field_descriptor &field) { return !field.is_array && is_value(field.kind); }

/** Values of integer, boolean and enumeration fields in declaration order, one pointer each. */
void structure_get_all(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, const void *instance,
                       void *const *values, u_int32 *err);
/** The same fields but the read-only companions: numbers first, then enumerations. */
void structure_set_all(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                       const u_int64 *values, u_int32 *err);

/** Calls visit(field, element) for every field that is an instance itself, and for every element of one. */
template <class Visit>
inline void for_each_embedded(const structure_descriptor &type, Visit &&visit) {
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        const bool is_instance = field.enumeration != nullptr || field.structure != nullptr;
        for (u_int32 element = 0; is_instance && element < field.capacity; ++element) {
            visit(field, element);
        }
    }
}

/** The same without enumerations. */
template <class Visit>
inline void for_each_nested(const structure_descriptor &type, Visit &&visit) {
    for_each_embedded(type, [&](const field_descriptor &field, u_int32 element) {
        if (field.structure != nullptr) {
            visit(field, element);
        }
    });
}

/**
 * Where a nested instance's block begins, inside the block that begins at `base`: behind its field's own flags, of which
 * an array has one for itself and one per element.
 */
inline u_int8 *nested_block(u_int8 *base, const field_descriptor &field, u_int32 element) {
    const u_int32 own = field.is_array ? 1u + field.capacity : 1u;
    return base + field.flag_position + own + element * field.structure->block_length;
}

}  // namespace ptp_cfg
