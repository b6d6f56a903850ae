// The library's side of a record scenario: the same pieces of work for every record type.
//
// A record R names its type and values, and the typed functions of the library that do the work.
#pragma once

#include "harness/contender.h"
#include "records/records.h"

namespace bench {

/** Handles and instances that one contender works with. */
template <class R>
struct record_fixture {
    vela_handle *sender;
    vela_handle *receiver;
    typename R::instance *record;
    typename R::instance *received;
    std::vector<u_int8> bytes = std::vector<u_int8>(R::width + R::width / 4 + 64);
    u_int32 err = 0;
    u_int32 length;

    record_fixture(vela_handle *sending, vela_handle *receiving)
        : sender(sending),
          receiver(receiving),
          record(make_example<R>(sender)),
          received(R::create(receiver, mem_class)),
          length(marshal()) {
        require(err == 0, "marshal a record");
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

inline std::vector<work> operator+(std::vector<work> first, const std::vector<work> &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/** From values to bytes, and from bytes to values. */
template <class R>
std::vector<work> access_works(record_fixture<R> &(*own)()) {
    return {
        {"fill and encode",
         [own](benchmark::State &state) {
             record_fixture<R> &f = own();
             repeat(state, [&] {
                 R::fill(f.sender, f.record, R::example(), &f.err);
                 return f.marshal();
             });
         }},
        {"decode and read",
         [own](benchmark::State &state) {
             record_fixture<R> &f = own();
             repeat(state, [&] {
                 f.unmarshal();
                 return R::read(f.receiver, f.received, &f.err);
             });
         }},
    };
}

/** To bytes and from bytes, with what comes before and after. */
template <class R>
std::vector<work> codec_works(record_fixture<R> &(*own)()) {
    return std::vector<work>{{"encode",
                              [own](benchmark::State &state) {
                                  record_fixture<R> &f = own();
                                  repeat(state, [&] { return f.marshal(); });
                              }},
                             {"decode",
                              [own](benchmark::State &state) {
                                  record_fixture<R> &f = own();
                                  repeat(state, [&] { return f.unmarshal(); });
                              }}} +
           access_works(own);
}

/** What instances do without being sent. */
template <class R>
std::vector<work> instance_works(record_fixture<R> &(*own)()) {
    return {
        {"create and destroy",
         [own](benchmark::State &state) {
             record_fixture<R> &f = own();
             repeat(state, [&] {
                 auto *instance = R::create(f.sender, mem_class);
                 benchmark::DoNotOptimize(instance);
                 R::destroy(f.sender, mem_class, instance);
                 return 0;
             });
         }},
        {"clone and destroy",
         [own](benchmark::State &state) {
             record_fixture<R> &f = own();
             repeat(state, [&] {
                 auto *copy = R::clone(f.sender, f.record);
                 benchmark::DoNotOptimize(copy);
                 R::destroy(f.sender, mem_class, copy);
                 return 0;
             });
         }},
        {"copy over another",
         [own](benchmark::State &state) {
             record_fixture<R> &f = own();
             auto *other = R::create(f.sender, mem_class);
             repeat(state, [&] {
                 R::copy(f.sender, f.record, other);
                 return 0;
             });
             R::destroy(f.sender, mem_class, other);
         }},
        {"compare",
         [own](benchmark::State &state) {
             record_fixture<R> &f = own();
             f.unmarshal();
             repeat(state, [&] { return R::compare(f.record, f.received); });
         }},
        {"hash",
         [own](benchmark::State &state) {
             record_fixture<R> &f = own();
             repeat(state, [&] { return R::hash(f.record, 0); });
         }},
        {"print",
         [own](benchmark::State &state) {
             record_fixture<R> &f = own();
             std::string text(R::text_room, ' ');
             repeat(state, [&] {
                 return R::print(f.sender, mem_class, text.data(), 0, "", f.record, static_cast<u_int32>(text.size()),
                                 &f.err);
             });
         }},
    };
}

/** The bytes that the library gives a record's example. */
template <class R>
std::string library_bytes() {
    record_fixture<R> f(make_handle(), make_handle());
    return {f.bytes.begin(), f.bytes.begin() + f.length};
}

/** The check of hand-written functions that encode and decode R's values. */
template <class R>
std::string hand_fault(u_int32 (*encode)(u_int8 *, u_int32, const typename R::values &),
                       u_int32 (*decode)(const u_int8 *, u_int32, typename R::values &)) {
    std::string bytes(R::width, '\0');
    encode(reinterpret_cast<u_int8 *>(bytes.data()), R::width, R::example());
    if (library_bytes<R>() != bytes) {
        return "the bytes are not the library's";
    }
    static typename R::values values;
    decode(reinterpret_cast<const u_int8 *>(bytes.data()), R::width, values);
    return values == R::example() ? "" : "other values came back";
}

/** The works of hand-written functions. What they decode to has been read. */
template <class R>
std::vector<work> hand_works(u_int32 (*encode)(u_int8 *, u_int32, const typename R::values &),
                             u_int32 (*decode)(const u_int8 *, u_int32, typename R::values &)) {
    static std::vector<u_int8> bytes(R::width);
    static typename R::values values = R::example();
    const auto read = [decode](benchmark::State &state) {
        repeat(state, [&] { return decode(bytes.data(), R::width, values); });
    };
    return {
        {"encode",
         [encode](benchmark::State &state) { repeat(state, [&] { return encode(bytes.data(), R::width, values); }); }},
        {"decode", read},
        {"decode and read", read}};
}

}  // namespace bench
