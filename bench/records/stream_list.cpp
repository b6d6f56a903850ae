// The example list of streams.
#include "records/stream_list.h"

#include <cstring>

namespace bench {
namespace {

stream_list_values make_example() {
    stream_list_values values{};
    u_int32 number = 1;
    for (stream_values &stream : values) {
        stream.stream_id = 0x20000 + number;
        stream.port = static_cast<u_int16>(300 + number);
        stream.address = 0xc0a80000 + number;
        stream.state = static_cast<u_int8>(1 + number % 4);
        stream.encapsulation = VELA_PTP_CFG_PORT_ENCAP_IPV4;
        stream.mac = {0x02, 0x00, 0x5e, 0x11, static_cast<u_int8>(number), 0x21};
        ++number;
    }
    return values;
}

}  // namespace

const stream_list_values &example_stream_list() {
    static const stream_list_values values = make_example();
    return values;
}

}  // namespace bench
