// Values of one kind: of an array, or of fields that lie side by side both in memory and in the encoding. They are
// encoded, decoded and copied together.
#pragma once

#include <bit>

#include "operations/wire/layout.h"

namespace ptp_cfg {

/** Whether values of two kinds may be parts of one run. */
constexpr bool run_together(field_kind a, field_kind b) {
    return (is_octets(a) && is_octets(b)) || (is_boolean(a) && is_boolean(b)) || (is_64_bit(a) && is_64_bit(b));
}

/** Whether field `index` goes on where the one before it ends, so that both are moved together. */
constexpr bool continues_run(const structure_descriptor &type, u_int32 index) {
    if (index == 0) {
        return false;
    }
    const field_descriptor &before = type.fields[index - 1];
    return run_together(before.kind, type.fields[index].kind) &&
           before.offset + before.capacity * before.stride == type.fields[index].offset;
}

/** Elements of all fields of the run that begins at field `index`. */
constexpr u_int32 run_length(const structure_descriptor &type, u_int32 index) {
    u_int32 length = type.fields[index].capacity;
    for (u_int32 i = index + 1; i < type.field_count && continues_run(type, i); ++i) {
        length += type.fields[i].capacity;
    }
    return length;
}

/** So many numbers of eight bytes are worth a call. */
constexpr u_int32 long_run = 16;

/** Copies numbers of eight bytes, at least four of them, turning their bytes round. */
void copy_swapped(u_int8 *to, const u_int8 *from, u_int32 count);

typedef u_int8 byte_vector __attribute__((vector_size(16)));
typedef u_int32 word_vector __attribute__((vector_size(16)));

/** Decodes `count` truth values, each of them 0 or 1, with as few stores as they fit in. */
template <u_int32 count>
PTP_CFG_INLINE void load_truths(const u_int8 *in, u_int8 *values) {
    static_assert(sizeof(vela_boolean) == 4);
    if constexpr (count >= 4 && std::endian::native == std::endian::little) {
        u_int32 four;
        memcpy(&four, in, sizeof four);
        constexpr byte_vector zero = {};
        const byte_vector bytes = reinterpret_cast<byte_vector>(word_vector{four, 0, 0, 0});
        const byte_vector pairs =
            __builtin_shufflevector(bytes, zero, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
        const byte_vector widened =
            __builtin_shufflevector(pairs, zero, 0, 1, 16, 17, 2, 3, 18, 19, 4, 5, 20, 21, 6, 7, 22, 23);
        memcpy(values, &widened, sizeof widened);
        load_truths<count - 4>(in + 4, values + 4 * sizeof(vela_boolean));
    } else if constexpr (count > 0) {
        *as<vela_boolean>(values) = *in;
        load_truths<count - 1>(in + 1, values + sizeof(vela_boolean));
    }
}

template <field_kind K, u_int32 count>
PTP_CFG_INLINE void store_values(u_int8 *out, const u_int8 *values) {
    using P = primitive_traits<K>;
    using T = typename P::type;
    if constexpr (is_octets(K)) {
        memcpy(out, values, count);
    } else if constexpr (is_64_bit(K) && count >= long_run) {
        copy_swapped(out, values, count);
    } else {
#pragma GCC unroll 16
        for (u_int32 i = 0; i < count; ++i) {
            P::store(out + i * P::width, as<T>(values + i * sizeof(T)));
        }
    }
}

/** `checked`: truth values are known to be 0 or 1. */
template <field_kind K, u_int32 count, bool checked>
PTP_CFG_INLINE void load_values(const u_int8 *in, u_int8 *values) {
    using P = primitive_traits<K>;
    using T = typename P::type;
    if constexpr (is_octets(K)) {
        memcpy(values, in, count);
    } else if constexpr (is_64_bit(K) && count >= long_run) {
        copy_swapped(values, in, count);
    } else if constexpr (is_boolean(K) && checked) {
        load_truths<count>(in, values);
    } else {
#pragma GCC unroll 16
        for (u_int32 i = 0; i < count; ++i) {
            P::load(in + i * P::width, as<T>(values + i * sizeof(T)));
        }
    }
}

/** Leaves what the values' encoding would leave; the compiler sees that bytes need not be turned round twice. */
template <field_kind K, u_int32 count>
PTP_CFG_INLINE void copy_values(const u_int8 *from, u_int8 *to) {
    using P = primitive_traits<K>;
    using T = typename P::type;
    if constexpr (is_64_bit(K)) {
        copy_words<count * sizeof(T)>(to, from);
    } else if constexpr (sizeof(T) == P::width) {
        memcpy(to, from, count * sizeof(T));  // the encoding is the bytes, in whichever order
    } else {
#pragma GCC unroll 16
        for (u_int32 i = 0; i < count; ++i) {
            u_int8 encoded[P::width];
            P::store(encoded, as<T>(from + i * sizeof(T)));
            P::load(encoded, as<T>(to + i * sizeof(T)));
        }
    }
}

}  // namespace ptp_cfg
