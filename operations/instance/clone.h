// Deep copies, by way of the wire format, and whether a field exists in the handle's domain.
#pragma once

#include "operations/core/unrolled.h"
#include "operations/instance/unrolled_lifecycle.h"
#include "operations/wire/unrolled/paths.h"

namespace ptp_cfg {

/**
 * Copies into the slot's instance, creating one when the slot is empty.
 * A failed copy consumes its destination: the instance is destroyed and the slot emptied.
 */
void structure_clone_internal(const structure_descriptor &type, const unrolled_functions &wire, vela_handle *handle,
                              u_int32 mem_class, const void *source, void **slot, u_int8 *buffer, int32 length,
                              u_int32 *err);
void *structure_clone_cr(const structure_descriptor &type, const unrolled_functions &wire, vela_handle *handle,
                         const void *source);
void structure_copy_cr(const structure_descriptor &type, const unrolled_functions &wire, vela_handle *handle,
                       const void *source, void *destination);

/** Copies through the handle's own work buffer; what clone_cr, copy_cr and reflection stand on. */
void structure_copy(const structure_descriptor &type, const unrolled_functions &wire, vela_handle *handle,
                    u_int32 mem_class, const void *source, void **slot, u_int32 *err);

/**
 * Whether a copy by way of the handle's work buffer would be plain, and could not fail there. A new instance must have
 * the variants of this release: a domain may give an enumeration one above them, which the copy would keep.
 */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool can_copy_directly_by_handle(vela_handle *handle, const void *source) {
    constexpr int32 width = static_cast<int32>(latest_width(D));
    return handle->chained_err == 0 && handle->variant_domain.overrides == nullptr &&
           structure_can_copy_directly<D>(handle, source, width) && work_buffer_room(handle) >= width;
}

template <const structure_descriptor &D>
void *structure_clone_cr(vela_handle *handle, const void *source) {
    if constexpr (has_unrolled_path<D>) {
        if (can_copy_directly_by_handle<D>(handle, source)) {
            void *copy = structure_create<D>(handle, handle->chained_mem_class);
            if (copy != nullptr) {
                structure_copy_directly<D, headers::known>(handle, source, copy);
                return copy;
            }
            clear_last_error(handle);
            fail_in({D.name, nullptr, "clone_cr"}, handle, VELA_ENOMEM, &handle->chained_err);
            return nullptr;
        }
    }
    return structure_clone_cr(D, unrolled_of<D>, handle, source);
}

template <const structure_descriptor &D>
void structure_copy_cr(vela_handle *handle, const void *source, void *destination) {
    if constexpr (has_unrolled_path<D>) {
        if (destination != nullptr && can_copy_directly_by_handle<D>(handle, source)) {
            structure_copy_directly<D, headers::all>(handle, source, destination);
            return;
        }
    }
    structure_copy_cr(D, unrolled_of<D>, handle, source, destination);
}

u_int32 structure_is_valid(const structure_descriptor &type, vela_handle *handle, u_int32 field_number);

}  // namespace ptp_cfg
