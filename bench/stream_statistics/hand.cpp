// The encoding of the stream statistics written by hand.
#include "records/hand.h"

#include "records/record.h"
#include "records/statistics.h"

namespace bench {
namespace {

using namespace hand;

inline u_int8 *put_stream(u_int8 *out, const stream_state_values &stream) {
    out = put_header(out, 0, 465);
    out = put(out, stream.stream_id);
    out = put_header(out, 0, 8);
    out = put(out, stream.port);
    out = put(out, static_cast<u_int8>(stream.family));
    std::memcpy(out, stream.address.data(), stream.address.size());
    out = put(out + stream.address.size(), stream.scope_id);
    out = put_header(out, 0, 406);
#pragma GCC unroll 50
    for (const u_int64 counter : stream.counters) {
        out = put(out, counter);
    }
    out = put_enumeration(out, 0, stream.encapsulation);
    std::memcpy(out, stream.mac.data(), stream.mac.size());
    out = put_enumeration(out + stream.mac.size(), 0, stream.l2_type);
    return put(out, stream.l2_value);
}

inline const u_int8 *take_stream(const u_int8 *in, stream_state_values &stream) {
    in = take(in + header_width, stream.stream_id);
    in = take(in + header_width, stream.port);
    stream.family = *in;
    std::memcpy(stream.address.data(), in + 1, stream.address.size());
    in = take(in + 1 + stream.address.size(), stream.scope_id);
    in += header_width;
#pragma GCC unroll 50
    for (u_int64 &counter : stream.counters) {
        in = take(in, counter);
    }
    in = take_enumeration(in, stream.encapsulation);
    std::memcpy(stream.mac.data(), in, stream.mac.size());
    in = take_enumeration(in + stream.mac.size(), stream.l2_type);
    return take(in, stream.l2_value);
}

[[gnu::noipa]] u_int32 encode(u_int8 *out, u_int32 room, const statistics_values &statistics) {
    if (room < statistics_record<>::width) {
        return 0;
    }
    out = put(put_header(out, 0, statistics_record<>::width), statistics.count);
    for (const stream_state_values &stream : statistics.streams) {
        out = put_stream(out, stream);
    }
    return statistics_record<>::width;
}

[[gnu::noipa]] u_int32 decode(const u_int8 *in, u_int32 length, statistics_values &statistics) {
    if (length < statistics_record<>::width) {
        return 0;
    }
    in = take(in + header_width, statistics.count);
    for (stream_state_values &stream : statistics.streams) {
        in = take_stream(in, stream);
    }
    return statistics_record<>::width;
}

const contender entry(
    "stream_statistics", "hand", [] { return hand_fault<statistics_record<>>(encode, decode); },
    hand_works<statistics_record<>>(encode, decode));

}  // namespace
}  // namespace bench
