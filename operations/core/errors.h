// How operations report: failures, refused calls, corruption, and memory that is about to change.
#pragma once

#include <stdlib.h>
#include <string.h>

#include "operations/core/traces.h"

namespace ptp_cfg {

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
/** Says which function has failed with *err; of those that call each other the outermost is the last. */
[[gnu::cold, gnu::noinline]] void name_failure(const call_name &call, vela_handle *handle, const u_int32 *err);
/** Both at once. */
[[gnu::cold, gnu::noinline]] void fail_in(const call_name &call, vela_handle *handle, u_int32 code, u_int32 *err,
                                          const char *reason = nullptr);
/** Error 43: the variant of an instance, or of its domain, does not fit. A null instance has none: that is the reason. */
[[gnu::cold, gnu::noinline]] void fail_epoch(vela_handle *handle, const void *instance, u_int32 *err,
                                             const char *reason);

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

/** Traces corruption that nothing can be salvaged from, and ends the process. */
[[noreturn]] void fatal(const bitlog_trace_points &points, trace::entry what);

/** What a count is in a chain of calls: all ones once the chain has failed. */
PTP_CFG_INLINE u_int32 all_ones_on_error(const vela_handle *handle, u_int32 count) {
    return handle->chained_err != 0 ? 0xFFFFFFFFu : count;
}

using vela_inline::notify;  // tells the handle's owner which bytes are about to change

}  // namespace ptp_cfg
