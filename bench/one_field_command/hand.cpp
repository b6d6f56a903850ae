// The command's encoding written by hand.
#include "records/hand.h"

namespace bench {
namespace {

using namespace hand;

void put_command(u_int8 *out, const u_int8 &clock_id) { put(put_header(out, 0, one_field_command<>::width), clock_id); }
void take_command(const u_int8 *in, u_int8 &clock_id) { take(in + header_width, clock_id); }

const contender entry = make_contender<one_field_command<>, put_command, take_command>();

}  // namespace
}  // namespace bench
