// For orientation FlatBuffers with structs, which have one layout for all times, under a table that holds them.
#include "every_record/flatbuffers.h"

namespace bench {
namespace {

struct structs {
    using table = codec::holder;
    static constexpr auto build = codec::build_in_holder;
    static constexpr auto read = codec::read_in_holder;
};

const contender entry(record::scenario, "flatbuffers, struct", check<structs>, codec_works<structs>());

}  // namespace
}  // namespace bench
