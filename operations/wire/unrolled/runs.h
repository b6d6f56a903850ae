// Neighbouring values that are read or written together: octets and numbers that stand side by side in the encoding and
// in memory, and truth values, which are one byte there and four here.
#pragma once

#include <bit>

#include "operations/wire/layout.h"

namespace ptp_cfg {

/** Whether field `index` goes on where the one before it ends, so that both are read together. */
constexpr bool continues_run(const structure_descriptor &type, u_int32 index) {
    if (index == 0) {
        return false;
    }
    const field_descriptor &before = type.fields[index - 1];
    const field_descriptor &field = type.fields[index];
    const bool alike =
        (is_octets(before.kind) && is_octets(field.kind)) || (is_boolean(before.kind) && is_boolean(field.kind));
    return alike && before.offset + before.capacity * before.stride == field.offset;
}

/** Elements of all fields of the run that begins at field `index`. */
constexpr u_int32 run_length(const structure_descriptor &type, u_int32 index) {
    u_int32 length = type.fields[index].capacity;
    for (u_int32 i = index + 1; i < type.field_count && continues_run(type, i); ++i) {
        length += type.fields[i].capacity;
    }
    return length;
}

/** Whether field `index` is a number of eight bytes that stands behind another one. */
constexpr bool continues_u64_run(const structure_descriptor &type, u_int32 index) {
    const field_descriptor &field = type.fields[index];
    return index > 0 && is_64_bit(field.kind) && is_64_bit(type.fields[index - 1].kind) &&
           type.fields[index - 1].offset + type.fields[index - 1].capacity * type.fields[index - 1].stride ==
               field.offset;
}

/** Numbers of eight bytes side by side from field `index` on. */
constexpr u_int32 u64_run_length(const structure_descriptor &type, u_int32 index) {
    u_int32 length = is_64_bit(type.fields[index].kind) ? type.fields[index].capacity : 0;
    for (u_int32 i = index + 1; length > 0 && i < type.field_count && continues_u64_run(type, i); ++i) {
        length += type.fields[i].capacity;
    }
    return length;
}

/** Whether field `index` begins so many numbers of eight bytes that a call for all of them is worth it. */
constexpr bool starts_u64_run(const structure_descriptor &type, u_int32 index) {
    return !continues_u64_run(type, index) && u64_run_length(type, index) >= 16;
}

/** Whether field `index` was written by the field that starts_u64_run(). */
constexpr bool is_within_u64_run(const structure_descriptor &type, u_int32 index) {
    while (continues_u64_run(type, index)) {
        --index;
        if (starts_u64_run(type, index)) {
            return true;
        }
    }
    return false;
}

/** Copies numbers of eight bytes, at least four of them, turning their bytes round. */
void copy_swapped(u_int8 *to, const u_int8 *from, u_int32 count);

typedef u_int8 byte_vector __attribute__((vector_size(16)));
typedef u_int32 word_vector __attribute__((vector_size(16)));

/** Reads `count` truth values, each of them 0 or 1, with as few stores as they fit in. */
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

}  // namespace ptp_cfg
