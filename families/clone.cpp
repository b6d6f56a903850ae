#include "families/clone.h"

namespace ptp_cfg {

void structure_clone_internal(const structure_descriptor &type, const unrolled_functions &wire, vela_handle *handle,
                              u_int32 mem_class, const void *source, void **slot, u_int8 *buffer, int32 length,
                              u_int32 *err) {
    if (*err != 0) {
        return;
    }
    clear_last_error(handle);
    if (slot == nullptr || buffer == nullptr) {
        fail(handle, VELA_ENOENT, err);
        return;
    }
    const bool plainly = wire.copies_plainly(handle, source, length);
    const u_int32 count = plainly ? 0 : wire.marshal_for_clone(handle, mem_class, buffer, source, length, err);
    if (*err != 0) {
        return;
    }
    if (*slot == nullptr) {
        *slot = wire.create(handle, mem_class);
        if (*slot == nullptr) {
            fail(handle, VELA_ENOMEM, err);
            return;
        }
    }
    if (plainly) {
        wire.copy_plainly(handle, source, *slot);
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
    // A tracked encoding may store one byte past the room it is given.
    const int32 spare = handle->sttr_record != nullptr && handle->sttr_record->mode == VELA_STTR_ON ? 1 : 0;
    structure_clone_internal(type, wire, handle, mem_class, source, slot, buffer, length - spare, err);
}

void *structure_clone_cr(const structure_descriptor &type, const unrolled_functions &wire, vela_handle *handle,
                         const void *source) {
    void *slot = nullptr;
    structure_copy(type, wire, handle, handle->chained_mem_class, source, &slot, &handle->chained_err);
    return slot;
}

void structure_copy_cr(const structure_descriptor &type, const unrolled_functions &wire, vela_handle *handle,
                       const void *source, void *destination) {
    void *slot = destination;
    structure_copy(type, wire, handle, handle->chained_mem_class, source, &slot, &handle->chained_err);
}

u_int32 structure_is_valid(const structure_descriptor &type, vela_handle *handle, u_int32 field_number) {
    const int8 variant = domain_variant(handle, type.record, &handle->chained_err);
    return variant_needed(type.validity, type.newest, field_number) > variant ? 0 : 1;
}

}  // namespace ptp_cfg
