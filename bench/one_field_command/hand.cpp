// The command's encoding written by hand.
#include "records/hand.h"

#include "records/command.h"
#include "records/record.h"

namespace bench {
namespace {

using namespace hand;

[[gnu::noipa]] u_int32 encode(u_int8 *out, u_int32 room, const command_values &command) {
    if (room < command_record<>::width) {
        return 0;
    }
    put(put_header(out, 0, command_record<>::width), command.clock_id);
    return command_record<>::width;
}

[[gnu::noipa]] u_int32 decode(const u_int8 *in, u_int32 length, command_values &command) {
    if (length < command_record<>::width) {
        return 0;
    }
    take(in + header_width, command.clock_id);
    return command_record<>::width;
}

const contender entry(
    "one_field_command", "hand", [] { return hand_fault<command_record<>>(encode, decode); },
    hand_works<command_record<>>(encode, decode));

}  // namespace
}  // namespace bench
