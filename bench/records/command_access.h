// How a command is filled and read.
#pragma once

#include "records/command.h"
namespace bench {

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
