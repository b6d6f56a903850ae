// What must hold for the unrolled path: what an instance has to be to be written, and an encoding to be read, by a constant
// layout.
#pragma once

#include "operations/core/unroll.h"
#include "operations/core/words.h"
#include "operations/wire/unrolled/simd_map.h"

namespace ptp_cfg {

/**
 * The states of an instance's headers, gathered: each is read as one word of variant, allocated variant and flags, of
 * which only some bits count. Structures must not carry extra data; enumerations cannot.
 */
struct gathered_states {
    u_int32 structures = 0;
    u_int32 enumerations = 0;
    u_int8 bytes = 0;  // variants that were read by themselves,
    u_int8 flags = 0;  // and the flags beside them

    PTP_CFG_INLINE bool differ() const {
        constexpr u_int8 variant[4] = {0xFF};
        constexpr u_int8 variant_and_data[4] = {0xFF, 0, VELA_FLAG_EXTRA_DATA};
        return ((structures & constant_word<u_int32>(variant_and_data)) |
                (enumerations & constant_word<u_int32>(variant)) | bytes | (flags & VELA_FLAG_EXTRA_DATA)) != 0;
    }
};

/** A header's state, which is 0 where it counts when the header is at variant V. */
template <int8 V>
PTP_CFG_INLINE u_int32 state_beside(const u_int8 *header) {
    constexpr u_int8 variant[4] = {static_cast<u_int8>(V)};
    return word_at<u_int32>(header + variant_offset) ^ constant_word<u_int32>(variant);
}

/** The same of a structure. A field may share the word, and would make it wait if it was just set: then by bytes. */
template <const structure_descriptor &D>
PTP_CFG_INLINE void gather_state(const u_int8 *header, gathered_states &states) {
    if constexpr (D.fields[0].offset >= variant_offset + sizeof(u_int32)) {
        states.structures |= state_beside<D.latest>(header);
    } else {
        states.bytes |= static_cast<u_int8>(header[variant_offset] ^ D.latest);
        states.flags |= as<vela_instance_header>(header)->flags;
    }
}

/** Keeps the compiler from gathering the states of many elements into vectors, which is slower than to test them. */
PTP_CFG_INLINE void one_by_one(u_int32 &states) { asm("" : "+r"(states)); }

template <const structure_descriptor &D>
PTP_CFG_INLINE void gather_states(const u_int8 *instance, gathered_states &states) {
    gather_state<D>(instance, states);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        const u_int8 *value = instance + field.offset;
        if constexpr (field.kind == field_kind::enumeration) {
            states.enumerations |= state_beside<field.enumeration->latest>(value);
        } else if constexpr (field.kind == field_kind::structure) {
            for (u_int32 element = 0; element < field.capacity; ++element, value += field.stride) {
                gather_states<*field.structure>(value, states);
                if constexpr (field.is_array) {
                    one_by_one(states.structures);
                    one_by_one(states.enumerations);
                }
            }
        }
    });
}

/** Whether an instance needs the reference path to be written. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool instance_differs(const u_int8 *instance) {
    gathered_states states;
    gather_states<D>(instance, states);
    return states.differ();
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
    constexpr u_int32 width = latest_width(D);
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

/** Whether bytes are an untracked encoding at the latest variants throughout, its truth values 0 or 1. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool is_latest_encoding(const u_int8 *bytes) {
    difference differs;
    compare_known_bits<D>(bytes, differs);
    compare_elements<D>(bytes, differs);
    return !differs.found();
}

}  // namespace ptp_cfg
