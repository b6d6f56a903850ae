#include "families/support.h"

namespace ptp_cfg {

void fatal(const bitlog_trace_points &points, trace::entry what) {
    emit(points, what);
    abort();
}

void count_instance(vela_handle *handle, u_int32 mem_class, const vela_type_info *record, u_int64 *counter) {
    if (handle->pre_write_counter != nullptr) {
        handle->pre_write_counter(handle->cookie, counter, 1, mem_class);
    }
    // Static records are shared by all threads of the process; a handle's copies belong to that handle's thread.
    if (record->shared == 0) {
        add_shared(counter, 1);
    } else {
        ++*counter;
    }
}

}  // namespace ptp_cfg
