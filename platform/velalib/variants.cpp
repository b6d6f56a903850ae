// The exported forms of asking an instance for its identity, variant, flags and type information.
#include <cstring>

#include "velalib_inline.h"

void vela_get_luid(vela_handle *handle, u_int32, const void *instance, u_int8 *luid, u_int32 *err) {
    if (*err != 0) {
        return;
    }
    const vela_type_info *type_info =
        instance == nullptr ? nullptr : vela_inline::vela_get_manifested_type_info(instance);
    if (type_info == nullptr || luid == nullptr) {
        vela_inline::fail(handle, err, VELA_EINVAL);
        return;
    }
    memcpy(luid, type_info->luid, sizeof type_info->luid);
}

int8 vela_get_instance_variant(const void *instance, u_int32 structure, u_int32 by_kind) {
    return vela_inline::vela_get_instance_variant(instance, structure, by_kind);
}

u_int8 vela_get_instance_obj_flag(const void *instance) { return vela_inline::vela_get_instance_obj_flag(instance); }

u_int32 velalib_adjust_variant(vela_handle *handle, u_int32 mem_class, void *instance, const vela_type_info *type_info,
                               int32 latest, u_int32 *err) {
    return vela_inline::velalib_adjust_variant(handle, mem_class, instance, type_info, latest, err);
}

const vela_type_info *vela_get_manifested_type_info(const void *instance) {
    return vela_inline::vela_get_manifested_type_info(instance);
}

const vela_type_info **vela_get_manifested_type_info_ptr_mem(void *instance) {
    return vela_inline::vela_get_manifested_type_info_ptr_mem(instance);
}
