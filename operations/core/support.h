// What all operations share: the runtime's calls, announcements, traces, tracking mode, and access to instances.
#pragma once

#include <stdlib.h>
#include <string.h>
#include <sys/single_threaded.h>

#include "operations/core/descriptors.h"
#include "trace_lists.h"  // generated: trace::entry and one constant per message text

namespace ptp_cfg {

#define PTP_CFG_INLINE inline __attribute__((always_inline))

/** Whether the primitives are the inline forms of the library's own runtime, so that what they do is known. */
#ifdef PTP_CFG_EXPORTED_RUNTIME
inline constexpr bool has_own_runtime = false;
#else
inline constexpr bool has_own_runtime = true;
#endif

/** Number of this module in the trace facility; 0 before trace_initialize(). */
extern u_int16 trace_module_id;
void trace_initialize();
PTP_CFG_INLINE bool trace_is_initialized() { return __atomic_load_n(&trace_module_id, __ATOMIC_ACQUIRE) != 0; }

// ---- traces: one overload per argument signature ------------------------------------------------------------

inline void emit(const bitlog_trace_points &points, trace::entry what) {
    __BLf_0(&points, points.first_number + what.position, trace_module_id, what.level);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, const char *a) {
    __BLf_1(&points, points.first_number + what.position, trace_module_id, what.level, a);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, u_int32 a) {
    __BLf_4(&points, points.first_number + what.position, trace_module_id, what.level, a);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, const char *a, const char *b) {
    __BLf_11(&points, points.first_number + what.position, trace_module_id, what.level, a, b);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, u_int32 a, u_int32 b) {
    __BLf_44(&points, points.first_number + what.position, trace_module_id, what.level, a, b);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, const void *a, const char *b) {
    __BLf_51(&points, points.first_number + what.position, trace_module_id, what.level, a, b);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, const char *a, const char *b, const char *c) {
    __BLf_111(&points, points.first_number + what.position, trace_module_id, what.level, a, b, c);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, u_int32 a, u_int32 b, u_int32 c) {
    __BLf_444(&points, points.first_number + what.position, trace_module_id, what.level, a, b, c);
}

/** Traces corruption that nothing can be salvaged from, and ends the process. */
[[noreturn]] void fatal(const bitlog_trace_points &points, trace::entry what);

// ---- errors and announcements --------------------------------------------------------------------------------

PTP_CFG_INLINE void clear_last_error(vela_handle *handle) { VELA_CALL(vela_clear_last_error)(handle); }

/** A function, for those who ask which call has failed. */
struct call_name {
    const char *type;               // nullptr: `operation` is the whole name
    const char *field;              // nullptr: of no field
    const char *operation;          // behind the type's name; one that begins with '_' behind the field's
    const char *chained = nullptr;  // the same of its form for chains, where there is one
};

/** Stores a failure where the caller and the handle see it. `reason` completes what the code says. */
[[gnu::cold, gnu::noinline]] void fail(vela_handle *handle, u_int32 code, u_int32 *err, const char *reason = nullptr);
[[gnu::cold, gnu::noinline]] void fail_epoch(vela_handle *handle, u_int32 code, u_int32 *err,
                                             const char *reason = nullptr);
/** Says which function has failed with *err; of those that call each other the outermost is the last. */
[[gnu::cold, gnu::noinline]] void name_failure(const call_name &call, vela_handle *handle, const u_int32 *err);
/** Both at once. */
[[gnu::cold, gnu::noinline]] void fail_in(const call_name &call, vela_handle *handle, u_int32 code, u_int32 *err,
                                          const char *reason = nullptr);

/** Traces that a call did nothing because its error word was set. */
[[gnu::cold, gnu::noinline]] void trace_refused(const bitlog_trace_points &points, trace::entry text,
                                                const call_name &call, const vela_handle *handle, const u_int32 *err);
inline void trace_refused(const structure_descriptor &type, const call_name &call, const vela_handle *handle,
                          const u_int32 *err) {
    trace_refused(type.trace, trace::structure::call_refused, call, handle, err);
}
inline void trace_refused(const enumeration_descriptor &type, const call_name &call, const vela_handle *handle,
                          const u_int32 *err) {
    trace_refused(type.trace, trace::enumeration::call_refused, call, handle, err);
}

/** Tells the handle's owner which bytes are about to change. */
PTP_CFG_INLINE void announce(const vela_handle *handle, u_int32 mem_class, void *address, size_t length) {
    if (handle->pre_write != nullptr) {
        handle->pre_write(handle->cookie, address, length, mem_class);
    }
}

// ---- state tracking --------------------------------------------------------------------------------------------

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

// ---- instances ---------------------------------------------------------------------------------------------------

PTP_CFG_INLINE vela_instance_header *header_of(void *instance) { return static_cast<vela_instance_header *>(instance); }
PTP_CFG_INLINE const vela_instance_header *header_of(const void *instance) {
    return static_cast<const vela_instance_header *>(instance);
}
PTP_CFG_INLINE u_int8 *at(void *instance, u_int32 offset) { return static_cast<u_int8 *>(instance) + offset; }
PTP_CFG_INLINE const u_int8 *at(const void *instance, u_int32 offset) {
    return static_cast<const u_int8 *>(instance) + offset;
}

/** Bytes of an instance read as the type that the field's row says they are. */
template <class T>
PTP_CFG_INLINE T *as(u_int8 *bytes) {
    return static_cast<T *>(static_cast<void *>(bytes));
}
template <class T>
PTP_CFG_INLINE const T *as(const u_int8 *bytes) {
    return static_cast<const T *>(static_cast<const void *>(bytes));
}

/** Storage of a field, or of an element of an array field. */
PTP_CFG_INLINE u_int8 *storage(const field_descriptor &field, void *instance, u_int32 element = 0) {
    return at(instance, field.offset) + static_cast<size_t>(element) * field.stride;
}
PTP_CFG_INLINE const u_int8 *storage(const field_descriptor &field, const void *instance, u_int32 element = 0) {
    return at(instance, field.offset) + static_cast<size_t>(element) * field.stride;
}

/** Bytes of an enumeration instance, and where its value lies. */
constexpr u_int32 enumeration_size = 16;
constexpr u_int32 enumeration_value_offset = 12;
constexpr u_int32 enumeration_wire_width = 5;

PTP_CFG_INLINE u_int32 *value_of(void *enumeration) { return as<u_int32>(at(enumeration, enumeration_value_offset)); }
PTP_CFG_INLINE const u_int32 *value_of(const void *enumeration) {
    return as<u_int32>(at(enumeration, enumeration_value_offset));
}

/** A variant limited to the newest; a negative one (no instance) stays as it is. */
PTP_CFG_INLINE int8 cap_variant(int8 variant, int8 newest) { return variant > newest ? newest : variant; }

/** Where instances of a type get their type pointer from: the static record or the handle's copy of it. */
PTP_CFG_INLINE const vela_type_info *record_for(vela_handle *handle, u_int32 mem_class, const vela_type_info *record);

/** The row that counts instances of a variant; a negative variant counts in row 0, one beyond the table in its last. */
inline vela_variant_row *row_of(const vela_variant_table &table, int8 variant) {
    const int8 last = static_cast<int8>(table.count - 1);
    const int8 index = variant < 0 || last < 0 ? int8{0} : cap_variant(variant, last);
    return &table.rows[index];
}

/** A field's state-flag bytes before its own: elements and nested blocks follow the first byte of an array. */
inline u_int32 element_block_position(const field_descriptor &field, u_int32 element) {
    return field.flag_position + 1 + field.capacity + element * field.structure->block_length;
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

extern "C" void ptp_cfg_typeinfo_initialize(vela_handle *handle, u_int32 mem_class, u_int32 *err);

PTP_CFG_INLINE const vela_type_info *record_for(vela_handle *handle, u_int32 mem_class, const vela_type_info *record) {
    return handle->shared_type_info == 0
               ? record
               : vela_type_info_ptr_get(handle, mem_class, record, ptp_cfg_typeinfo_initialize);
}

/** The variant that the handle's domain uses for a type. */
PTP_CFG_INLINE int8 domain_variant(vela_handle *handle, const vela_type_info *record, u_int32 *err) {
    return VELA_CALL(vela_domain_lookup_variant)(handle, &handle->variant_domain, record, err);
}

/** Lets the runtime bring an instance to the variant its record demands, as every write does first. */
PTP_CFG_INLINE u_int32 adjust(vela_handle *handle, u_int32 mem_class, void *instance, int8 newest, u_int32 *err) {
    return VELA_CALL(velalib_adjust_variant)(
        handle, mem_class, instance, instance == nullptr ? nullptr : header_of(instance)->type_info, newest, err);
}

/** Adds to a counter that all threads of the process share; the bus is locked only once there is a second thread. */
PTP_CFG_INLINE void add_shared(u_int64 *counter, u_int64 count) {
    if (__libc_single_threaded != 0) {
        *counter += count;
    } else {
        __atomic_fetch_add(counter, count, __ATOMIC_RELAXED);
    }
}

/** Counts an instance, after telling the owner of the counter; atomically where several handles share the record. */
void count_instance(vela_handle *handle, u_int32 mem_class, const vela_type_info *record, u_int64 *counter);

/** Runs a call with the handle's chained memory class and error word. */
PTP_CFG_INLINE u_int32 all_ones_on_error(const vela_handle *handle, u_int32 count) {
    return handle->chained_err != 0 ? 0xFFFFFFFFu : count;
}

}  // namespace ptp_cfg
