// State tracking: the handle's mode, and where an instance's state flags lie.
#pragma once

#include "operations/core/errors.h"
#include "operations/core/instances.h"

namespace ptp_cfg {

enum class tracking : u_int8 { none, off, on };

/** The handle's tracking mode; any mode word but the two known ones is a corrupt handle. */
inline tracking tracking_of(const vela_handle *handle, const bitlog_trace_points &points, trace::entry corrupted) {
    if (handle->sttr_record == nullptr) {
        return tracking::none;
    }
    switch (handle->sttr_record->mode) {
        case VELA_STTR_OFF:
            return tracking::off;
        case VELA_STTR_ON:
            return tracking::on;
        default:
            fatal(points, corrupted);
    }
}

inline tracking tracking_of(const vela_handle *handle, const structure_descriptor &type) {
    return tracking_of(handle, type.trace, trace::structure::corrupted_handle);
}

/**
 * The state-flag block of a tracked instance: after its body, or for a nested one at the kept offset inside the
 * block of its outermost parent. nullptr when the instance has none.
 */
inline u_int8 *state_block(vela_handle *handle, u_int32 mem_class, const structure_descriptor &type, void *instance) {
    const u_int8 flags = VELA_CALL(vela_get_instance_obj_flag)(instance);
    if ((flags & VELA_FLAG_TRACKED) == 0) {
        return nullptr;
    }
    if ((flags & VELA_FLAG_STTR_OFFSET) == 0) {
        return at(instance, type.size);
    }
    const int64_t offset = velalib_get_sttr_offset(handle, mem_class, instance);
    return offset == 0 ? nullptr : static_cast<u_int8 *>(instance) + offset;
}
inline const u_int8 *state_block(vela_handle *handle, u_int32 mem_class, const structure_descriptor &type,
                                 const void *instance) {
    return state_block(handle, mem_class, type, const_cast<void *>(instance));
}

}  // namespace ptp_cfg
