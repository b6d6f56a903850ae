// Cap'n Proto as a contender: builders on a segment that is used again and again, and readers on aligned words. Readers
// check every pointer when it is followed.
//
// A peer P names the library's record R, its type, and fill(), read() and shape().
#pragma once

#include <capnp/any.h>
#include <capnp/message.h>
#include <capnp/pretty-print.h>
#include <capnp/serialize.h>

#include "harness/contender.h"

namespace bench::peer {

template <class P>
struct capnproto_fixture {
    using type = typename P::type;

    /** Scratch for builders, all zero as they demand; they leave it so. */
    std::vector<capnp::word> segment = std::vector<capnp::word>(1 << 13);
    std::vector<capnp::word> words = std::vector<capnp::word>(1 << 13);
    size_t length = 0;
    capnp::MallocMessageBuilder filled;

    capnproto_fixture() {
        P::fill(P::record::example(), filled.initRoot<type>());
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

    static capnproto_fixture &own() {
        static capnproto_fixture it;
        return it;
    }
};

template <class P>
std::string capnproto_fault() {
    capnp::FlatArrayMessageReader reader(capnproto_fixture<P>::own().written());
    return P::read(reader.getRoot<typename P::type>()) == P::record::example() ? "" : "other values came back";
}

/** Times `step(fixture)`. */
template <class P, class Step>
work capnproto_work(const char *name, Step step) {
    return {name, [step](benchmark::State &state) {
                auto &f = capnproto_fixture<P>::own();
                repeat(state, [&] { return step(f); });
            }};
}

template <class P>
std::vector<work> capnproto_works() {
    using fixture = capnproto_fixture<P>;
    using type = typename P::type;
    return {
        capnproto_work<P>("encode", [](fixture &f) { return f.write(f.filled); }),
        capnproto_work<P>("fill and encode",
                          [](fixture &f) {
                              capnp::MallocMessageBuilder builder(f.scratch());
                              P::fill(P::record::example(), builder.initRoot<type>());
                              return f.write(builder);
                          }),
        capnproto_work<P>("decode",
                          [](fixture &f) {
                              capnp::FlatArrayMessageReader reader(f.written());
                              const auto root = reader.getRoot<type>();
                              benchmark::DoNotOptimize(&root);
                              return 0;
                          }),
        capnproto_work<P>("decode and read",
                          [](fixture &f) {
                              capnp::FlatArrayMessageReader reader(f.written());
                              return P::read(reader.getRoot<type>());
                          }),
        capnproto_work<P>("create and destroy",
                          [](fixture &f) {
                              capnp::MallocMessageBuilder builder(f.scratch());
                              P::shape(builder.initRoot<type>());
                              return 0;
                          }),
        capnproto_work<P>("clone and destroy",
                          [](fixture &f) {
                              capnp::MallocMessageBuilder builder(f.scratch());
                              builder.setRoot(f.filled.template getRoot<type>().asReader());
                              return 0;
                          }),
        {"compare",
         [](benchmark::State &state) {
             fixture &f = fixture::own();
             capnp::MallocMessageBuilder copy;
             P::fill(P::record::example(), copy.initRoot<type>());
             const capnp::AnyStruct::Reader other = copy.getRoot<type>().asReader();
             const capnp::AnyStruct::Reader own = f.filled.template getRoot<type>().asReader();
             repeat(state, [&] { return own == other; });
         }},
        {"print",
         [](benchmark::State &state) {
             fixture &f = fixture::own();
             const auto root = f.filled.template getRoot<type>().asReader();
             repeat(state, [&] { return kj::str(root).size(); });
         }},
    };
}

}  // namespace bench::peer
