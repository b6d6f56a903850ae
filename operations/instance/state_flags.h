// State flags: one byte per field that says, on a tracked instance, whether and how the field was set.
#pragma once

#include "operations/core/tracking.h"

namespace ptp_cfg {

/** What the setters leave in a field's flag. */
constexpr u_int8 flag_set = 2;
/** In place of an element: a store that concerns an array as a whole. No index of a caller means that. */
constexpr u_int32 whole_array = 0xFFFFFFFFu;

/**
 * After a successful store: marks the field, and the element of an array, when the handle tracks state. False, with
 * error 22, for an instance that is not tracked.
 */
bool mark_tracked(const structure_descriptor &type, const field_descriptor &field, vela_handle *handle,
                  u_int32 mem_class, void *instance, u_int32 element, u_int32 *err);
/** Says that the accessor {type}_{field}{operation} has failed with *err. */
[[gnu::cold, gnu::noinline]] void name_access(const structure_descriptor &type, const field_descriptor &field,
                                              const char *operation, vela_handle *handle, const u_int32 *err);

/** Ends a store by the accessor {type}_{field}{operation}: marks the field, or names the accessor when it failed. */
PTP_CFG_INLINE void finish_set(const structure_descriptor &type, const field_descriptor &field, const char *operation,
                               vela_handle *handle, u_int32 mem_class, void *instance, u_int32 element, u_int32 *err) {
    if (*err == 0) [[likely]] {
        if (handle->sttr_record == nullptr || mark_tracked(type, field, handle, mem_class, instance, element, err))
            [[likely]] {
            return;
        }
    }
    name_access(type, field, operation, handle, err);
}

/** A field's flag; of an array field that of one element, whose index is checked (2). */
u_int8 state_flag_get(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                      const void *instance, u_int32 element, u_int32 *err);
void state_flag_set(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                    void *instance, u_int32 element, u_int8 flag, u_int32 *err);

/** The flag of an array field as a whole. */
u_int8 state_flag_whole_get(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                            const void *instance, u_int32 *err);
void state_flag_whole_set(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                          void *instance, u_int8 flag, u_int32 *err);

/** Lends the element flags of an array field, element 0 first. */
void state_flag_get_arr(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                        void *instance, u_int8 **flags, u_int32 *err);
/** Stores flags from the array's whole byte on, which makes the first of them the array's own; get_arr begins behind it. */
void state_flag_set_arr(const structure_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                        void *instance, const u_int8 *flags, u_int32 count, u_int32 *err);

/** Stores one byte into every position of the block; nothing on an untracked handle or instance. */
void set_all_state_flags(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, void *instance,
                         u_int8 flag);

}  // namespace ptp_cfg
