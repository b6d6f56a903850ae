// Traces of a type: one emit() per signature of arguments.
#pragma once

#include "operations/core/descriptors.h"
#include "trace_lists.h"  // generated: trace::entry and one constant per message text

namespace ptp_cfg {

/** Number of this module in the trace facility; 0 before trace_initialize(). */
extern u_int16 trace_module_id;
void trace_initialize();
PTP_CFG_INLINE u_int16 trace_module() { return __atomic_load_n(&trace_module_id, __ATOMIC_ACQUIRE); }
PTP_CFG_INLINE bool trace_is_initialized() { return trace_module() != 0; }

inline void emit(const bitlog_trace_points &points, trace::entry what) {
    __BLf_0(&points, points.first_number + what.position, trace_module(), what.level);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, const char *a) {
    __BLf_1(&points, points.first_number + what.position, trace_module(), what.level, a);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, u_int32 a) {
    __BLf_4(&points, points.first_number + what.position, trace_module(), what.level, a);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, const char *a, const char *b) {
    __BLf_11(&points, points.first_number + what.position, trace_module(), what.level, a, b);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, u_int32 a, u_int32 b) {
    __BLf_44(&points, points.first_number + what.position, trace_module(), what.level, a, b);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, const void *a, const char *b) {
    __BLf_51(&points, points.first_number + what.position, trace_module(), what.level, a, b);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, const char *a, const char *b, const char *c) {
    __BLf_111(&points, points.first_number + what.position, trace_module(), what.level, a, b, c);
}
inline void emit(const bitlog_trace_points &points, trace::entry what, u_int32 a, u_int32 b, u_int32 c) {
    __BLf_444(&points, points.first_number + what.position, trace_module(), what.level, a, b, c);
}

}  // namespace ptp_cfg
