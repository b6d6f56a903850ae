// The library's side of a record scenario: the same pieces of work for every record type.
//
// A record R names its type and values, and the typed functions of the library that do the work.
#pragma once

#include "bench_records.h"
#include "harness/contender.h"

namespace bench {

/** Handles and instances that one contender works with. */
template <class R>
struct record_fixture {
    vela_handle *sender;
    vela_handle *receiver;
    typename R::instance *record;
    typename R::instance *received;
    std::vector<u_int8> bytes = std::vector<u_int8>(R::width + R::width / 4 + 64);
    std::string text = std::string(R::text_room, ' ');
    u_int32 err = 0;
    u_int32 length;

    record_fixture(vela_handle *sending, vela_handle *receiving)
        : sender(sending),
          receiver(receiving),
          record(make_example<R>(sender)),
          received(R::create(receiver, mem_class)),
          length(marshal()) {
        require(unmarshal() == length && err == 0, "marshal a record");
    }

    u_int32 marshal() {
        return R::marshal(sender, mem_class, bytes.data(), record, static_cast<int32>(bytes.size()), &err);
    }
    u_int32 unmarshal() {
        return R::unmarshal(receiver, mem_class, bytes.data(), received, static_cast<int32>(length), 0, &err);
    }

    /** What is wrong with a round trip. */
    std::string fault() {
        if (unmarshal() != length || err != 0) {
            return "reading ends with error " + std::to_string(err);
        }
        const bool equal = R::read(receiver, received, &err) == R::example();
        return equal && err == 0 ? "" : "other values came back";
    }
};

/** A fixture on handles without anything special. */
template <class R>
record_fixture<R> &plain() {
    static record_fixture<R> it(make_handle(), make_handle());
    return it;
}

/** From values to bytes, and from bytes to values. */
template <class R>
std::vector<work> access_works(record_fixture<R> &(*own)()) {
    using F = record_fixture<R>;
    return {
        timed("fill and encode", own,
              [](F &f) {
                  R::fill(f.sender, f.record, R::example(), &f.err);
                  return f.marshal();
              }),
        timed("decode and read", own,
              [](F &f) {
                  f.unmarshal();
                  return R::read(f.receiver, f.received, &f.err);
              }),
    };
}

/** To bytes and from bytes, with what comes before and after. */
template <class R>
std::vector<work> codec_works(record_fixture<R> &(*own)()) {
    using F = record_fixture<R>;
    const std::vector<work> codec = {timed("encode", own, [](F &f) { return f.marshal(); }),
                                     timed("decode", own, [](F &f) { return f.unmarshal(); })};
    return codec + access_works(own);
}

/** What instances do without being sent. */
template <class R>
std::vector<work> instance_works(record_fixture<R> &(*own)()) {
    using F = record_fixture<R>;
    return {
        timed("create and destroy", own,
              [](F &f) {
                  auto *instance = R::create(f.sender, mem_class);
                  benchmark::DoNotOptimize(instance);
                  R::destroy(f.sender, mem_class, instance);
                  return 0;
              }),
        timed("clone and destroy", own,
              [](F &f) {
                  auto *copy = R::clone(f.sender, f.record);
                  benchmark::DoNotOptimize(copy);
                  R::destroy(f.sender, mem_class, copy);
                  return 0;
              }),
        {"copy over another",
         [own](benchmark::State &state) {
             F &f = own();
             auto *other = R::create(f.sender, mem_class);
             repeat(state, [&] {
                 R::copy(f.sender, f.record, other);
                 return 0;
             });
             R::destroy(f.sender, mem_class, other);
         }},
        timed("compare", own, [](F &f) { return R::compare(f.record, f.received); }),
        timed("hash", own, [](F &f) { return R::hash(f.record, 0); }),
        timed("print", own,
              [](F &f) {
                  return R::print(f.sender, mem_class, f.text.data(), 0, "", f.record,
                                  static_cast<u_int32>(f.text.size()), &f.err);
              }),
    };
}

}  // namespace bench
