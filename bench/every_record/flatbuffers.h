// FlatBuffers as a contender: a builder that is used again and again, and buffers that are verified before they are read.
#pragma once

#include <flatbuffers/flatbuffers.h>

#include "flatbuffers_codecs.h"
#include "records/record.h"

namespace bench {
namespace {

using record = BENCH_RECORD<>;
using codec = flatbuffers_codec<record::instance>;

/** A layout names the root's table, build() and read(). */
template <class Layout>
struct fixture {
    using table = typename Layout::table;

    flatbuffers::FlatBufferBuilder builder{1 << 16};
    std::vector<std::uint8_t> bytes;

    fixture() {
        build();
        bytes.assign(builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize());
    }

    size_t build() {
        builder.Clear();
        builder.Finish(Layout::build(builder, record::example()));
        return builder.GetSize();
    }

    /** The record in the bytes, once they were verified; nullptr when they are bad. */
    const table *root() {
        flatbuffers::Verifier verifier(bytes.data(), bytes.size());
        return verifier.VerifyBuffer<table>() ? flatbuffers::GetRoot<table>(bytes.data()) : nullptr;
    }

    record::result read() {
        return read_values<record>([&](auto &to) { Layout::read(*root(), to); });
    }
};

template <class Layout>
std::string check() {
    fixture<Layout> &f = own<fixture<Layout>>();
    return f.root() != nullptr && f.read() == record::example() ? "" : "other values came back";
}

template <class Layout>
std::vector<work> codec_works() {
    using F = fixture<Layout>;
    return {
        timed("fill and encode", own<F>, [](F &f) { return f.build(); }),
        timed("decode", own<F>, [](F &f) { return f.root(); }),
        timed("decode and read", own<F>, [](F &f) { return f.read(); }),
    };
}

}  // namespace
}  // namespace bench
