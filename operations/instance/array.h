// What array fields add to the access of single fields.
#pragma once

#include "operations/instance/field.h"

namespace ptp_cfg {

/** Copies bytes out of, or into, the start of a byte array; `length` at most its capacity, else error 22. */
void array_get_mem(const structure_descriptor &type, u_int32 index, vela_handle *handle, const void *instance,
                   void *destination, int32 length, u_int32 *err);
void array_set_mem(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                   void *instance, const void *source, int32 length, u_int32 *err);

/** Copies a structure over an element. The element index is not checked: callers keep it below the capacity. */
void array_set_element(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                       void *instance, u_int32 element, const void *source, u_int32 *err);

}  // namespace ptp_cfg
