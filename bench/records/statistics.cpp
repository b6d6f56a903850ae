// The example statistics.
#include "records/statistics.h"

#include <cstring>

namespace bench {
namespace {

statistics_values make_example() {
    statistics_values values{};
    values.count = 10;
    u_int32 number = 1;
    for (stream_state_values &stream : values.streams) {
        stream.stream_id = 0x10000 + number;
        stream.port = static_cast<u_int16>(700 + number);
        stream.family = VELA_IP_V6;
        stream.scope_id = number;
        for (size_t i = 0; i < stream.address.size(); ++i) {
            stream.address[i] = static_cast<u_int8>(0x20 + i + number);
        }
        // Counters of a clock that has been up for days: from nothing to billions.
        for (size_t i = 0; i < stream.counters.size(); ++i) {
            stream.counters[i] = i % 5 < 2 ? u_int64{7919} * (i + 1) * number * number : i * number;
        }
        stream.encapsulation = VELA_PTP_CFG_PORT_ENCAP_IPV4;
        stream.mac = {0x02, 0x00, 0x5e, 0x10, 0x20, static_cast<u_int8>(number)};
        stream.l2_type = VELA_PTP_L2TPT_IF;
        stream.l2_value = 40 + number;
        ++number;
    }
    return values;
}

}  // namespace

const statistics_values &example_statistics() {
    static const statistics_values values = make_example();
    return values;
}

}  // namespace bench
