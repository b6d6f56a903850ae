// A command of one field: which clock to delete.
#pragma once

#include "ptp_cfg.h"

namespace bench {

struct command_values {
    u_int8 clock_id;
    bool operator==(const command_values &) const = default;
};

extern const command_values example_command;

/** Sets every field. */
void fill_command(vela_handle *handle, ptp_clock_delete *command, const command_values &values, u_int32 *err);
ptp_clock_delete *make_command(vela_handle *handle, const command_values &values);
command_values read_command(vela_handle *handle, ptp_clock_delete *command, u_int32 *err);

/** The command as the scenarios of records see it. */
struct command_record {
    using instance = ptp_clock_delete;
    using values = command_values;
    static constexpr u_int32 width = 7;
    static constexpr u_int32 text_room = 256;
    static const values &example() { return example_command; }
    static constexpr auto fill = fill_command;
    static constexpr auto make = make_command;
    static constexpr auto read = read_command;
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

}  // namespace bench
