// Adds up state flags field by field.
#include "layout.h"

namespace ptp_cfg_test {

static u_int32 flags_of(const ptp_cfg_field_description &field) {
    const u_int32 nested = field.kind == PTP_CFG_FIELD_STRUCTURE ? field.capacity * block_length(field.type) : 0;
    return (field.is_read_only ? 0 : 1) + (field.is_array ? field.capacity : 0) + nested;
}

u_int32 flag_position(const ptp_cfg_type *type, u_int32 index) {
    u_int32 position = 0;
    for (u_int32 i = 0; i < index; ++i) {
        position += flags_of(describe_field(type, i));
    }
    return position;
}

u_int32 block_length(const ptp_cfg_type *type) { return flag_position(type, describe(type).field_count); }

}  // namespace ptp_cfg_test
