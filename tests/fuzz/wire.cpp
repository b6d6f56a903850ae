// Bytes of records, messages and bundles. What a handle makes of them by the fastest path that it has must be what the
// reference path makes of them, and what was decoded must encode, decode and encode to the same bytes.

#include "ptp_cfg/messages.h"
#include "ptp_cfg/receive.h"
#include "targets.h"
#include "vela_bundle.h"
#include "velalib.h"

namespace fuzz {
namespace {

struct decoding {
    u_int32 err = 0;
    u_int32 count = 0;
    bool operator==(const decoding &) const = default;
};

decoding decode(const instance &into, std::span<const u_int8> bytes) {
    decoding result;
    result.count = into.calls().unmarshal(into.handle(), mem_class, bytes.data(), into.get(),
                                          static_cast<u_int32>(bytes.size()), &result.err);
    require(result.count <= bytes.size(), "unmarshal says that it read more than there was",
            describe(into.type()).name);
    return result;
}

instance decode_message(vela_handle *handle, const ptp_cfg_type *type, std::span<const u_int8> bytes,
                        decoding &result) {
    void *message = nullptr;
    result.count = describe(type).operations->unmarshal_only(handle, mem_class, &message, bytes.data(),
                                                             static_cast<u_int32>(bytes.size()), &result.err);
    require(result.count <= bytes.size(), "unmarshal_only says that it read more than there was", describe(type).name);
    return {handle, type, message};
}

/** What two paths made of the same bytes. */
void require_alike(const instance &a, const instance &b) {
    const char *name = describe(a.type()).name;
    require((a.get() == nullptr) == (b.get() == nullptr), "one path makes a message, the other none", name);
    if (a.get() == nullptr) {
        return;
    }
    if (!is_message(a.type())) {
        require(a.calls().compare(a.get(), b.get()) == 0, "paths decode different values", name);
        require(a.calls().hash(a.get(), 1) == a.calls().hash(b.get(), 1), "what is equal has different hashes", name);
    }
    require(encode(a) == encode(b), "paths encode differently", name);
}

/** Marshal with too little room fails alike on both paths. */
void require_alike_in(u_int32 room, const instance &a, const instance &b) {
    require(encode(a, room) == encode(b, room), "paths differ where room is short", describe(a.type()).name);
}

/** What was encoded without an error decodes without one, to what encodes to the same. */
void require_stable(const instance &it, u_int8 what) {
    const encoding first = encode(it);
    const char *name = describe(it.type()).name;
    if (first.err != 0) {
        return;
    }
    if (is_message(it.type())) {
        decoding again;
        const instance second = decode_message(it.handle(), it.type(), first.bytes, again);
        require(again.err == 0 && again.count == first.bytes.size(), "its own encoding does not decode", name);
        require(encode(second) == first, "its encoding is not stable", name);
        return;
    }
    const instance second(it.handle(), it.type());
    if ((what & 2) != 0) {  // over values that are there already
        random_source random(what);
        fill(second, random);
    }
    const decoding again = decode(second, first.bytes);
    require(again.err == 0 && again.count == first.bytes.size(), "its own encoding does not decode", name);
    require(encode(second) == first, "its encoding is not stable", name);
}

void print_and_clone(const instance &it, u_int8 what) {
    octets text(size_t{what} * 8);
    u_int32 err = 0;
    const u_int32 count = it.calls().print(it.handle(), mem_class, reinterpret_cast<char *>(text.data()), it.get(),
                                           static_cast<u_int32>(text.size()), &err);
    require(count <= text.size(), "print says that it wrote more than there was room", describe(it.type()).name);
    if (describe(it.type()).kind != PTP_CFG_STRUCTURE) {
        return;
    }
    err = 0;
    const instance clone(it.handle(), it.type(), it.calls().clone(it.handle(), mem_class, it.get(), &err));
    require((clone.get() != nullptr) == (err == 0), "a clone and an error, or neither", describe(it.type()).name);
    if (err == 0) {
        require(encode(clone) == encode(it), "a clone differs", describe(it.type()).name);
    }
}

void examine(const instance &a, const instance &b, u_int8 what, u_int8 room) {
    require_alike(a, b);
    if (a.get() == nullptr) {
        return;
    }
    require_stable(a, what);
    if ((what & 4) != 0) {
        require_alike_in(room, a, b);
    }
    if ((what & 8) != 0) {
        print_and_clone(a, what);
    }
}

/** The octets that an input begins with: type, handle, what is done, short room. */
constexpr size_t choices = 4;

octets chosen(size_t type, u_int8 kind, u_int64 number, const octets &bytes) {
    octets result = {static_cast<u_int8>(type), kind, static_cast<u_int8>(number), static_cast<u_int8>(number >> 3)};
    static_assert(choices == 4);
    result.insert(result.end(), bytes.begin(), bytes.end());
    return result;
}

/** What such an input says, and a handle of that kind beside one that takes the reference path. */
struct wire_case {
    wire_case(input &in, const std::vector<const ptp_cfg_type *> &types)
        : type(types[in.octet() % types.size()]),
          kind(in.octet()),
          what(in.octet()),
          room(in.octet()),
          bytes(in.rest()) {}

