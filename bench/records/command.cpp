// The example command, by the library's setters and getters.
#include "records/command.h"

#include "records/records.h"

namespace bench {

const command_values example_command = {.clock_id = 17};

ptp_clock_delete *make_command(vela_handle *handle, const command_values &values) {
    u_int32 err = 0;
    ptp_clock_delete *command = ptp_clock_delete_create(handle, mem_class);
    command_record<>::fill(handle, command, values, &err);
    require(err == 0, "make a command");
    return command;
}

}  // namespace bench
