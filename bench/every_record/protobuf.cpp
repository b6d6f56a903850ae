// Protocol Buffers as a contender, in the two ways that its documentation recommends where speed matters: one message
// object that is used again and again, and messages on an arena whose first block is the caller's.
#include <google/protobuf/arena.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/message_differencer.h>

#include <memory>

#include "protobuf_codecs.h"
#include "records/record.h"

namespace bench {
namespace {

using record = BENCH_RECORD<>;

struct fixture {
    using codec = protobuf_codec<record::instance>;
    using message = codec::message;

    message filled;
    message reused;
    std::string bytes;
    std::string written;
    std::vector<char> block = std::vector<char>(1 << 18);
    google::protobuf::Arena arena;

    fixture() : arena(options()) {
        codec::fill(record::example(), filled);
        filled.SerializeToString(&bytes);
        written.resize(bytes.size() + 64);
    }

    google::protobuf::ArenaOptions options() {
        google::protobuf::ArenaOptions options;
        options.initial_block = block.data();
        options.initial_block_size = block.size();
        return options;
    }

    bool encode(const message &from) { return from.SerializeToArray(written.data(), static_cast<int>(written.size())); }
    bool decode(message &to) { return to.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())); }
    message &on_arena() { return *google::protobuf::Arena::CreateMessage<message>(&arena); }

    static record::result read(const message &from) {
        return read_values<record>([&](auto &to) { codec::read(from, to); });
    }
};

std::string check() {
    fixture &f = own<fixture>();
    fixture::message read;
    const bool written = f.encode(f.filled) && f.written.compare(0, f.bytes.size(), f.bytes) == 0;
    return written && f.decode(read) && f.read(read) == record::example() ? "" : "other values came back";
}

std::vector<work> reusing_codec_works() {
    return {
        timed("encode", own<fixture>, [](fixture &f) { return f.encode(f.filled); }),
        timed("fill and encode", own<fixture>,
              [](fixture &f) {
                  f.reused.Clear();
                  fixture::codec::fill(record::example(), f.reused);
                  return f.encode(f.reused);
              }),
        timed("decode", own<fixture>, [](fixture &f) { return f.decode(f.reused); }),
        timed("decode and read", own<fixture>,
              [](fixture &f) {
                  f.decode(f.reused);
                  return f.read(f.reused);
              }),
    };
}

std::vector<work> reusing_instance_works() {
    return {
        timed("create and destroy", own<fixture>,
              [](fixture &) {
                  auto created = std::make_unique<fixture::message>();
                  fixture::codec::shape(*created);
                  benchmark::DoNotOptimize(created.get());
                  return 0;
              }),
        timed("clone and destroy", own<fixture>,
              [](fixture &f) {
                  auto copy = std::make_unique<fixture::message>(f.filled);
                  benchmark::DoNotOptimize(copy.get());
                  return 0;
              }),
        timed("copy over another", own<fixture>,
              [](fixture &f) {
                  f.reused.CopyFrom(f.filled);
                  return 0;
              }),
        {"compare",
         [](benchmark::State &state) {
             fixture &f = own<fixture>();
             const fixture::message other(f.filled);
             repeat(state, [&] { return google::protobuf::util::MessageDifferencer::Equals(f.filled, other); });
         }},
        {"print",
         [](benchmark::State &state) {
             fixture &f = own<fixture>();
             std::string text;
             repeat(state, [&] { return google::protobuf::TextFormat::PrintToString(f.filled, &text); });
         }},
    };
}

std::vector<work> arena_works() {
    return {
        timed("fill and encode", own<fixture>,
              [](fixture &f) {
                  auto &message = f.on_arena();
                  fixture::codec::fill(record::example(), message);
                  const bool done = f.encode(message);
                  f.arena.Reset();
                  return done;
              }),
        timed("decode", own<fixture>,
              [](fixture &f) {
                  const bool done = f.decode(f.on_arena());
                  f.arena.Reset();
                  return done;
              }),
        timed("decode and read", own<fixture>,
              [](fixture &f) {
                  auto &message = f.on_arena();
                  f.decode(message);
                  auto values = f.read(message);
                  f.arena.Reset();
                  return values;
              }),
        timed("create and destroy", own<fixture>,
              [](fixture &f) {
                  fixture::codec::shape(f.on_arena());
                  f.arena.Reset();
                  return 0;
              }),
        timed("clone and destroy", own<fixture>,
              [](fixture &f) {
                  f.on_arena().CopyFrom(f.filled);
                  f.arena.Reset();
                  return 0;
              }),
    };
}

const contender reused(record::scenario, "protobuf", check, reusing_codec_works() + reusing_instance_works());
const contender arena(record::scenario, "protobuf, arena", check, arena_works());

}  // namespace
}  // namespace bench
