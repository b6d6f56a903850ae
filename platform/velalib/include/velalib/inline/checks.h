/** Inline forms of the cheap checks of runtime.h. Each does what the exported function of its name does. */
#ifndef VELALIB_INLINE_CHECKS_H
#define VELALIB_INLINE_CHECKS_H

#include "velalib/inline/base.h"

namespace vela_inline {

VELA_INLINE void vela_clear_last_error(vela_handle *handle) {
    handle->last_error.code = 0;
    handle->last_error.epoch = 0;
}

VELA_INLINE void vela_store_err(vela_handle *handle, u_int32 code) {
    handle->last_error.code = code;
    handle->last_error.epoch = 0;
}

VELA_INLINE void vela_store_epoch_err(vela_handle *handle, u_int32 code, u_int32 *err) {
    handle->last_error.code = code;
    handle->last_error.epoch = 1;
    *err = code;
}

/** Leaves only the case of a domain with overrides to the exported function. */
VELA_INLINE int8 vela_domain_lookup_variant(vela_handle *handle, const vela_variant_domain *domain,
                                            const vela_type_info *record, u_int32 *err) {
    if (domain->overrides != nullptr || record == nullptr) [[unlikely]] {
        return ::vela_domain_lookup_variant(handle, domain, record, err);
    }
    if (*err != 0 || record->variant_table == nullptr) {
        return 0;
    }
    return static_cast<int8>(record->variant_table->count - 1);
}

VELA_INLINE int8 vela_get_instance_variant(const void *instance, u_int32, u_int32) {
    return instance == nullptr ? int8{-1} : static_cast<const vela_instance_header *>(instance)->variant;
}

VELA_INLINE u_int8 vela_get_instance_obj_flag(const void *instance) {
    return instance == nullptr ? u_int8{0} : static_cast<const vela_instance_header *>(instance)->flags;
}

VELA_INLINE u_int32 velalib_adjust_variant(vela_handle *, u_int32, void *, const vela_type_info *, int32, u_int32 *) {
    return 0;
}

VELA_INLINE const vela_type_info *vela_get_manifested_type_info(const void *instance) {
    return static_cast<const vela_instance_header *>(instance)->type_info;
}

VELA_INLINE const vela_type_info **vela_get_manifested_type_info_ptr_mem(void *instance) {
    return &static_cast<vela_instance_header *>(instance)->type_info;
}

/** Threads share the static records, so those count atomically; a shared-form copy belongs to one handle. */
VELA_INLINE void count_object(vela_handle *handle, u_int32 mem_class, const vela_type_info *record, u_int64 *counter) {
    notify_counter(handle, mem_class, counter);
    if (record->shared == 0) {
        __atomic_fetch_add(counter, 1, __ATOMIC_RELAXED);
    } else {
        ++*counter;
    }
}

VELA_INLINE void velalib_type_stats_create_object(vela_handle *handle, u_int32 mem_class, const vela_type_info *record,
                                                  vela_variant_row *row, u_int32 *err) {
    if (*err == 0) {
        count_object(handle, mem_class, record, &row->created);
    }
}

VELA_INLINE void velalib_type_stats_destroy_object(vela_handle *handle, u_int32 mem_class, const vela_type_info *record,
                                                   vela_variant_row *row, u_int32 *err) {
    if (*err == 0) {
        count_object(handle, mem_class, record, &row->destroyed);
    }
}

/** Costs a load and a test while no field of the handle holds references. */
VELA_INLINE bool has_address_references(const vela_handle *handle) {
    return reinterpret_cast<const runtime_front *>(handle->runtime)->address_references != 0;
}

/** Bytes of the work buffer that velalib_get_handle_ws() gives, 0 when there is no memory for it. */
VELA_INLINE int32 work_buffer_room(vela_handle *handle) {
    int32 room = reinterpret_cast<const runtime_front *>(handle->runtime)->work_buffer_room;
    if (room == 0) [[unlikely]] {
        u_int8 *buffer = nullptr;
        velalib_get_handle_ws(handle, &buffer, &room);
    }
    return room;
}

VELA_INLINE u_int32 en_address_get_oid_count(vela_handle *handle, u_int32 mem_class, const en_address *field,
                                             u_int32 *err) {
    if (has_address_references(handle) || field == nullptr) [[unlikely]] {
        return ::en_address_get_oid_count(handle, mem_class, field, err);
    }
    return 0;
}

}  // namespace vela_inline

#endif
