// The encoding of the list of 128 streams written by hand.
#include "records/hand.h"

#include "records/record.h"
#include "records/stream_list.h"

namespace bench {
namespace {

using namespace hand;

[[gnu::noipa]] u_int32 encode(u_int8 *out, u_int32 room, const stream_list_values &list) {
    if (room < stream_list_record<>::width) {
        return 0;
    }
    out = put_header(out, 0, stream_list_record<>::width);
    for (const stream_values &stream : list) {
        out = put_header(out, 0, 34);
        out = put(out, stream.stream_id);
        out = put_header(out, 0, 8);
        out = put(out, stream.port);
        out = put(out, stream.address);
        out = put(out, stream.state);
        out = put_enumeration(out, 0, stream.encapsulation);
        std::memcpy(out, stream.mac.data(), stream.mac.size());
        out += stream.mac.size();
    }
    return stream_list_record<>::width;
}

[[gnu::noipa]] u_int32 decode(const u_int8 *in, u_int32 length, stream_list_values &list) {
    if (length < stream_list_record<>::width) {
        return 0;
    }
    in += header_width;
    for (stream_values &stream : list) {
        in = take(in + header_width, stream.stream_id);
        in = take(in + header_width, stream.port);
        in = take(in, stream.address);
        in = take(in, stream.state);
        in = take_enumeration(in, stream.encapsulation);
        std::memcpy(stream.mac.data(), in, stream.mac.size());
        in += stream.mac.size();
    }
    return stream_list_record<>::width;
}

const contender entry(
    "stream_list", "hand", [] { return hand_fault<stream_list_record<>>(encode, decode); },
    hand_works<stream_list_record<>>(encode, decode));

}  // namespace
}  // namespace bench
