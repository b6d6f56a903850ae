// Makes the unrolled operations of a structure, in the one source that instantiates them.
#pragma once

#include "families/clone.h"
#include "families/compare_hash.h"
#include "families/unrolled.h"

namespace ptp_cfg {

template <const structure_descriptor &D>
const unrolled_functions unrolled<D>::functions = {
    structure_create<D>,
    structure_destroy<D>,
    [](vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance, int32 room, u_int32 *err) {
        return structure_marshal<D>(handle, mem_class, buffer, instance, room, err);
    },
    structure_marshal_for_clone<D>,
    structure_unmarshal<D>,
    structure_copies_plainly<D>,
    structure_copy_plainly<D, false>,
    [](const void *a, const void *b) { return structure_compare<D>(a, b); },
    structure_hash<D>};

}  // namespace ptp_cfg
