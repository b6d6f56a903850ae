#include "records/command.h"

#include "records/records.h"

namespace bench {

const command_values example_command = {.clock_id = 17};

void fill_command(vela_handle *handle, ptp_clock_delete *command, const command_values &values, u_int32 *err) {
    ptp_clock_delete_set_all(handle, mem_class, command, values.clock_id, err);
}

ptp_clock_delete *make_command(vela_handle *handle, const command_values &values) {
    u_int32 err = 0;
    ptp_clock_delete *command = ptp_clock_delete_create(handle, mem_class);
    fill_command(handle, command, values, &err);
    require(err == 0, "make a command");
    return command;
}

command_values read_command(vela_handle *handle, ptp_clock_delete *command, u_int32 *err) {
    command_values values;
    ptp_clock_delete_get_all(handle, mem_class, command, &values.clock_id, err);
    return values;
}

}  // namespace bench
