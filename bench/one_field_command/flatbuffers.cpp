// The command by FlatBuffers.
#include "peers/flatbuffers.h"

#include "bench_generated.h"
#include "records/command.h"

namespace bench {
namespace {

struct flat_command {
    using record = command_record<>;
    using table = bench_flat::Command;
    using object = bench_flat::CommandT;
    static flatbuffers::Offset<table> build(flatbuffers::FlatBufferBuilder &builder, const command_values &from) {
        return bench_flat::CreateCommand(builder, from.clock_id);
    }
    static command_values read(const table &from) { return {from.clock_id()}; }
    static object to_object(const command_values &from) {
        object to;
        to.clock_id = from.clock_id;
        return to;
    }
    static void shape(object &) {}
};

using namespace peer;
const contender entry("one_field_command", "flatbuffers", flatbuffers_fault<flat_command>,
                      flatbuffers_codec_works<flat_command>() + flatbuffers_object_works<flat_command>());

}  // namespace
}  // namespace bench
