// Counts of instances, per type and variant.
#pragma once

#include <sys/single_threaded.h>

#include "operations/core/instances.h"

namespace ptp_cfg {

/** The row that counts instances of a variant; a negative variant counts in row 0, one beyond the table in its last. */
inline vela_variant_row *row_of(const vela_variant_table &table, int8 variant) {
    const int8 last = static_cast<int8>(table.count - 1);
    const int8 index = variant < 0 || last < 0 ? int8{0} : cap_variant(variant, last);
    return &table.rows[index];
}

/** Adds to a counter that all threads of the process share; the bus is locked only once there is a second thread. */
PTP_CFG_INLINE void add_shared(u_int64 *counter, u_int64 count) {
    if (__libc_single_threaded != 0) {
        *counter += count;
    } else {
        __atomic_fetch_add(counter, count, __ATOMIC_RELAXED);
    }
}

/** Counts an instance, after telling the owner of the counter; atomically where several handles share the type_info. */
void count_instance(vela_handle *handle, u_int32 mem_class, const vela_type_info *type_info, u_int64 *counter);

}  // namespace ptp_cfg
