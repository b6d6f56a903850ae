// What must hold for the fast path: what an instance has to be to be written, and an encoding to be read, by a constant
// layout.
#pragma once

#include <bit>

#include "families/unroll.h"
#include "families/wire_chunks.h"

namespace ptp_cfg {

/** Non-zero when an instance is not at variant V, or carries a flag in `flags`. */
template <int8 V>
PTP_CFG_INLINE u_int32 header_differs(const u_int8 *instance, u_int8 flags) {
    const vela_instance_header *header = as<vela_instance_header>(instance);
    return static_cast<u_int32>(static_cast<u_int8>(header->variant ^ V)) | (header->flags & flags);
}

/** Keeps the compiler from gathering single bytes of many elements into vectors, which is slower than to test them. */
PTP_CFG_INLINE void one_by_one(u_int32 &differs) { asm("" : "+r"(differs)); }

/** Non-zero when an instance needs the exact path to be written. */
template <const structure_descriptor &D>
PTP_CFG_INLINE u_int32 instance_differs(const u_int8 *instance) {
    u_int32 differs = header_differs<D.newest>(instance, VELA_FLAG_EXTRA_DATA);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        const u_int8 *value = instance + field.offset;
        if constexpr (field.kind == field_kind::enumeration) {
            differs |= header_differs<field.enumeration->newest>(value, 0);
        } else if constexpr (field.kind == field_kind::structure) {
            for (u_int32 element = 0; element < field.capacity; ++element, value += field.stride) {
                differs |= instance_differs<*field.structure>(value);
                one_by_one(differs);
            }
        }
    });
    return differs;
}

typedef u_int64 word_pair __attribute__((vector_size(16)));

template <class Word>
PTP_CFG_INLINE Word word_at(const void *bytes) {
    Word word;
    memcpy(&word, bytes, sizeof word);
    return word;
}

/** The same in a constant. */
template <class Word>
constexpr Word constant_word(const u_int8 *bytes) {
    if constexpr (sizeof(Word) == sizeof(word_pair)) {
        return Word{constant_word<u_int64>(bytes), constant_word<u_int64>(bytes + 8)};
    } else {
        std::array<u_int8, sizeof(Word)> copy{};
        for (u_int32 i = 0; i < sizeof(Word); ++i) {
            copy[i] = bytes[i];
        }
        return std::bit_cast<Word>(copy);
    }
}

/** Bits that are not what they should be. */
struct difference {
    word_pair wide = {0, 0};
    u_int64 narrow = 0;

    template <class Word>
    PTP_CFG_INLINE void add(Word word, Word mask, Word value) {
        if constexpr (sizeof(Word) == sizeof(word_pair)) {
            wide |= (word & mask) ^ value;
        } else {
            narrow |= (u_int64{word} & mask) ^ value;
        }
    }
    PTP_CFG_INLINE bool found() const { return (wide[0] | wide[1] | narrow) != 0; }
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
PTP_CFG_INLINE void compare_known_bits(const u_int8 *bytes, difference &differs) {
    constexpr u_int32 width = newest_width(D);
    constexpr const known_bits<width> &known = known_bits_of<D>;
    constexpr u_int32 next = known.next(start);
    if constexpr (next < width) {
        using word = decltype(fitting_word<known.span(next), width>());
        constexpr u_int32 first = next + sizeof(word) <= width ? next : width - sizeof(word);
        constexpr word mask = constant_word<word>(&known.mask[first]);
        constexpr word value = constant_word<word>(&known.value[first]);
        differs.add(word_at<word>(bytes + first), mask, value);
        compare_known_bits<D, first + sizeof(word)>(bytes, differs);
    }
}

/** Compares the known bits of all that stand in arrays of structures. */
template <const structure_descriptor &D>
PTP_CFG_INLINE void compare_elements(const u_int8 *bytes, difference &differs) {
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (field.kind == field_kind::structure) {
            const u_int8 *element = bytes + wire_offset(D, I);
#pragma GCC unroll 4
            for (u_int32 i = 0; i < field.capacity; ++i, element += element_width(field)) {
                if constexpr (field.is_array) {
                    compare_known_bits<*field.structure>(element, differs);
                }
                compare_elements<*field.structure>(element, differs);
            }
        }
    });
}

/** Whether bytes are an untracked encoding at the newest variants throughout, its truth values 0 or 1. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool is_newest_encoding(const u_int8 *bytes) {
    difference differs;
    compare_known_bits<D>(bytes, differs);
    compare_elements<D>(bytes, differs);
    return !differs.found();
}

}  // namespace ptp_cfg
