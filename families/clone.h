// Deep copies, by way of the wire format, and whether a field exists in the handle's domain.
#pragma once

#include "families/wire_fast.h"

namespace ptp_cfg {

/**
 * Copies into the slot's instance, creating one when the slot is empty.
 * A failed copy consumes its destination: the instance is destroyed and the slot emptied.
 */
void structure_clone_internal(const structure_descriptor &type, const wire_functions &wire, vela_handle *handle,
                              u_int32 mem_class, const void *source, void **slot, u_int8 *buffer, int32 length,
                              u_int32 *err);
void *structure_clone_cr(const structure_descriptor &type, const wire_functions &wire, vela_handle *handle,
                         const void *source);
void structure_copy_cr(const structure_descriptor &type, const wire_functions &wire, vela_handle *handle,
                       const void *source, void *destination);

/** Copies through the handle's own work buffer; what clone_cr, copy_cr and reflection stand on. */
void structure_copy(const structure_descriptor &type, const wire_functions &wire, vela_handle *handle,
                    u_int32 mem_class, const void *source, void **slot, u_int32 *err);

u_int32 structure_is_valid(const structure_descriptor &type, vela_handle *handle, u_int32 field_number);

}  // namespace ptp_cfg
