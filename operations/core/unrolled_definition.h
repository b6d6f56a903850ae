// Makes the unrolled operations of a structure, in the one source that instantiates them.
#pragma once

#include "operations/core/unrolled.h"
#include "operations/instance/clone.h"
#include "operations/instance/compare_hash.h"

namespace ptp_cfg {

/** The most bytes that an encoding of a type can take. */
constexpr u_int32 longest_encoding(const structure_descriptor &type) {
    constexpr u_int32 longest_text = 255;
    u_int32 longest = wire_header + VELA_WIRE_EXTRA_DATA;
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        const u_int32 element = field.kind == field_kind::structure    ? longest_encoding(*field.structure)
                                : field.kind == field_kind::var_string ? longest_text
                                                                       : element_width(field);
        longest += field.capacity * element + flags_width(field);
    }
    return longest;
}

template <const structure_descriptor &D>
const unrolled_functions unrolled<D>::functions = {
    structure_create<D>,
    structure_destroy<D>,
    [](vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance, int32 room, u_int32 *err) {
        return structure_marshal<D>(handle, mem_class, buffer, instance, room, err);
    },
    structure_marshal_for_clone<D>,
    structure_unmarshal<D>,
    structure_can_copy_directly<D>,
    structure_copy_directly<D, headers::all>,
    [](const void *a, const void *b) { return structure_compare<D>(a, b); },
    structure_hash<D>,
    longest_encoding(D)};

}  // namespace ptp_cfg
