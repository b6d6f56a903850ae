// The list of 128 streams by FlatBuffers: tables, and for orientation structs, which have one layout for all times.
#include "peers/flatbuffers.h"

#include "bench_generated.h"
#include "peers/packing.h"
#include "records/stream_list.h"

namespace bench {
namespace {

template <class Entries>
const stream_list_values &read_entries(const Entries &entries) {
    static stream_list_values to;
    for (flatbuffers::uoffset_t i = 0; i < entries.size(); ++i) {
        const auto &entry = *entries.Get(i);
        stream_values &stream = to[i];
        stream.stream_id = entry.stream_id();
        stream.port = entry.port();
        stream.address = entry.address();
        stream.state = entry.state();
        stream.encapsulation = entry.encapsulation();
        peer::unpack(entry.mac(), stream.mac);
    }
    return to;
}

struct flat_list {
    using record = stream_list_record<>;
    using table = bench_flat::StreamList;
    using object = bench_flat::StreamListT;

    static flatbuffers::Offset<table> build(flatbuffers::FlatBufferBuilder &builder, const stream_list_values &from) {
        std::array<flatbuffers::Offset<bench_flat::Stream>, stream_count> entries;
        for (u_int32 i = 0; i < stream_count; ++i) {
            entries[i] = bench_flat::CreateStream(builder, from[i].stream_id, from[i].port, from[i].address,
                                                  from[i].state, from[i].encapsulation, peer::packed(from[i].mac));
        }
        return bench_flat::CreateStreamList(builder, builder.CreateVector(entries.data(), entries.size()));
    }

    static const stream_list_values &read(const table &from) { return read_entries(*from.streams()); }

    static object to_object(const stream_list_values &from) {
        object to;
        shape(to);
        for (u_int32 i = 0; i < stream_count; ++i) {
            bench_flat::StreamT &entry = *to.streams[i];
            entry.stream_id = from[i].stream_id;
            entry.port = from[i].port;
            entry.address = from[i].address;
            entry.state = from[i].state;
            entry.encapsulation = from[i].encapsulation;
            entry.mac = peer::packed(from[i].mac);
        }
        return to;
    }

    static void shape(object &to) {
        to.streams.reserve(stream_count);
        for (u_int32 i = 0; i < stream_count; ++i) {
            to.streams.push_back(std::make_unique<bench_flat::StreamT>());
        }
    }
};

struct flat_fixed_list {
    using record = stream_list_record<>;
    using table = bench_flat::FixedStreamList;

    static flatbuffers::Offset<table> build(flatbuffers::FlatBufferBuilder &builder, const stream_list_values &from) {
        bench_flat::FixedStream *entries = nullptr;
        const auto vector = builder.CreateUninitializedVectorOfStructs<bench_flat::FixedStream>(stream_count, &entries);
        for (u_int32 i = 0; i < stream_count; ++i) {
            entries[i] = bench_flat::FixedStream(from[i].stream_id, from[i].address, from[i].encapsulation,
                                                 from[i].port, from[i].state, peer::packed(from[i].mac));
        }
        return bench_flat::CreateFixedStreamList(builder, vector);
    }

    static const stream_list_values &read(const table &from) { return read_entries(*from.streams()); }
};

using namespace peer;
const contender tables("stream_list", "flatbuffers", flatbuffers_fault<flat_list>,
                       flatbuffers_codec_works<flat_list>() + flatbuffers_object_works<flat_list>());
const contender structs("stream_list", "flatbuffers, struct", flatbuffers_fault<flat_fixed_list>,
                        flatbuffers_codec_works<flat_fixed_list>());

}  // namespace
}  // namespace bench
