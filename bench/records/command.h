// A command of one field: which clock to delete.
#pragma once

#include "records/access.h"
#include "records/records.h"

namespace bench {

struct command_values {
    u_int8 clock_id;
    bool operator==(const command_values &) const = default;
};

inline constexpr command_values example_command = {.clock_id = 17};

/** The command as the scenarios of records see it; filled and read by calls or by inline forms. */
template <class Way = access_way>
struct command_record {
    BENCH_FUNCTIONS_OF(ptp_clock_delete)
    using values = command_values;
    static constexpr u_int32 width = 7;
    static constexpr u_int32 text_room = 256;
    static const values &example() { return example_command; }
    /** Sets every field. */
    static void fill(vela_handle *handle, instance *command, const values &from, u_int32 *err);
    /** Reads every field by the accessors for whole records. */
    static values read(vela_handle *handle, instance *command, u_int32 *err);
};

template <class Way>
void command_record<Way>::fill(vela_handle *handle, instance *command, const values &from, u_int32 *err) {
    ptp_clock_delete_set_all(handle, mem_class, command, from.clock_id, err);
}

template <class Way>
auto command_record<Way>::read(vela_handle *handle, instance *command, u_int32 *err) -> values {
    values to;
    ptp_clock_delete_get_all(handle, mem_class, command, &to.clock_id, err);
    return to;
}

}  // namespace bench
