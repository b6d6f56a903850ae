// The encoding of the list of 128 streams written by hand.
#include "records/hand.h"

namespace bench {
namespace {

using namespace hand;

void put_list(u_int8 *out, const ptp_ipv4_streams_arr_values &list) {
    out = put_header(out, 0, stream_list<>::width);
    for (const ptp_ipv4_stream_id_values &stream : list.streams) {
        out = put_header(out, 0, 34);
        out = put(out, stream.stream_id);
        out = put_header(out, 0, 8);
        out = put(out, stream.port_hdl);
        out = put(out, stream.addr);
        out = put(out, stream.state);
        out = put_enumeration(out, 0, stream.encap);
        out = put_octets(out, stream.mac_addr);
    }
}

void take_list(const u_int8 *in, ptp_ipv4_streams_arr_values &list) {
    in += header_width;
    for (ptp_ipv4_stream_id_values &stream : list.streams) {
        in = take(in + header_width, stream.stream_id);
        in = take(in + header_width, stream.port_hdl);
        in = take(in, stream.addr);
        in = take(in, stream.state);
        in = take_enumeration(in, stream.encap);
        in = take_octets(in, stream.mac_addr);
    }
}

const contender entry = make_contender<stream_list<>, put_list, take_list>();

}  // namespace
}  // namespace bench
