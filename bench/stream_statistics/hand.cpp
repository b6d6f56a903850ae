// The encoding of the stream statistics written by hand.
#include "records/hand.h"

namespace bench {
namespace {

using namespace hand;

inline u_int8 *put_stream(u_int8 *out, const ptp_stream_runtime_state_values &stream) {
    out = put_header(out, 0, 465);
    out = put(out, stream.stream_id);
    out = put_header(out, 0, 8);
    out = put(out, stream.port_hdl);
    out = put(out, static_cast<u_int8>(stream.addr.family));
    out = put(put_octets(out, stream.addr.bytes), stream.addr.scope_id);
    out = put_header(out, 0, 406);
#pragma GCC unroll 50
    for (const u_int64 counter : stream.stats) {
        out = put(out, counter);
    }
    out = put_enumeration(out, 0, stream.encap);
    out = put_enumeration(put_octets(out, stream.mac_addr), 0, stream.l2_tpt_type);
    return put(out, stream.l2_tpt_val);
}

inline const u_int8 *take_stream(const u_int8 *in, ptp_stream_runtime_state_values &stream) {
    in = take(in + header_width, stream.stream_id);
    in = take(in + header_width, stream.port_hdl);
    stream.addr.family = *in;
    in = take(take_octets(in + 1, stream.addr.bytes), stream.addr.scope_id);
    in += header_width;
#pragma GCC unroll 50
    for (u_int64 &counter : stream.stats) {
        in = take(in, counter);
    }
    in = take_enumeration(in, stream.encap);
    in = take_enumeration(take_octets(in, stream.mac_addr), stream.l2_tpt_type);
    return take(in, stream.l2_tpt_val);
}

void put_statistics(u_int8 *out, const ptp_stream_runtime_state_arr_values &statistics) {
    out = put(put_header(out, 0, stream_statistics<>::width), statistics.cnt);
    for (const ptp_stream_runtime_state_values &stream : statistics.state) {
        out = put_stream(out, stream);
    }
}

void take_statistics(const u_int8 *in, ptp_stream_runtime_state_arr_values &statistics) {
    in = take(in + header_width, statistics.cnt);
    for (ptp_stream_runtime_state_values &stream : statistics.state) {
        in = take_stream(in, stream);
    }
}

const contender entry = make_contender<stream_statistics<>, put_statistics, take_statistics>();

}  // namespace
}  // namespace bench
