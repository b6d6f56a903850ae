// Wire format of enumerations and structures.
//
// One reference path handles every variant, tracking mode, short buffer and error, in the required order. An unrolled
// path handles the common case, a versioned one older variants and state flags (unrolled/paths.h); both hand over to the
// reference one where something does not fit.
#pragma once

#include "operations/core/tracking.h"
#include "operations/instance/enumeration.h"
#include "operations/instance/structure.h"

namespace ptp_cfg {

/** Width of what precedes the fields of an instance: variant, object flag, jump. */
constexpr u_int32 wire_header = VELA_WIRE_VARIANT + VELA_WIRE_OBJECT_FLAG + VELA_WIRE_JUMP;
/** The object flags that travel. */
constexpr u_int8 wire_flags = VELA_FLAG_TRACKED | VELA_FLAG_EXTRA_DATA;

/** Whether an instance newer than the domain is an error: for_clone leaves structures unchecked. */
enum class domain_check : u_int8 { always, for_clone };

u_int32 enumeration_marshal(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class, u_int8 *buffer,
                            const void *instance, int32 room, u_int32 *err);
u_int32 enumeration_unmarshal(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class,
                              const u_int8 *buffer, void *instance, int32 length, u_int32 mode, u_int32 *err);

u_int32 structure_marshal_reference(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class,
                                    u_int8 *buffer, const void *instance, int32 room, domain_check check, u_int32 *err);
u_int32 structure_unmarshal_reference(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class,
                                      const u_int8 *buffer, void *instance, int32 length, u_int32 mode, u_int32 *err);

u_int32 structure_len(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, const void *instance);

}  // namespace ptp_cfg
