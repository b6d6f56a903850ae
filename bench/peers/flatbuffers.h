// FlatBuffers as a contender: a builder that is used again and again, buffers that are verified before they are read, and
// for what needs objects the generated object classes.
//
// A peer P names the library's record R, its table and object, and build(), read(), to_object() and shape().
#pragma once

#include <flatbuffers/flatbuffers.h>

#include <memory>

#include "harness/contender.h"

namespace bench::peer {

template <class P>
struct flatbuffers_fixture {
    using table = typename P::table;

    flatbuffers::FlatBufferBuilder builder{1 << 16};
    std::vector<std::uint8_t> bytes;

    flatbuffers_fixture() {
        build();
        bytes.assign(builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize());
    }

    size_t build() {
        builder.Clear();
        builder.Finish(P::build(builder, P::record::example()));
        return builder.GetSize();
    }

    /** The record in the bytes, once they were verified; nullptr when they are bad. */
    const table *root() {
        flatbuffers::Verifier verifier(bytes.data(), bytes.size());
        return verifier.VerifyBuffer<table>() ? flatbuffers::GetRoot<table>(bytes.data()) : nullptr;
    }

    static flatbuffers_fixture &own() {
        static flatbuffers_fixture it;
        return it;
    }
};

template <class P>
std::string flatbuffers_fault() {
    const typename P::table *root = flatbuffers_fixture<P>::own().root();
    return root != nullptr && P::read(*root) == P::record::example() ? "" : "other values came back";
}

template <class P>
std::vector<work> flatbuffers_codec_works() {
    using fixture = flatbuffers_fixture<P>;
    return {
        {"fill and encode", [](benchmark::State &state) { repeat(state, [&] { return fixture::own().build(); }); }},
        {"decode", [](benchmark::State &state) { repeat(state, [&] { return fixture::own().root(); }); }},
        {"decode and read",
         [](benchmark::State &state) { repeat(state, [&] { return P::read(*fixture::own().root()); }); }},
    };
}

template <class P>
std::vector<work> flatbuffers_object_works() {
    using fixture = flatbuffers_fixture<P>;
    using object = typename P::object;
    return {
        {"encode",
         [](benchmark::State &state) {
             const object filled = P::to_object(P::record::example());
             flatbuffers::FlatBufferBuilder &builder = fixture::own().builder;
             repeat(state, [&] {
                 builder.Clear();
                 builder.Finish(P::table::Pack(builder, &filled));
                 return builder.GetSize();
             });
         }},
        {"create and destroy",
         [](benchmark::State &state) {
             repeat(state, [&] {
                 auto created = std::make_unique<object>();
                 P::shape(*created);
                 benchmark::DoNotOptimize(created.get());
                 return 0;
             });
         }},
        {"clone and destroy",
         [](benchmark::State &state) {
             const object filled = P::to_object(P::record::example());
             repeat(state, [&] {
                 auto copy = std::make_unique<object>(filled);
                 benchmark::DoNotOptimize(copy.get());
                 return 0;
             });
         }},
        {"copy over another",
         [](benchmark::State &state) {
             const object filled = P::to_object(P::record::example());
             object other;
             repeat(state, [&] {
                 other = filled;
                 return 0;
             });
         }},
        {"compare",
         [](benchmark::State &state) {
             const object filled = P::to_object(P::record::example());
             const object other(filled);
             repeat(state, [&] { return filled == other; });
         }},
    };
}

inline std::vector<work> operator+(std::vector<work> first, const std::vector<work> &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

}  // namespace bench::peer
