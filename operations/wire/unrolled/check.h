// What must hold for the unrolled path: what an instance has to be to be encoded, and an encoding to be decoded, by a
// constant layout.
#pragma once

#include "operations/wire/layout.h"

namespace ptp_cfg {

/** The four bytes from a header's variant on: variant, allocated variant, flags, and one that does not count. */
template <u_int8 variant, u_int8 allocated, u_int8 flags>
inline constexpr u_int32 state_word = [] {
    constexpr u_int8 bytes[4] = {variant, allocated, flags};
    return constant_word<u_int32>(bytes);
}();

/**
 * What instances have in their headers other than the latest variant, gathered. Of structures, extra data counts too;
 * enumerations cannot carry any.
 */
struct gathered_states {
    u_int32 structures = 0;
    u_int32 enumerations = 0;
    u_int8 variants = 0;  // of structures that were read by bytes,
    u_int8 flags = 0;     // and the flags beside them

    PTP_CFG_INLINE bool found() const {
        return ((structures & state_word<0xFF, 0, VELA_FLAG_EXTRA_DATA>) | (enumerations & state_word<0xFF, 0, 0>) |
                variants | (flags & VELA_FLAG_EXTRA_DATA)) != 0;
    }
};

/** Keeps the compiler from gathering the states of many elements into vectors, which is slower than to test them. */
PTP_CFG_INLINE void keep_scalar(u_int32 &states) { asm("" : "+r"(states)); }

template <const structure_descriptor &D>
PTP_CFG_INLINE void gather_states(const u_int8 *instance, gathered_states &states) {
    for_each_header<D>([&]<u_int32 H>() __attribute__((always_inline)) {
        constexpr const embedded_header &header = embedded_in<D>.header[H];
        constexpr u_int8 latest = static_cast<u_int8>(header.image.variant);
        const u_int8 *bytes = instance + header.offset;
        if constexpr (!header.is_padded) {
            // Not as a word: a field in it that was just set would make the load wait.
            states.variants |= static_cast<u_int8>(bytes[variant_offset] ^ latest);
            states.flags |= as<vela_instance_header>(bytes)->flags;
        } else {
            const u_int32 state = word_at<u_int32>(bytes + variant_offset) ^ state_word<latest, 0, 0>;
            (header.is_structure ? states.structures : states.enumerations) |= state;
        }
    });
    for_each_array<D>([&]<const structure_descriptor & E, u_int32 A>() __attribute__((always_inline)) {
        constexpr const embedded_array &array = embedded_in<D>.array[A];
        const u_int8 *element = instance + array.offset;
        for (u_int32 i = 0; i < array.field->capacity; ++i, element += array.field->stride) {
            gather_states<E>(element, states);
            keep_scalar(states.structures);
            keep_scalar(states.enumerations);
        }
    });
}

/** Whether an instance and all that it embeds is at the latest variant and carries nothing beside its values. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool is_at_latest_variant(const u_int8 *instance) {
    gathered_states states;
    gather_states<D>(instance, states);
    return !states.found();
}

/** Whether the variants of an instance, arrays of structures left out, are what a decoding leaves there. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool has_latest_variants(const u_int8 *instance) {
    // Few are to be at a later variant than the first: a branch each is shorter for them than to gather them.
    u_int8 first = 0;
    for_each_header<D>([&]<u_int32 H>() __attribute__((always_inline)) {
        constexpr const embedded_header &header = embedded_in<D>.header[H];
        if constexpr (header.image.variant == 0) {
            first |= instance[header.offset + variant_offset];
        }
    });
    bool latest = first == 0;
    for_each_header<D>([&]<u_int32 H>() __attribute__((always_inline)) {
        constexpr const embedded_header &header = embedded_in<D>.header[H];
        if constexpr (header.image.variant != 0) {
            latest = latest && instance[header.offset + variant_offset] == static_cast<u_int8>(header.image.variant);
        }
    });
    return latest;
}

/** Bits that are not what they should be. */
struct difference {
    word_pair pairs = {0, 0};
    u_int64 words = 0;

    template <class Word>
    PTP_CFG_INLINE void add(Word word, Word mask, Word value) {
        if constexpr (sizeof(Word) == sizeof(word_pair)) {
            pairs |= (word & mask) ^ value;
        } else {
            words |= (u_int64{word} & mask) ^ value;
        }
    }
    PTP_CFG_INLINE bool found() const { return (pairs[0] | pairs[1] | words) != 0; }
};

/** The widest word of at most `wanted` bytes, or the next wider, that an encoding of `width` bytes holds. */
template <u_int32 wanted, u_int32 width>
constexpr auto fitting_word() {
    if constexpr (wanted > 8 && width >= 16) {
        return word_pair{};
    } else if constexpr (wanted > 4 && width >= 8) {
        return u_int64{};
    } else if constexpr (wanted > 1) {
        return u_int32{};
    } else {
        return u_int8{};
    }
}

/** Compares the known bits of an encoding from byte `start` on, a word after the other; words may overlap. */
template <const structure_descriptor &D, u_int32 start = 0>
PTP_CFG_INLINE void compare_known_bits(const u_int8 *bytes, difference &found) {
    constexpr u_int32 width = latest_width(D);
    constexpr const known_bits<width> &known = known_bits_of<D>;
    constexpr u_int32 next = known.next(start);
    if constexpr (next < width) {
        using word = decltype(fitting_word<known.span(next), width>());
        constexpr u_int32 first = next + sizeof(word) <= width ? next : width - sizeof(word);
        constexpr word mask = constant_word<word>(&known.mask[first]);
        constexpr word value = constant_word<word>(&known.value[first]);
        found.add(word_at<word>(bytes + first), mask, value);
        compare_known_bits<D, first + sizeof(word)>(bytes, found);
    }
}

template <const structure_descriptor &D>
PTP_CFG_INLINE void compare_encoding(const u_int8 *bytes, difference &found) {
    compare_known_bits<D>(bytes, found);
    for_each_array<D>([&]<const structure_descriptor & E, u_int32 A>() __attribute__((always_inline)) {
        constexpr const embedded_array &array = embedded_in<D>.array[A];
        const u_int8 *element = bytes + array.wire;
#pragma GCC unroll 4
        for (u_int32 i = 0; i < array.field->capacity; ++i, element += latest_width(E)) {
            compare_encoding<E>(element, found);
        }
    });
}

/** Whether bytes are an untracked encoding at the latest variants throughout, its truth values 0 or 1. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool is_latest_encoding(const u_int8 *bytes) {
    difference found;
    compare_encoding<D>(bytes, found);
    return !found.found();
}

}  // namespace ptp_cfg
