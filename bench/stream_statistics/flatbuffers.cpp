// The stream statistics by FlatBuffers.
#include "peers/flatbuffers.h"

#include "bench_generated.h"
#include "peers/counters.h"
#include "peers/packing.h"
#include "records/statistics.h"

namespace bench {
namespace {

struct flat_statistics {
    using record = statistics_record<>;
    using table = bench_flat::Statistics;
    using object = bench_flat::StatisticsT;

    static flatbuffers::Offset<table> build(flatbuffers::FlatBufferBuilder &builder, const statistics_values &from) {
        std::array<flatbuffers::Offset<bench_flat::StreamState>, 10> streams;
        for (size_t i = 0; i < streams.size(); ++i) {
            const stream_state_values &stream = from.streams[i];
            bench_flat::CountersBuilder counters(builder);
#define BENCH_ADD(NAME, INDEX, CAMEL) counters.add_##NAME(stream.counters[INDEX]);
            BENCH_COUNTERS(BENCH_ADD)
#undef BENCH_ADD
            const auto all_counters = counters.Finish();
            streams[i] = bench_flat::CreateStreamState(
                builder, stream.stream_id, stream.port, stream.family, stream.scope_id, peer::packed(stream.address),
                peer::packed(stream.address, 8), all_counters, stream.encapsulation, peer::packed(stream.mac),
                stream.l2_type, stream.l2_value);
        }
        return bench_flat::CreateStatistics(builder, from.count, builder.CreateVector(streams.data(), streams.size()));
    }

    static const statistics_values &read(const table &from) {
        static statistics_values to;
        to.count = from.count();
        for (flatbuffers::uoffset_t i = 0; i < from.streams()->size(); ++i) {
            const bench_flat::StreamState &state = *from.streams()->Get(i);
            stream_state_values &stream = to.streams[i];
            stream.stream_id = state.stream_id();
            stream.port = state.port();
            stream.family = state.family();
            stream.scope_id = state.scope_id();
            stream.encapsulation = state.encapsulation();
            stream.l2_type = state.l2_type();
            stream.l2_value = state.l2_value();
            peer::unpack(state.address_high(), stream.address);
            peer::unpack(state.address_low(), stream.address, 8);
            peer::unpack(state.mac(), stream.mac);
            const bench_flat::Counters &counters = *state.counters();
#define BENCH_GET(NAME, INDEX, CAMEL) stream.counters[INDEX] = counters.NAME();
            BENCH_COUNTERS(BENCH_GET)
#undef BENCH_GET
        }
        return to;
    }

    static object to_object(const statistics_values &from) {
        object to;
        shape(to);
        to.count = from.count;
        for (size_t i = 0; i < from.streams.size(); ++i) {
            const stream_state_values &stream = from.streams[i];
            bench_flat::StreamStateT &state = *to.streams[i];
            state.stream_id = stream.stream_id;
            state.port = stream.port;
            state.family = stream.family;
            state.scope_id = stream.scope_id;
            state.encapsulation = stream.encapsulation;
            state.l2_type = stream.l2_type;
            state.l2_value = stream.l2_value;
            state.address_high = peer::packed(stream.address);
            state.address_low = peer::packed(stream.address, 8);
            state.mac = peer::packed(stream.mac);
#define BENCH_SET(NAME, INDEX, CAMEL) state.counters->NAME = stream.counters[INDEX];
            BENCH_COUNTERS(BENCH_SET)
#undef BENCH_SET
        }
        return to;
    }

    static void shape(object &to) {
        to.streams.reserve(10);
        for (int i = 0; i < 10; ++i) {
            to.streams.push_back(std::make_unique<bench_flat::StreamStateT>());
            to.streams.back()->counters = std::make_unique<bench_flat::CountersT>();
        }
    }
};

using namespace peer;
const contender entry("stream_statistics", "flatbuffers", flatbuffers_fault<flat_statistics>,
                      flatbuffers_codec_works<flat_statistics>() + flatbuffers_object_works<flat_statistics>());

}  // namespace
}  // namespace bench
