// The command by Cap'n Proto.
#include "peers/capnproto.h"

#include "bench.capnp.h"
#include "records/command.h"

namespace bench {
namespace {

struct capnproto_command {
    using record = command_record<>;
    using type = bench_capnp::Command;
    static void fill(const command_values &from, type::Builder to) { to.setClockId(from.clock_id); }
    static command_values read(type::Reader from) { return {from.getClockId()}; }
    static void shape(type::Builder) {}
};

const contender entry("one_field_command", "capnproto", peer::capnproto_fault<capnproto_command>,
                      peer::capnproto_works<capnproto_command>());

}  // namespace
}  // namespace bench
