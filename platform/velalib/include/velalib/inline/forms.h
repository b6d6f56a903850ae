/**
 * What sets the primitives apart: one form each, with its width on the wire, its bytes, its order and its hash.
 * The operations over a form are the same for all of them.
 */
#ifndef VELALIB_INLINE_FORMS_H
#define VELALIB_INLINE_FORMS_H

#include "velalib/inline/base.h"
#include "velalib/inline/checks.h"
#include "velalib/inline/hash.h"
#include "velalib/inline/wire.h"

namespace vela_inline {

template <typename T>
VELA_INLINE int32 order(T a, T b) {
    return a < b ? -1 : (a > b ? 1 : 0);
}

/** Orders two runs of bytes as numbers in network order. */
template <typename T>
VELA_INLINE int32 order_bytes(const u_int8 *a, const u_int8 *b) {
    return order(take<T>(a), take<T>(b));
}

template <typename T>
struct integer_form {
    using type = T;
    static constexpr u_int32 width = sizeof(T);

    static VELA_INLINE void store(u_int8 *out, const T *value) { put<T>(out, *value); }
    static VELA_INLINE void load(const u_int8 *in, T *value) { *value = take<T>(in); }
    static VELA_INLINE int32 compare(const T *a, const T *b) { return order(*a, *b); }
    static VELA_INLINE u_int32 hash(const T *value, u_int32 seed) {
        return vela_inline::SuperFastHash(value, sizeof(T), seed);
    }
};

/** Any non-zero value is true; the number itself is kept in memory only. */
struct boolean_form {
    using type = vela_boolean;
    static constexpr u_int32 width = 1;

    static VELA_INLINE void store(u_int8 *out, const vela_boolean *value) { out[0] = *value != 0; }
    static VELA_INLINE void load(const u_int8 *in, vela_boolean *value) { *value = in[0] != 0; }
    static VELA_INLINE int32 compare(const vela_boolean *a, const vela_boolean *b) { return order(*a != 0, *b != 0); }
    static VELA_INLINE u_int32 hash(const vela_boolean *value, u_int32 seed) {
        const vela_boolean truth = *value != 0;
        return vela_inline::SuperFastHash(&truth, sizeof truth, seed);
    }
};

struct en_address_form {
    using type = en_address;
    static constexpr u_int32 width = 6;

    static VELA_INLINE void store(u_int8 *out, const en_address *value) { memcpy(out, value->octet, width); }
    static VELA_INLINE void load(const u_int8 *in, en_address *value) { memcpy(value->octet, in, width); }
    static VELA_INLINE int32 compare(const en_address *a, const en_address *b) {
        const int32 first = order_bytes<u_int32>(a->octet, b->octet);
        return first != 0 ? first : order_bytes<u_int16>(a->octet + 4, b->octet + 4);
    }
    static VELA_INLINE u_int32 hash(const en_address *value, u_int32 seed) {
        return vela_inline::SuperFastHash(value->octet, width, seed);
    }
};

/** Of the family only the low 8 bits count, as on the wire, so that a decoded address equals the original. */
struct ip_address_form {
    using type = ip_address;
    static constexpr u_int32 width = 21;

    static VELA_INLINE void store(u_int8 *out, const ip_address *value) {
        out[0] = static_cast<u_int8>(value->family);
        memcpy(out + 1, value->bytes, sizeof value->bytes);
        put<u_int32>(out + 17, value->scope_id);
    }
    static VELA_INLINE void load(const u_int8 *in, ip_address *value) {
        value->family = in[0];
        memcpy(value->bytes, in + 1, sizeof value->bytes);
        value->scope_id = take<u_int32>(in + 17);
        memset(value->reserved, 0, sizeof value->reserved);
    }
    static VELA_INLINE int32 compare(const ip_address *a, const ip_address *b) {
        int32 result = order(a->family & 0xFFu, b->family & 0xFFu);
        if (result == 0) result = order(a->scope_id, b->scope_id);
        if (result == 0) result = order_bytes<u_int64>(a->bytes, b->bytes);
        if (result == 0) result = order_bytes<u_int64>(a->bytes + 8, b->bytes + 8);
        return result;
    }
    static VELA_INLINE u_int32 hash(const ip_address *value, u_int32 seed) {
        const u_int32 numbers[2] = {value->family & 0xFFu, value->scope_id};
        u_int8 key[sizeof numbers + sizeof value->bytes];
        memcpy(key, numbers, sizeof numbers);
        memcpy(key + sizeof numbers, value->bytes, sizeof value->bytes);
        return vela_inline::SuperFastHash(key, sizeof key, seed);
    }
};

struct vrf_info_form {
    using type = vrf_info;
    static constexpr u_int32 width = 20;

