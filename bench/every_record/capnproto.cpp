// Cap'n Proto as a contender: builders on a segment that is used again and again, and readers on aligned words. Readers
// check every pointer when it is followed.
#include <capnp/any.h>
#include <capnp/message.h>
#include <capnp/pretty-print.h>
#include <capnp/serialize.h>

#include "capnproto_codecs.h"
#include "records/record.h"

namespace bench {
namespace {

using record = BENCH_RECORD<>;

struct fixture {
    using codec = capnproto_codec<record::instance>;
    using message = codec::message;

    /** Scratch for builders, all zero as they demand; they leave it so. */
    std::vector<capnp::word> segment = std::vector<capnp::word>(1 << 13);
    std::vector<capnp::word> words = std::vector<capnp::word>(1 << 13);
    size_t length = 0;
    capnp::MallocMessageBuilder filled;

    fixture() {
        codec::fill(record::example(), filled.initRoot<message>());
        length = write(filled);
    }

    kj::ArrayPtr<capnp::word> scratch() { return {segment.data(), segment.size()}; }

    size_t write(capnp::MessageBuilder &builder) {
        kj::ArrayPtr<capnp::word> all(words.data(), words.size());
        kj::ArrayOutputStream out(all.asBytes());
        capnp::writeMessage(out, builder);
        return out.getArray().size() / sizeof(capnp::word);
    }
    kj::ArrayPtr<const capnp::word> written() const { return {words.data(), length}; }

    message::Reader filled_root() { return filled.getRoot<message>().asReader(); }

    static record::result read(message::Reader from) {
        return read_values<record>([&](auto &to) { codec::read(from, to); });
    }
};

std::string check() {
    capnp::FlatArrayMessageReader reader(own<fixture>().written());
    return fixture::read(reader.getRoot<fixture::message>()) == record::example() ? "" : "other values came back";
}

std::vector<work> codec_works() {
    return {
        timed("encode", own<fixture>, [](fixture &f) { return f.write(f.filled); }),
        timed("fill and encode", own<fixture>,
              [](fixture &f) {
                  capnp::MallocMessageBuilder builder(f.scratch());
                  fixture::codec::fill(record::example(), builder.initRoot<fixture::message>());
                  return f.write(builder);
              }),
        timed("decode", own<fixture>,
              [](fixture &f) {
                  capnp::FlatArrayMessageReader reader(f.written());
                  const auto root = reader.getRoot<fixture::message>();
                  benchmark::DoNotOptimize(&root);
                  return 0;
              }),
        timed("decode and read", own<fixture>,
              [](fixture &f) {
                  capnp::FlatArrayMessageReader reader(f.written());
                  return f.read(reader.getRoot<fixture::message>());
              }),
    };
}

std::vector<work> instance_works() {
    return {
        timed("create and destroy", own<fixture>,
              [](fixture &f) {
                  capnp::MallocMessageBuilder builder(f.scratch());
                  fixture::codec::shape(builder.initRoot<fixture::message>());
                  return 0;
              }),
        timed("clone and destroy", own<fixture>,
              [](fixture &f) {
                  capnp::MallocMessageBuilder builder(f.scratch());
                  builder.setRoot(f.filled_root());
                  return 0;
              }),
        {"compare",
         [](benchmark::State &state) {
             capnp::MallocMessageBuilder copy;
             fixture::codec::fill(record::example(), copy.initRoot<fixture::message>());
             const capnp::AnyStruct::Reader other = copy.getRoot<fixture::message>().asReader();
             const capnp::AnyStruct::Reader filled = own<fixture>().filled_root();
             repeat(state, [&] { return filled == other; });
         }},
        {"print",
         [](benchmark::State &state) {
             const auto root = own<fixture>().filled_root();
             repeat(state, [&] { return kj::str(root).size(); });
         }},
    };
}

const contender entry(record::scenario, "capnproto", check, codec_works() + instance_works());

}  // namespace
}  // namespace bench
