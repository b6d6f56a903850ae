// Protocol Buffers as a contender, in the two ways that its documentation recommends where speed matters: one message
// object that is used again and again, and messages on an arena whose first block is the caller's.
//
// A peer P names the library's record R, its message, and fill(), read() and shape(), which creates all parts of an
// empty message.
#pragma once

#include <google/protobuf/arena.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/message_differencer.h>

#include <memory>

#include "harness/contender.h"

namespace bench::peer {

template <class P>
struct protobuf_fixture {
    using message = typename P::message;
    using values = typename P::record::values;

    message filled;
    message reused;
    std::string bytes;
    std::string written;
    std::vector<char> block = std::vector<char>(1 << 18);
    google::protobuf::Arena arena;

    protobuf_fixture() : arena(options()) {
        P::fill(P::record::example(), filled);
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

    static protobuf_fixture &own() {
        static protobuf_fixture it;
        return it;
    }
};

template <class P>
std::string protobuf_fault() {
    using fixture = protobuf_fixture<P>;
    fixture &f = fixture::own();
    typename fixture::message read;
    const bool written = f.encode(f.filled) && f.written.compare(0, f.bytes.size(), f.bytes) == 0;
    return written && f.decode(read) && P::read(read) == P::record::example() ? "" : "other values came back";
}

/** Times `step(fixture)`. */
template <class P, class Step>
work protobuf_work(const char *name, Step step) {
    return {name, [step](benchmark::State &state) {
                auto &f = protobuf_fixture<P>::own();
                repeat(state, [&] { return step(f); });
            }};
}

template <class P>
std::vector<work> protobuf_reusing_works() {
    using fixture = protobuf_fixture<P>;
    using message = typename P::message;
    return {
        protobuf_work<P>("encode", [](fixture &f) { return f.encode(f.filled); }),
        protobuf_work<P>("fill and encode",
                         [](fixture &f) {
                             f.reused.Clear();
                             P::fill(P::record::example(), f.reused);
                             return f.encode(f.reused);
                         }),
        protobuf_work<P>("decode", [](fixture &f) { return f.decode(f.reused); }),
        protobuf_work<P>("decode and read",
                         [](fixture &f) {
                             f.decode(f.reused);
                             return P::read(f.reused);
                         }),
        protobuf_work<P>("create and destroy",
                         [](fixture &) {
                             auto created = std::make_unique<message>();
                             P::shape(*created);
                             benchmark::DoNotOptimize(created.get());
                             return 0;
                         }),
        protobuf_work<P>("clone and destroy",
                         [](fixture &f) {
                             auto copy = std::make_unique<message>(f.filled);
                             benchmark::DoNotOptimize(copy.get());
                             return 0;
                         }),
        protobuf_work<P>("copy over another",
                         [](fixture &f) {
                             f.reused.CopyFrom(f.filled);
                             return 0;
                         }),
        {"compare",
         [](benchmark::State &state) {
             fixture &f = fixture::own();
             const message other(f.filled);
             repeat(state, [&] { return google::protobuf::util::MessageDifferencer::Equals(f.filled, other); });
         }},
        {"print",
         [](benchmark::State &state) {
             fixture &f = fixture::own();
             std::string text;
             repeat(state, [&] { return google::protobuf::TextFormat::PrintToString(f.filled, &text); });
         }},
    };
}

template <class P>
std::vector<work> protobuf_arena_works() {
    using fixture = protobuf_fixture<P>;
    return {
        protobuf_work<P>("fill and encode",
                         [](fixture &f) {
                             auto &message = f.on_arena();
                             P::fill(P::record::example(), message);
                             const bool done = f.encode(message);
                             f.arena.Reset();
                             return done;
                         }),
        protobuf_work<P>("decode",
                         [](fixture &f) {
                             const bool done = f.decode(f.on_arena());
                             f.arena.Reset();
                             return done;
                         }),
        protobuf_work<P>("decode and read",
                         [](fixture &f) {
                             auto &message = f.on_arena();
                             f.decode(message);
                             auto values = P::read(message);
                             f.arena.Reset();
                             return values;
                         }),
        protobuf_work<P>("create and destroy",
                         [](fixture &f) {
                             P::shape(f.on_arena());
                             f.arena.Reset();
                             return 0;
                         }),
        protobuf_work<P>("clone and destroy",
                         [](fixture &f) {
                             f.on_arena().CopyFrom(f.filled);
                             f.arena.Reset();
                             return 0;
                         }),
    };
}

}  // namespace bench::peer