    static VELA_INLINE void store(u_int8 *out, const vrf_info *value) {
        put<u_int64>(out, value->id);
        put<u_int32>(out + 8, value->table_id);
        put<u_int32>(out + 12, value->afi);
        put<u_int32>(out + 16, value->safi);
    }
    static VELA_INLINE void load(const u_int8 *in, vrf_info *value) {
        value->id = take<u_int64>(in);
        value->table_id = take<u_int32>(in + 8);
        value->afi = take<u_int32>(in + 12);
        value->safi = take<u_int32>(in + 16);
        value->reserved = 0;
    }
    static VELA_INLINE int32 compare(const vrf_info *a, const vrf_info *b) {
        int32 result = order(a->id, b->id);
        if (result == 0) result = order(a->table_id, b->table_id);
        if (result == 0) result = order(a->afi, b->afi);
        if (result == 0) result = order(a->safi, b->safi);
        return result;
    }
    static VELA_INLINE u_int32 hash(const vrf_info *value, u_int32 seed) {
        return vela_inline::SuperFastHash(value, offsetof(vrf_info, reserved), seed);
    }
};

/* ---- operations over a form ----------------------------------------------------------------------------- */

template <typename Form>
VELA_INLINE u_int32 form_marshal(vela_handle *handle, u_int8 *buffer, const typename Form::type *value, u_int32 room,
                                 u_int32 *err) {
    if (!fits(handle, Form::width, room, err)) return 0;
    if (value == nullptr) return fail(handle, err, VELA_EINVAL);
    Form::store(buffer, value);
    return Form::width;
}

template <typename Form>
VELA_INLINE u_int32 form_unmarshal(vela_handle *handle, const u_int8 *buffer, typename Form::type *value, u_int32 room,
                                   u_int32 *err) {
    if (!fits(handle, Form::width, room, err)) return 0;
    if (value == nullptr) return fail(handle, err, VELA_EINVAL);
    Form::load(buffer, value);
    return Form::width;
}

template <typename Form>
VELA_INLINE u_int32 form_len(const typename Form::type *value) {
    return value == nullptr ? 0 : Form::width;
}

/** A null value comes before every other one. */
template <typename Form>
VELA_INLINE int32 form_compare(const typename Form::type *a, const typename Form::type *b) {
    if (a == nullptr || b == nullptr) [[unlikely]]
        return order(a != nullptr, b != nullptr);
    return Form::compare(a, b);
}

/** A null value leaves the seed as it is. */
template <typename Form>
VELA_INLINE u_int32 form_hash(const typename Form::type *value, u_int32 seed) {
    return value == nullptr ? seed : Form::hash(value, seed);
}

template <typename P>
VELA_INLINE P *value_get(vela_handle *handle, P *value, u_int32 *err) {
    if (*err != 0) return nullptr;
    if (value == nullptr) [[unlikely]]
        fail(handle, err, VELA_ENOENT);
    return value;
}

template <typename P>
VELA_INLINE void value_set(vela_handle *handle, u_int32 mem_class, P *destination, const P *source, u_int32 *err) {
    if (*err != 0) return;
    if (destination == nullptr || source == nullptr) [[unlikely]] {
        fail(handle, err, VELA_EINVAL);
        return;
    }
    announce(handle, mem_class, destination, sizeof(P));
    memmove(destination, source, sizeof(P));
}

template <typename P>
VELA_INLINE P number_get(vela_handle *handle, const P *value, u_int32 *err) {
    if (*err != 0) return 0;
    if (value == nullptr) [[unlikely]]
        return static_cast<P>(fail(handle, err, VELA_ENOENT));
    return *value;
}

template <typename P>
VELA_INLINE void number_set(vela_handle *handle, u_int32 mem_class, P *destination, P value, u_int32 *err) {
    if (*err != 0) return;
    if (destination == nullptr) [[unlikely]] {
        fail(handle, err, VELA_EINVAL);
        return;
    }
    announce(handle, mem_class, destination, sizeof(P));
    *destination = value;
}

/** Allocates a zero value; NULL without memory. */
template <typename P>
VELA_INLINE P *primitive_create(vela_handle *handle, u_int32 mem_class) {
    void *memory = handle->alloc(handle->cookie, mem_class, sizeof(P));
    if (memory != nullptr) memset(memory, 0, sizeof(P));
    return static_cast<P *>(memory);
}

/** Frees a value that primitive_create() gave; with `free` 0, or for NULL, nothing. */
template <typename P>
VELA_INLINE void primitive_destroy(vela_handle *handle, u_int32 mem_class, P *value, u_int32 free) {
    if (value != nullptr && free != 0) handle->free(handle->cookie, mem_class, value);
}

/** An address also forgets the references that it holds, whether it is freed or not. */
template <>
VELA_INLINE void primitive_destroy<en_address>(vela_handle *handle, u_int32 mem_class, en_address *value,
                                               u_int32 free) {
    if (value == nullptr) return;
    if (has_address_references(handle)) [[unlikely]]
        vela_address_references_drop(handle, value);
    if (free != 0) handle->free(handle->cookie, mem_class, value);
}

/** Makes a value zero, announced. */
template <typename P>
VELA_INLINE void primitive_initialize(vela_handle *handle, u_int32 mem_class, P *value, u_int32 *err) {
    const P zero = {};
    value_set(handle, mem_class, value, &zero, err);
}

}  // namespace vela_inline

#endif
