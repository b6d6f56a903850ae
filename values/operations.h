// Operations on values in memory and on the wire, once for all kinds; values/value.h says what a kind is.
#pragma once

#include "values/value.h"
#include "velalib/inline/checks.h"

namespace values {

using vela_inline::fail;
using vela_inline::notify;

template <typename Value, u_int32 width>
VELA_INLINE u_int32 marshal(vela_handle *handle, u_int8 *buffer, const typename Value::type *value, u_int32 room,
                            u_int32 *err) {
    if (!vela_inline::fits(handle, width, room, err)) {
        return 0;
    }
    if (value == nullptr) {
        return fail(handle, err, VELA_EINVAL);
    }
    Value::store(buffer, value);
    return width;
}

template <typename Value, u_int32 width>
VELA_INLINE u_int32 unmarshal(vela_handle *handle, const u_int8 *buffer, typename Value::type *value, u_int32 room,
                              u_int32 *err) {
    if (!vela_inline::fits(handle, width, room, err)) {
        return 0;
    }
    if (value == nullptr) {
        return fail(handle, err, VELA_EINVAL);
    }
    Value::load(buffer, value);
    return width;
}

template <u_int32 width>
VELA_INLINE u_int32 len(const void *value) {
    return value == nullptr ? 0 : width;
}

/** A null value comes before every other one. */
template <typename Value>
VELA_INLINE int32 compare(const typename Value::type *a, const typename Value::type *b) {
    if (a == nullptr || b == nullptr) [[unlikely]] {
        return order(a != nullptr, b != nullptr);
    }
    return Value::compare(a, b);
}

/** A null value leaves the seed as it is. */
template <typename Value>
VELA_INLINE u_int32 hash(const typename Value::type *value, u_int32 seed) {
    return value == nullptr ? seed : Value::hash(value, seed);
}

template <typename T>
VELA_INLINE T *get(vela_handle *handle, T *value, u_int32 *err) {
    if (*err != 0) {
        return nullptr;
    }
    if (value == nullptr) [[unlikely]] {
        fail(handle, err, VELA_ENOENT);
    }
    return value;
}

template <typename T>
VELA_INLINE void set(vela_handle *handle, u_int32 mem_class, T *destination, const T *source, u_int32 *err) {
    if (*err != 0) {
        return;
    }
    if (destination == nullptr || source == nullptr) [[unlikely]] {
        fail(handle, err, VELA_EINVAL);
        return;
    }
    notify(handle, mem_class, destination, sizeof(T));
    memmove(destination, source, sizeof(T));
}

template <typename T>
VELA_INLINE T get_value(vela_handle *handle, const T *value, u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    if (value == nullptr) [[unlikely]] {
        return static_cast<T>(fail(handle, err, VELA_ENOENT));
    }
    return *value;
}

template <typename T>
VELA_INLINE void set_value(vela_handle *handle, u_int32 mem_class, T *destination, T value, u_int32 *err) {
    if (*err != 0) {
        return;
    }
    if (destination == nullptr) [[unlikely]] {
        fail(handle, err, VELA_EINVAL);
        return;
    }
    notify(handle, mem_class, destination, sizeof(T));
    *destination = value;
}

/** Allocates a zero value; NULL without memory. */
template <typename T>
VELA_INLINE T *create(vela_handle *handle, u_int32 mem_class) {
    void *memory = handle->alloc(handle->cookie, mem_class, sizeof(T));
    if (memory != nullptr) {
        memset(memory, 0, sizeof(T));
    }
    return static_cast<T *>(memory);
}

/** Frees a value that create() gave, unless `free` is 0. */
template <typename Value>
VELA_INLINE void destroy(vela_handle *handle, u_int32 mem_class, typename Value::type *value, u_int32 free) {
    if (value == nullptr) {
        return;
    }
    if constexpr (requires { Value::forget(handle, value); }) {
        Value::forget(handle, value);
    }
    if (free != 0) {
        handle->free(handle->cookie, mem_class, value);
    }
}

/** Makes a value zero, announced. */
template <typename T>
VELA_INLINE void initialize(vela_handle *handle, u_int32 mem_class, T *value, u_int32 *err) {
    const T zero = {};
    set(handle, mem_class, value, &zero, err);
}

}  // namespace values
