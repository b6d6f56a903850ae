// Where the state flags of a nested instance are.
#include "runtime_state.h"
#include "velalib_inline.h"

int64_t velalib_get_sttr_offset(vela_handle *handle, u_int32, const void *instance) {
    if ((vela_inline::vela_get_instance_obj_flag(instance) & VELA_FLAG_STTR_OFFSET) == 0) {
        return 0;
    }
    const int64_t *offset = handle->runtime->sttr_offsets.find(instance);
    return offset == nullptr ? 0 : *offset;
}

void velalib_update_sttr_offset(vela_handle *handle, u_int32 mem_class, void *instance, int64_t offset) {
    if (instance == nullptr) {
        vela_inline::vela_store_err(handle, VELA_EINVAL);
        return;
    }
    if (!handle->runtime->sttr_offsets.insert(instance, offset)) {
        vela_inline::vela_store_err(handle, VELA_ENOMEM);
        return;
    }
    u_int8 *flags = &static_cast<vela_instance_header *>(instance)->flags;
    if ((*flags & VELA_FLAG_STTR_OFFSET) != 0) {
        return;
    }
    vela_inline::notify(handle, mem_class, flags, 1);
    *flags |= VELA_FLAG_STTR_OFFSET;
}

void vela_hd_mapping_destroy(vela_handle *handle, u_int32, void *instance, u_int32 *err) {
    if (*err != 0) {
        return;
    }
    handle->runtime->sttr_offsets.erase(instance);
}
