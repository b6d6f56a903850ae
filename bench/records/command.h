// A command of one field: which clock to delete.
#pragma once

#include "records/access.h"
#include "records/records.h"

namespace bench {

struct command_values {
    u_int8 clock_id;
    bool operator==(const command_values &) const = default;
};

extern const command_values example_command;

ptp_clock_delete *make_command(vela_handle *handle, const command_values &values);

/** The command as the scenarios of records see it; filled and read by calls or by inline forms. */
template <class Way = access_way>
struct command_record {
    using instance = ptp_clock_delete;
    using values = command_values;
    static constexpr u_int32 width = 7;
    static constexpr u_int32 text_room = 256;
    static const values &example() { return example_command; }
    /** Sets every field. */
    static void fill(vela_handle *handle, instance *command, const values &from, u_int32 *err);
    /** Reads every field by the accessors for whole records. */
    static values read(vela_handle *handle, instance *command, u_int32 *err);
    static constexpr auto make = make_command;
    static constexpr auto create = ptp_clock_delete_create;
    static constexpr auto destroy = ptp_clock_delete_destroy;
    static constexpr auto marshal = ptp_clock_delete_marshal;
    static constexpr auto unmarshal = ptp_clock_delete_unmarshal;
    static constexpr auto clone = ptp_clock_delete_clone_cr;
    static constexpr auto copy = ptp_clock_delete_copy_cr;
    static constexpr auto compare = ptp_clock_delete_compare;
    static constexpr auto hash = ptp_clock_delete_hash;
    static constexpr auto print = ptp_clock_delete_print;
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
