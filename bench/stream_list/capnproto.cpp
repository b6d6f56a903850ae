// The list of 128 streams by Cap'n Proto.
#include "peers/capnproto.h"

#include "bench.capnp.h"
#include "peers/packing.h"
#include "records/stream_list.h"

namespace bench {
namespace {

struct capnproto_list {
    using record = stream_list_record<>;
    using type = bench_capnp::StreamList;

    static void fill(const stream_list_values &from, type::Builder to) {
        auto entries = to.initStreams(stream_count);
        for (u_int32 i = 0; i < stream_count; ++i) {
            auto entry = entries[i];
            entry.setStreamId(from[i].stream_id);
            entry.setPort(from[i].port);
            entry.setAddress(from[i].address);
            entry.setState(from[i].state);
            entry.setEncapsulation(from[i].encapsulation);
            entry.setMac(peer::packed(from[i].mac));
        }
    }

    static const stream_list_values &read(type::Reader from) {
        static stream_list_values to;
        u_int32 i = 0;
        for (const auto entry : from.getStreams()) {
            stream_values &stream = to[i++];
            stream.stream_id = entry.getStreamId();
            stream.port = entry.getPort();
            stream.address = entry.getAddress();
            stream.state = entry.getState();
            stream.encapsulation = entry.getEncapsulation();
            peer::unpack(entry.getMac(), stream.mac);
        }
        return to;
    }

    static void shape(type::Builder to) { to.initStreams(stream_count); }
};

const contender entry("stream_list", "capnproto", peer::capnproto_fault<capnproto_list>,
                      peer::capnproto_works<capnproto_list>());

}  // namespace
}  // namespace bench
