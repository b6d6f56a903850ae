// Moves a counter: atomically where all threads share it, and told to the hook before.
#include "operations/core/counting.h"

namespace ptp_cfg {

void count_instance(vela_handle *handle, u_int32 mem_class, const vela_type_info *type_info, u_int64 *counter) {
    if (handle->pre_write_counter != nullptr) {
        handle->pre_write_counter(handle->cookie, counter, 1, mem_class);
    }
    // Static type_infos are shared by all threads of the process; a handle's copies belong to that handle's thread.
    if (type_info->shared == 0) {
        add_shared(counter, 1);
    } else {
        ++*counter;
    }
}

}  // namespace ptp_cfg
