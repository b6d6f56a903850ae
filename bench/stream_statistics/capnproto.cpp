// The stream statistics by Cap'n Proto.
#include "peers/capnproto.h"

#include "bench.capnp.h"
#include "peers/counters.h"
#include "peers/packing.h"
#include "records/statistics.h"

namespace bench {
namespace {

struct capnproto_statistics {
    using record = statistics_record<>;
    using type = bench_capnp::Statistics;

    static void fill(const statistics_values &from, type::Builder to) {
        to.setCount(from.count);
        auto states = to.initStreams(10);
        for (u_int32 i = 0; i < 10; ++i) {
            const stream_state_values &stream = from.streams[i];
            auto state = states[i];
            state.setStreamId(stream.stream_id);
            state.setPort(stream.port);
            state.setFamily(stream.family);
            state.setScopeId(stream.scope_id);
            state.setEncapsulation(stream.encapsulation);
            state.setL2Type(stream.l2_type);
            state.setL2Value(stream.l2_value);
            state.setAddressHigh(peer::packed(stream.address));
            state.setAddressLow(peer::packed(stream.address, 8));
            state.setMac(peer::packed(stream.mac));
            auto counters = state.initCounters();
#define BENCH_SET(NAME, INDEX, CAMEL) counters.set##CAMEL(stream.counters[INDEX]);
            BENCH_COUNTERS(BENCH_SET)
#undef BENCH_SET
        }
    }

    static const statistics_values &read(type::Reader from) {
        static statistics_values to;
        to.count = from.getCount();
        u_int32 i = 0;
        for (const auto state : from.getStreams()) {
            stream_state_values &stream = to.streams[i++];
            stream.stream_id = state.getStreamId();
            stream.port = state.getPort();
            stream.family = state.getFamily();
            stream.scope_id = state.getScopeId();
            stream.encapsulation = state.getEncapsulation();
            stream.l2_type = state.getL2Type();
            stream.l2_value = state.getL2Value();
            peer::unpack(state.getAddressHigh(), stream.address);
            peer::unpack(state.getAddressLow(), stream.address, 8);
            peer::unpack(state.getMac(), stream.mac);
            const auto counters = state.getCounters();
#define BENCH_GET(NAME, INDEX, CAMEL) stream.counters[INDEX] = counters.get##CAMEL();
            BENCH_COUNTERS(BENCH_GET)
#undef BENCH_GET
        }
        return to;
    }

    static void shape(type::Builder to) {
        auto states = to.initStreams(10);
        for (u_int32 i = 0; i < 10; ++i) {
            states[i].initCounters();
        }
    }
};

const contender entry("stream_statistics", "capnproto", peer::capnproto_fault<capnproto_statistics>,
                      peer::capnproto_works<capnproto_statistics>());

}  // namespace
}  // namespace bench
