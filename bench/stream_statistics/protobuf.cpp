// The stream statistics by Protocol Buffers.
#include "peers/protobuf.h"

#include "bench.pb.h"
#include "peers/counters.h"
#include "peers/packing.h"
#include "records/statistics.h"

namespace bench {
namespace {

struct proto_statistics {
    using record = statistics_record<>;
    using message = bench_proto::Statistics;

    static void fill(const statistics_values &from, message &to) {
        to.set_count(from.count);
        for (const stream_state_values &stream : from.streams) {
            bench_proto::StreamState &state = *to.add_streams();
            state.set_stream_id(stream.stream_id);
            state.set_port(stream.port);
            state.set_family(stream.family);
            state.set_scope_id(stream.scope_id);
            state.set_encapsulation(stream.encapsulation);
            state.set_l2_type(stream.l2_type);
            state.set_l2_value(stream.l2_value);
            state.set_address_high(peer::packed(stream.address));
            state.set_address_low(peer::packed(stream.address, 8));
            state.set_mac(peer::packed(stream.mac));
            bench_proto::Counters &counters = *state.mutable_counters();
#define BENCH_SET(NAME, INDEX, CAMEL) counters.set_##NAME(stream.counters[INDEX]);
            BENCH_COUNTERS(BENCH_SET)
#undef BENCH_SET
        }
    }

    static const statistics_values &read(const message &from) {
        static statistics_values to;
        to.count = from.count();
        for (int i = 0; i < from.streams_size(); ++i) {
            const bench_proto::StreamState &state = from.streams(i);
            stream_state_values &stream = to.streams[static_cast<size_t>(i)];
            stream.stream_id = state.stream_id();
            stream.port = static_cast<u_int16>(state.port());
            stream.family = state.family();
            stream.scope_id = state.scope_id();
            stream.encapsulation = state.encapsulation();
            stream.l2_type = state.l2_type();
            stream.l2_value = state.l2_value();
            peer::unpack(state.address_high(), stream.address);
            peer::unpack(state.address_low(), stream.address, 8);
            peer::unpack(state.mac(), stream.mac);
            const bench_proto::Counters &counters = state.counters();
#define BENCH_GET(NAME, INDEX, CAMEL) stream.counters[INDEX] = counters.NAME();
            BENCH_COUNTERS(BENCH_GET)
#undef BENCH_GET
        }
        return to;
    }

    static void shape(message &to) {
        for (int i = 0; i < 10; ++i) {
            to.add_streams()->mutable_counters();
        }
    }
};

const contender reused("stream_statistics", "protobuf", peer::protobuf_fault<proto_statistics>,
                       peer::protobuf_reusing_works<proto_statistics>());
const contender arena("stream_statistics", "protobuf, arena", peer::protobuf_fault<proto_statistics>,
                      peer::protobuf_arena_works<proto_statistics>());

}  // namespace
}  // namespace bench
