/**
 * Object identifiers: who refers to an instance, so that it lives until the last reference has gone.
 *
 * vela_oid_mapping_attach() makes an instance an object that can be referred to. References are counted; an
 * `en_address` field can hold some, and destroying its record releases them. Destroying a referenced object
 * only marks it: the release of the last reference calls the object's destroy function again.
 *
 * All of it is kept in the handle and goes with it. The error rules of runtime.h hold.
 */
#ifndef VELALIB_OBJECT_REFERENCE_H
#define VELALIB_OBJECT_REFERENCE_H

#include "velalib/handle.h"

VELA_BEGIN_C

/** Destroys an instance: the destroy operation of its type. */
typedef void (*vela_object_destroy_fn)(vela_handle *handle, u_int32 mem_class, void *instance);

/**
 * Gives an instance an object-identifier mapping with no references, and sets flag 0x01, announced.
 * @param destroy  called once the last reference has gone after a destroy was asked for; NULL: the caller of the
 *                 release cleans up
 * @param err      VELA_ENOMEM: no memory; VELA_EINVAL: a null instance, or one that has a mapping
 */
VELA_API void vela_oid_mapping_attach(vela_handle *handle, u_int32 mem_class, void *instance,
                                      vela_object_destroy_fn destroy, u_int32 *err);
/**
 * Takes the mapping away whatever refers to the instance, and clears flag 0x01, announced. References that are
 * left can no longer be released (VELA_ENOENT). No mapping is VELA_ENOENT.
 */
VELA_API void vela_oid_mapping_detach(vela_handle *handle, u_int32 mem_class, void *instance, u_int32 *err);
/** Number of references to an instance; 0 without a mapping. */
VELA_API u_int32 vela_oid_reference_count(vela_handle *handle, const void *instance);

/**
 * Makes a field refer to an object, which gains a reference.
 * @param object  NULL: an object that is not known yet; the field's references cannot be listed until it is gone
 * @param err     VELA_ENOENT: the object has no mapping; VELA_ENOMEM: no memory; VELA_EINVAL: a null field
 */
VELA_API void en_address_attach_reference(vela_handle *handle, u_int32 mem_class, const en_address *field, void *object,
                                          u_int32 *err);
/** Number of references that a field holds. A null field is VELA_EINVAL. */
VELA_API u_int32 en_address_get_oid_count(vela_handle *handle, u_int32 mem_class, const en_address *field,
                                          u_int32 *err);
/**
 * Lists the references that a field holds.
 * @param array  receives at most `count` of them
 * @param err    VELA_ENOENT: one of them refers to an object not known yet; VELA_EINVAL: a null argument; VELA_ENOSPC:
 *               there are more
 */
VELA_API void en_address_get_object_references(vela_handle *handle, u_int32 mem_class, const en_address *field,
                                               void **array, u_int32 count, u_int32 *err);
/** Forgets a field's references without releasing them. */
VELA_API void vela_address_references_drop(vela_handle *handle, const en_address *field);

VELA_END_C

#endif
