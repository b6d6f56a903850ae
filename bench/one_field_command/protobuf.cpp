// The command by Protocol Buffers.
#include "peers/protobuf.h"

#include "bench.pb.h"
#include "records/command.h"

namespace bench {
namespace {

struct proto_command {
    using record = command_record<>;
    using message = bench_proto::Command;
    static void fill(const command_values &from, message &to) { to.set_clock_id(from.clock_id); }
    static command_values read(const message &from) { return {static_cast<u_int8>(from.clock_id())}; }
    static void shape(message &) {}
};

const contender reused("one_field_command", "protobuf", peer::protobuf_fault<proto_command>,
                       peer::protobuf_reusing_works<proto_command>());
const contender arena("one_field_command", "protobuf, arena", peer::protobuf_fault<proto_command>,
                      peer::protobuf_arena_works<proto_command>());

}  // namespace
}  // namespace bench
