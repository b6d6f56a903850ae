// Clone and copy: encode into a work buffer, decode from it, or copy directly where that leaves the same.
#include "operations/instance/clone.h"

#include "operations/core/operation_call.h"

namespace ptp_cfg {

/** Bytes that the encoding of an instance takes for extra data, which structure_len() leaves out. */
static u_int32 extra_data_len(const structure_descriptor &type, const void *instance) {
    const int8 variant = VELA_CALL(vela_get_instance_variant)(instance, 1, 0);
    const u_int8 flags = VELA_CALL(vela_get_instance_obj_flag)(instance);
    u_int32 len = (flags & VELA_FLAG_EXTRA_DATA) != 0 ? VELA_WIRE_EXTRA_DATA : 0;
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (field.kind != field_kind::structure || static_cast<int>(field.since) > variant) {
            continue;
        }
        for (u_int32 element = 0; element < field.capacity; ++element) {
            len += extra_data_len(*field.structure, storage(field, instance, element));
        }
    }
    return len;
}

/** Whether a buffer holds a whole encoding. Marshal would drop the last state flags in silence where the room ends. */
static bool holds_encoding(const structure_descriptor &type, const unrolled_functions &wire, vela_handle *handle,
                           u_int32 mem_class, const void *source, int32 length) {
    const u_int32 room = static_cast<u_int32>(length);
    return (has_own_runtime && room >= wire.longest_encoding) ||
           room >= structure_len(type, handle, mem_class, source) + extra_data_len(type, source);
}

void structure_clone_internal(const structure_descriptor &type, const unrolled_functions &wire, vela_handle *handle,
                              u_int32 mem_class, const void *source, void **slot, u_int8 *buffer, int32 length,
                              u_int32 *err) {
    operation_call call({type.name, nullptr, "clone_internal", "clone_cr"}, handle, err);
    if (!call.open(type) || !call.require(slot != nullptr, "the slot is null", VELA_ENOENT) ||
        !call.require(buffer != nullptr, "the work buffer is null", VELA_ENOENT)) {
        return;
    }
    const bool directly = wire.can_copy_directly(handle, source, length);
    if (!call.require(directly || length < 1 || holds_encoding(type, wire, handle, mem_class, source, length),
                      "the work buffer is shorter than the encoding", VELA_EMSGSIZE)) {
        return;
    }
    const u_int32 count = directly ? 0 : wire.marshal_for_clone(handle, mem_class, buffer, source, length, err);
    if (*err != 0) {
        return;
    }
    if (*slot == nullptr) {
        *slot = wire.create(handle, mem_class);
        if (!call.require(*slot != nullptr, nullptr, VELA_ENOMEM)) {
            return;
        }
    }
    if (directly) {
        wire.copy_directly(handle, source, *slot);
        return;
    }
    wire.unmarshal(handle, mem_class, buffer, *slot, static_cast<int32>(count), 0, err);
    if (*err != 0) {
        structure_destroy(type, handle, mem_class, *slot);
        *slot = nullptr;
    }
}

void structure_copy(const structure_descriptor &type, const unrolled_functions &wire, vela_handle *handle,
                    u_int32 mem_class, const void *source, void **slot, u_int32 *err) {
    u_int8 *buffer = nullptr;
    int32 length = 0;
    velalib_get_handle_ws(handle, &buffer, &length);
    operation_call call({type.name, nullptr, "clone_internal", "clone_cr"}, handle, err);
    if (buffer == nullptr && *err == 0) {
        call.refuse("there is no memory for the handle's work buffer", VELA_ENOMEM);
        return;
    }
    structure_clone_internal(type, wire, handle, mem_class, source, slot, buffer, length, err);
}

void *structure_clone_cr(const structure_descriptor &type, const unrolled_functions &wire, vela_handle *handle,
                         const void *source) {
    void *slot = nullptr;
    structure_copy(type, wire, handle, handle->chained_mem_class, source, &slot, &handle->chained_err);
    return slot;
}

void structure_copy_cr(const structure_descriptor &type, const unrolled_functions &wire, vela_handle *handle,
                       const void *source, void *destination) {
    operation_call call({type.name, nullptr, "copy_cr"}, handle, &handle->chained_err);
    if (call.open(type) && call.require(destination != nullptr, "the destination is null")) {
        void *slot = destination;
        structure_copy(type, wire, handle, handle->chained_mem_class, source, &slot, &handle->chained_err);
    }
}

u_int32 structure_is_valid(const structure_descriptor &type, vela_handle *handle, u_int32 field_number) {
    const int8 variant = domain_variant(handle, type.type_info, &handle->chained_err);
    return variant_needed(type.validity, type.latest, field_number) > variant ? 0 : 1;
}

}  // namespace ptp_cfg
