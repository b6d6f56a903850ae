// FlatBuffers with tables, which can evolve, and for what needs objects the generated object classes.
#include "every_record/flatbuffers.h"

#include <memory>
#include <utility>

namespace bench {
namespace {

struct tables {
    using table = codec::message;
    static constexpr auto build = codec::build;
    static void read(const table &from, record::values &to) { codec::read(from, to); }
};

/** Times `step` with two objects that have the example's values, and a builder. */
template <class Step>
work timed_with_objects(const char *name, Step step) {
    return {name, [step](benchmark::State &state) {
                codec::object filled;
                codec::shape(filled);
                codec::fill(record::example(), filled);
                codec::object other(filled);
                flatbuffers::FlatBufferBuilder &builder = own<fixture<tables>>().builder;
                repeat(state, [&] { return step(std::as_const(filled), other, builder); });
            }};
}

std::vector<work> object_works() {
    using object = codec::object;
    return {
        timed_with_objects("encode",
                           [](const object &filled, object &, auto &builder) {
                               builder.Clear();
                               builder.Finish(codec::message::Pack(builder, &filled));
                               return builder.GetSize();
                           }),
        timed_with_objects("create and destroy",
                           [](const object &, object &, auto &) {
                               auto created = std::make_unique<object>();
                               codec::shape(*created);
                               benchmark::DoNotOptimize(created.get());
                               return 0;
                           }),
        timed_with_objects("clone and destroy",
                           [](const object &filled, object &, auto &) {
                               auto copy = std::make_unique<object>(filled);
                               benchmark::DoNotOptimize(copy.get());
                               return 0;
                           }),
        timed_with_objects("copy over another",
                           [](const object &filled, object &other, auto &) {
                               other = filled;
                               return 0;
                           }),
        timed_with_objects("compare", [](const object &filled, object &other, auto &) { return filled == other; }),
    };
}

const contender entry(record::scenario, "flatbuffers", check<tables>, codec_works<tables>() + object_works());

}  // namespace
}  // namespace bench
