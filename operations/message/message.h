// Messages: one or two payloads behind a header and the message type's identity.
#pragma once

#include "operations/core/unrolled.h"
#include "operations/wire/unrolled/paths.h"

namespace ptp_cfg {

/** A message as it stands in memory; `size` of its descriptor says how many payload pointers there are. */
struct message_instance {
    const vela_type_info *type_info;  // the members of vela_instance_header, without its padding
    int8 variant;
    int8 allocated_variant;
    u_int8 flags;
    vela_message_header block;
    void *payload[2];
};
static_assert(offsetof(message_instance, block) == 12 && offsetof(message_instance, payload) == 32);

constexpr u_int32 message_prefix = VELA_WIRE_MESSAGE_HEADER + VELA_WIRE_LUID;

/** Room as the payload operations take it. */
inline int32 signed_room(u_int32 room) { return room > INT32_MAX ? INT32_MAX : static_cast<int32>(room); }

/** What a trace says of an error code. */
inline const char *error_text(u_int32 code) { return strerror(static_cast<int>(code)); }

/** Operations of a message's payloads: those of a structure, or of a primitive. */
struct payload_wire {
    const unrolled_functions *function[2];  // nullptr: there is no second payload
};

void *message_create(const message_descriptor &type, const payload_wire &wire, vela_handle *handle, u_int32 mem_class);
void *message_create_cr(const message_descriptor &type, const payload_wire &wire, vela_handle *handle);
void *message_create_shallow(const message_descriptor &type, vela_handle *handle, u_int32 mem_class);
void message_destroy(const message_descriptor &type, const payload_wire &wire, vela_handle *handle, u_int32 mem_class,
                     void *message);

/** Accessors of payload `index`. `get` lends, `detach` hands over, `set` takes without freeing what was there. */
void *message_get(const message_descriptor &type, u_int32 index, vela_handle *handle, const void *message,
                  u_int32 *err);
void *message_detach(const message_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                     void *message, u_int32 *err);
void message_set(const message_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class, void *message,
                 void *payload, u_int32 *err);
void message_free_and_set(const message_descriptor &type, const payload_wire &wire, u_int32 index, vela_handle *handle,
                          u_int32 mem_class, void *message, void *payload, u_int32 *err);

/** The payload for get_value and set_value; nullptr with error 2, which replaces an earlier error. */
void *message_value_payload(const message_descriptor &type, u_int32 index, trace::entry text, vela_handle *handle,
                            void *message, u_int32 *err);

template <field_kind K>
typename primitive_traits<K>::type message_get_value(const message_descriptor &type, u_int32 index, vela_handle *handle,
                                                     u_int32 mem_class, void *message, u_int32 *err) {
    using P = primitive_traits<K>;
    void *payload = message_value_payload(type, index, index == 0 ? trace::message::get_1 : trace::message::get_2,
                                          handle, message, err);
    return payload == nullptr ? 0
                              : P::get_value(handle, mem_class, static_cast<const typename P::type *>(payload), err);
}

template <field_kind K>
void message_set_value(const message_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                       void *message, typename primitive_traits<K>::type value, u_int32 *err) {
    using P = primitive_traits<K>;
    void *payload = message_value_payload(type, index, index == 0 ? trace::message::set_1 : trace::message::set_2,
                                          handle, message, err);
    if (payload != nullptr) {
        P::set_value(handle, mem_class, static_cast<typename P::type *>(payload), value, err);
    }
}

u_int32 message_len(const message_descriptor &type, vela_handle *handle, u_int32 mem_class, const void *message);
u_int32 message_is_valid(const message_descriptor &type, vela_handle *handle);

u_int32 message_marshal(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                        u_int32 mem_class, u_int8 *buffer, void *message, u_int32 room, u_int32 *err);
u_int32 message_unmarshal_only(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                               u_int32 mem_class, void **out, const u_int8 *buffer, u_int32 length, u_int32 *err);

/** The operations of a payload that is a primitive, as if it were a structure. */
template <class P>
inline constexpr unrolled_functions primitive_functions = [] {
    using T = typename P::type;
    constexpr auto marshal = [](vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *value, int32 room,
                                u_int32 *err) {
        return P::marshal(handle, mem_class, buffer, static_cast<const T *>(value),
                          static_cast<u_int32>(room < 0 ? 0 : room), err);
    };
    return unrolled_functions{
        [](vela_handle *handle, u_int32 mem_class) -> void * { return P::create(handle, mem_class); },
        [](vela_handle *handle, u_int32 mem_class, void *value) {
            P::destroy(handle, mem_class, static_cast<T *>(value));
        },
        marshal, marshal,
        [](vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, void *value, int32 length, u_int32 mode,
           u_int32 *err) {
            return P::unmarshal(handle, mem_class, buffer, static_cast<T *>(value),
                                static_cast<u_int32>(length < 0 ? 0 : length), mode, err);
        }};
}();

template <const message_descriptor &M, u_int32 I>
constexpr const unrolled_functions *payload_functions() {
    if constexpr (I >= M.payload_count) {
        return nullptr;
    } else if constexpr (M.payloads[I].kind == field_kind::structure) {
        return &unrolled_of<*M.payloads[I].structure>;
    } else {
        return &primitive_functions<primitive_traits<M.payloads[I].kind>>;
    }
}

template <const message_descriptor &M>
inline constexpr payload_wire payload_wire_of = {{payload_functions<M, 0>(), payload_functions<M, 1>()}};

// ---- receiving ---------------------------------------------------------------------------------------------------------

/** A receiver of messages whose own type is not known here; `call` puts the type back. */
struct receiver {
    void (*function)();
    void (*call)(void (*function)(), vela_handle *, u_int32, void *, void *, u_int32 *);
};

/** A receiver of messages of type Message. */
template <class Message>
receiver receiver_of(void (*function)(vela_handle *, u_int32, void *, Message *, u_int32 *)) {
    return {reinterpret_cast<void (*)()>(function),
            [](void (*untyped)(), vela_handle *handle, u_int32 mem_class, void *context, void *message, u_int32 *err) {
                using typed = void (*)(vela_handle *, u_int32, void *, Message *, u_int32 *);
                reinterpret_cast<typed>(untyped)(handle, mem_class, context, static_cast<Message *>(message), err);
            }};
}

/** What a received message goes through besides decoding. */
struct delivery {
    receiver callback;  // the caller's, function null when there is none
    receiver handler;   // the application's, function null when it defines none
    void *context;
};

/**
 * Decodes a message, records it when recording is on, and delivers it to callback, handler or nobody (error 38).
 * `out` is nullptr or the address of the caller's pointer to the message, of whatever type; it is set before delivery.
 * Nothing is destroyed here, whatever fails.
 */
u_int32 message_receive(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                        u_int32 mem_class, const delivery &to, void *out, const u_int8 *buffer, u_int32 length,
                        u_int32 *err);

/** Decodes and records a message for the caller, who owns it. nullptr with an error: then nothing is left of it. */
void *message_take(const message_descriptor &type, const payload_wire &wire, vela_handle *handle, u_int32 mem_class,
                   const u_int8 *buffer, u_int32 length, u_int32 *consumed, u_int32 *err);

/** Decodes and records a message and gives it to its handler, who owns it. Without one nothing is left of it either. */
u_int32 message_dispatch(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                         u_int32 mem_class, const receiver &handler, void *context, void **out, const u_int8 *buffer,
                         u_int32 length, u_int32 *err);

}  // namespace ptp_cfg
