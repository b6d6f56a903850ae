// What destroy does about object identifiers: the instance's own mapping, and references that MAC addresses hold.
#pragma once

#include "operations/core/descriptors.h"

namespace ptp_cfg {

/** Removes the instance's mapping. False when destroy must stop: it failed, or references to the object remain. */
bool remove_oid_mapping(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance);

/** Releases the references of an address field. False when they cannot be fetched and destroy must stop. */
bool release_references(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, en_address *field);

}  // namespace ptp_cfg
