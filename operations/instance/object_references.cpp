// Gives back what the runtime keeps for an instance's identifiers.
#include "operations/instance/object_references.h"

#include "operations/core/errors.h"

namespace ptp_cfg {

bool remove_oid_mapping(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance) {
    u_int32 err = 0;
    const u_int32 removed = vela_request_oid_mapping_destroy(handle, mem_class, instance, &err);
    if (err != 0) {
        emit(type.trace, trace::structure::destroy_oid_failed, strerror(static_cast<int>(err)));
        VELA_CALL(vela_store_err)(handle, err);
        return false;
    }
    if (removed == 0) {
        emit(type.trace, trace::structure::destroy_oid_referenced);
        return false;
    }
    emit(type.trace, trace::structure::destroy_oid_removed);
    return true;
}

static void release_all(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void **references,
                        u_int32 count) {
    for (u_int32 i = 0; i < count; ++i) {
        u_int32 err = 0;
        velalib_lookup_and_update_oid_ref_count(handle, mem_class, references[i], 0, &err);
        if (err != 0) {
            emit(type.trace, trace::structure::destroy_release_failed, references[i], strerror(static_cast<int>(err)));
        }
    }
}

bool release_references(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, en_address *field) {
    u_int32 err = 0;
    const u_int32 count = en_address_get_oid_count(handle, mem_class, field, &err);
    if (count > 0) {
        void **references = static_cast<void **>(velalib_malloc(handle, mem_class, count * sizeof(void *)));
        if (references == nullptr) {
            err = VELA_ENOMEM;
        } else {
            en_address_get_object_references(handle, mem_class, field, references, count, &err);
        }
        if (err != 0) {
            emit(type.trace, trace::structure::destroy_references_failed, strerror(static_cast<int>(err)));
            velalib_free(handle, mem_class, references);
            return false;
        }
        release_all(type, handle, mem_class, references, count);
        velalib_free(handle, mem_class, references);
    }
    en_address_destroy_internal(handle, mem_class, field, 0);
    return true;
}

}  // namespace ptp_cfg