    void require_nothing_left() const {
        fuzz::require_nothing_left(fast, describe(type).name);
        fuzz::require_nothing_left(exact, describe(type).name);
    }

    const ptp_cfg_type *type;
    handle_kind kind;
    u_int8 what;
    u_int8 room;
    std::span<const u_int8> bytes;
    vela_handle *fast = handle_of(kind);
    vela_handle *exact = handle_of(kind.on_reference_path());
};

octets make(const std::vector<const ptp_cfg_type *> &types, u_int64 number) {
    const size_t type = number % types.size();
    const u_int8 kind = static_cast<u_int8>(number / types.size());
    return chosen(type, kind, number, encoding_of(types[type], number, kind));
}

}  // namespace

void run_record(input in) {
    const wire_case of(in, records());
    {
        const instance a(of.fast, of.type), b(of.exact, of.type);
        if ((of.what & 1) != 0) {
            random_source first(of.room), second(of.room);
            fill(a, first);
            fill(b, second);
        }
        const decoding of_a = decode(a, of.bytes);
        require(of_a == decode(b, of.bytes), "paths end differently", describe(of.type).name);
        count_execution(of.type, of_a.err == 0 && of_a.count > 0);
        examine(a, b, of.what, of.room);
    }
    of.require_nothing_left();
}

octets make_record(u_int64 number) { return make(records(), number); }

void run_message(input in) {
    const wire_case of(in, messages());
    {
        decoding of_a, of_b;
        const instance a = decode_message(of.fast, of.type, of.bytes, of_a);
        const instance b = decode_message(of.exact, of.type, of.bytes, of_b);
        require(of_a == of_b, "paths end differently", describe(of.type).name);
        count_execution(of.type, of_a.err == 0 && of_a.count > 0);
        examine(a, b, of.what, of.room);
        u_int32 consumed = 0, err = 0;
        const instance taken(
            of.fast, of.type,
            describe(of.type).operations->take(of.fast, mem_class, of.bytes.data(),
                                               static_cast<u_int32>(of.bytes.size()), &consumed, &err));
        require((taken.get() != nullptr) == (err == 0), "a message and an error, or neither", describe(of.type).name);
    }
    of.require_nothing_left();
}

octets make_message(u_int64 number) { return make(messages(), number); }

namespace {

/** Has counted what the application was given, and destroyed it. */
struct receiver_state {
    u_int32 taken = 0;
    octets bundle;  // of what was taken, packed again
};

void receive(vela_handle *handle, u_int32, void *context, const ptp_cfg_type *type, void *message, u_int32 *) {
    receiver_state &state = *static_cast<receiver_state *>(context);
    ++state.taken;
    const encoding bytes = encode(instance(handle, type, message));
    count_execution(type, true);
    if (bytes.err == 0) {
        const u_int32 length = static_cast<u_int32>(bytes.bytes.size());
        for (const int shift : {24, 16, 8, 0}) {
            state.bundle.push_back(static_cast<u_int8>(length >> shift));
        }
        state.bundle.insert(state.bundle.end(), bytes.bytes.begin(), bytes.bytes.end());
    }
}

octets bundle_header(u_int32 messages, size_t length) {
    octets header(VELA_BUNDLE_HEADER);
    const auto put = [&](size_t at, u_int32 value) {
        for (size_t i = 0; i < 4; ++i) {
            header[at + i] = static_cast<u_int8>(value >> (24 - 8 * i));
        }
    };
    put(0, VELA_BUNDLE_MAGIC);
    header[4] = VELA_BUNDLE_VERSION;
    put(8, messages);
    put(12, static_cast<u_int32>(length + VELA_BUNDLE_HEADER));
    return header;
}

}  // namespace

void run_dispatch(input in) {
    vela_handle *handle = handle_of(handle_kind(in.octet()));
    const std::span<const u_int8> bytes = in.rest();
    const u_int32 length = static_cast<u_int32>(bytes.size());
    void *message = nullptr;
    const ptp_cfg_type *type = nullptr;
    u_int32 err = 0;
    const u_int32 count = ptp_cfg_dispatch(handle, mem_class, nullptr, &message, &type, bytes.data(), length, &err);
    require(count <= length, "dispatch says that it read more than there was");
    require_nothing_left(handle, "dispatch");
    u_int32 consumed = 0, why = 0;
    const ptp_cfg_type *found = nullptr;
    {
        const instance taken(handle, ptp_cfg_message_identify(bytes.data(), length),
                             ptp_cfg_receive(handle, mem_class, &found, bytes.data(), length, &consumed, &why));
        require((taken.get() != nullptr) == (why == 0), "a message and an error, or neither");
        require(found == type && (why == 0) == (err == 0 || err == VELA_ENOSYS), "receive and dispatch differ");
    }
    if (type != nullptr) {
        count_execution(type, why == 0);
    }
    require_nothing_left(handle, "receive");
}

octets make_dispatch(u_int64 number) {
    octets bytes = make_message(number);
    bytes.erase(bytes.begin());
    bytes.erase(bytes.begin() + 1, bytes.begin() + choices - 1);
    return bytes;
}

void run_bundle(input in) {
    vela_handle *handle = handle_of(handle_kind(in.octet()));
    const std::span<const u_int8> bytes = in.rest();
    const u_int32 length = static_cast<u_int32>(bytes.size());
    vela_bundle_reader reader = {};
    vela_bundle_item item = {};
    u_int32 err = 0;
    u_int32 places = 0;
    vela_bundle_read(&reader, bytes.data(), length, &err);
    for (; vela_bundle_next(&reader, &item) != 0; ++places) {
        require(item.offset <= length &&
                    (item.message == nullptr || (item.message >= bytes.data() && item.length <= length &&
                                                 item.message + item.length <= bytes.data() + length)),
                "a message of a bundle lies outside of it");
    }
    receiver_state state;
    ptp_cfg_bundle_report report = {};
    err = 0;
    const u_int32 taken =
        ptp_cfg_dispatch_bundle(handle, mem_class, receive, &state, bytes.data(), length, &report, &err);
    require(taken == state.taken && taken == report.taken && report.taken + report.failed >= report.messages,
            "the report of a bundle does not add up");
    require(report.messages <= places + 1, "dispatch finds more places than the reader");
    require_nothing_left(handle, "a bundle");
    if (state.bundle.empty()) {
        return;
    }
    octets again = bundle_header(state.taken, state.bundle.size());
    again.insert(again.end(), state.bundle.begin(), state.bundle.end());
    receiver_state second;
    err = 0;
    ptp_cfg_dispatch_bundle(handle, mem_class, receive, &second, again.data(), static_cast<u_int32>(again.size()),
                            nullptr, &err);
    require(second.bundle == state.bundle, "what a bundle held is not stable");
    require_nothing_left(handle, "a bundle that was packed again");
}

octets make_bundle(u_int64 number) {
    octets inside;
    const u_int8 kind = static_cast<u_int8>(number);
    const u_int32 count = static_cast<u_int32>(number % 4);
    for (u_int32 i = 0; i < count; ++i) {
        const octets message = encoding_of(messages()[(number / 4 + i) % messages().size()], number + i, kind);
        for (const int shift : {24, 16, 8, 0}) {
            inside.push_back(static_cast<u_int8>(message.size() >> shift));
        }
        inside.insert(inside.end(), message.begin(), message.end());
    }
    octets result = bundle_header(count, inside.size());
    result.insert(result.begin(), kind);
    result.insert(result.end(), inside.begin(), inside.end());
    return result;
}

}  // namespace fuzz

/** The one handler that the program has; it destroys the message, as a handler shall. */
void ptp_cfg_ptp_clock_delete_cmd_message_handler(vela_handle *handle, u_int32 mem_class, void *,
                                                  ptp_clock_delete_cmd_message *message, u_int32 *) {
    ptp_clock_delete_cmd_message_destroy(handle, mem_class, message);
}
