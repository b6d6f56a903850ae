// The list of 128 streams by Protocol Buffers.
#include "peers/protobuf.h"

#include "bench.pb.h"
#include "peers/packing.h"
#include "records/stream_list.h"

namespace bench {
namespace {

struct proto_list {
    using record = stream_list_record<>;
    using message = bench_proto::StreamList;

    static void fill(const stream_list_values &from, message &to) {
        for (const stream_values &stream : from) {
            bench_proto::Stream &entry = *to.add_streams();
            entry.set_stream_id(stream.stream_id);
            entry.set_port(stream.port);
            entry.set_address(stream.address);
            entry.set_state(stream.state);
            entry.set_encapsulation(stream.encapsulation);
            entry.set_mac(peer::packed(stream.mac));
        }
    }

    static const stream_list_values &read(const message &from) {
        static stream_list_values to;
        for (int i = 0; i < from.streams_size(); ++i) {
            const bench_proto::Stream &entry = from.streams(i);
            stream_values &stream = to[static_cast<size_t>(i)];
            stream.stream_id = entry.stream_id();
            stream.port = static_cast<u_int16>(entry.port());
            stream.address = entry.address();
            stream.state = static_cast<u_int8>(entry.state());
            stream.encapsulation = entry.encapsulation();
            peer::unpack(entry.mac(), stream.mac);
        }
        return to;
    }

    static void shape(message &to) {
        for (u_int32 i = 0; i < stream_count; ++i) {
            to.add_streams();
        }
    }
};

const contender reused("stream_list", "protobuf", peer::protobuf_fault<proto_list>,
                       peer::protobuf_reusing_works<proto_list>());
const contender arena("stream_list", "protobuf, arena", peer::protobuf_fault<proto_list>,
                      peer::protobuf_arena_works<proto_list>());

}  // namespace
}  // namespace bench
