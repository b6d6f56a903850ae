// Where state flags lie, worked out from the public descriptions alone.
#pragma once

#include "recording_handle.h"

namespace ptp_cfg_test {

/** Bytes of state flags that a structure needs. */
u_int32 block_length(const ptp_cfg_type *type);
/** Position of a field's flag in its structure's block; of an array, of the flag of the whole. */
u_int32 flag_position(const ptp_cfg_type *type, u_int32 index);

}  // namespace ptp_cfg_test
