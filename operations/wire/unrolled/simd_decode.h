// Decoding 32 bytes of memory at a time, on processors with AVX2: a shuffle brings the bytes of an encoding to their
// places, and an image of the instance supplies the type pointers and variants between them.
#pragma once

#include "operations/core/simd.h"
#include "operations/wire/unrolled/check.h"
#include "operations/wire/unrolled/runs.h"
#include "operations/wire/unrolled/simd_map.h"

#ifdef PTP_CFG_HAS_AVX2

namespace ptp_cfg {

static_assert(chunk_size == simd_size);

template <const structure_descriptor &D>
constexpr bool arrays_have_chunks();

/** Whether an instance, and all that stand in its arrays, can be decoded by chunks; `itself`: not as an element. */
template <const structure_descriptor &D, bool itself>
constexpr bool has_chunks() {
    return chunks_of<D, itself>.readable && arrays_have_chunks<D>();
}

template <const structure_descriptor &D>
constexpr bool arrays_have_chunks() {
    bool have = true;
    for_each_field<D>([&]<u_int32 I>() {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (field.kind == field_kind::structure && field.is_array) {
            have = have && has_chunks<*field.structure, false>();
        } else if constexpr (field.kind == field_kind::structure) {
            have = have && arrays_have_chunks<*field.structure>();
        }
    });
    return have;
}

/**
 * Whether an instance holds what is read faster by chunks: arrays of structures, where shuffles and images stay in
 * registers, or long runs of numbers. Others have a shuffle and an image for every chunk, and are no faster for it.
 */
constexpr bool is_repetitive(const structure_descriptor &type) {
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (starts_u64_run(type, i) ||
            (field.kind == field_kind::structure && (field.is_array || is_repetitive(*field.structure)))) {
            return true;
        }
    }
    return false;
}

template <const structure_descriptor &D>
constexpr bool reads_by_chunks() {
    if constexpr (has_text(D) || !is_repetitive(D)) {
        return false;
    } else {
        return has_chunks<D, true>();
    }
}

template <const structure_descriptor &D>
using fields_of = std::make_index_sequence<D.field_count>;

// ---- what must hold -------------------------------------------------------------------------------------------------

/** 32 bytes of a table as a constant that the compiler may keep in a register. */
template <size_t start, class Bytes>
PTP_CFG_AVX2 inline __m256i constant_chunk(const Bytes &bytes) {
    return _mm256_setr_epi64x(static_cast<long long>(constant_word<u_int64>(&bytes[start])),
                              static_cast<long long>(constant_word<u_int64>(&bytes[start + 8])),
                              static_cast<long long>(constant_word<u_int64>(&bytes[start + 16])),
                              static_cast<long long>(constant_word<u_int64>(&bytes[start + 24])));
}

/** Adds what an encoding differs in from what is known of it, from byte `start` on. */
template <const structure_descriptor &D, u_int32 start = 0>
PTP_CFG_AVX2 inline void compare_known_chunks(const u_int8 *bytes, __m256i &differs) {
    constexpr u_int32 width = latest_width(D);
    constexpr const known_bits<width> &known = known_bits_of<D>;
    constexpr u_int32 next = known.next(start);
    if constexpr (next < width) {
        constexpr u_int32 first = next + chunk_size <= width ? next : width - chunk_size;
        const __m256i mask = constant_chunk<first>(known.mask);
        const __m256i value = constant_chunk<first>(known.value);
        const __m256i differing = _mm256_xor_si256(_mm256_and_si256(load_simd(bytes + first), mask), value);
        differs = _mm256_or_si256(differs, differing);
        compare_known_chunks<D, first + chunk_size>(bytes, differs);
    }
}

/** What an encoding and an instance differ in from what load_simd_instance() can read. */
struct simd_difference {
    __m256i known;  // bits of the encoding
    // Most types have one variant: the states of their headers are compared by what any and what all of them have.
    u_int32 any = 0;
    u_int32 all = ~u_int32{0};
    u_int32 others = 0;

    PTP_CFG_AVX2 bool found() const {
        const u_int32 states = (any & ~usual_state) | (~all & usual_state) | others;
        return _mm256_testz_si256(known, known) == 0 || (states & header_state_mask) != 0;
    }
};

template <const structure_descriptor &D, bool itself, u_int32 H>
PTP_CFG_AVX2 inline void compare_state(const u_int8 *instance, simd_difference &differs) {
    constexpr u_int32 expected = nested_state<u_int32>(headers_of<D>.image[H].variant);
    if constexpr (H != 0 || !itself) {
        const u_int32 state = word_at<u_int32>(instance + headers_of<D>.offset[H] + variant_offset);
        if constexpr (expected == usual_state) {
            differs.any |= state;
            differs.all &= state;
        } else {
            differs.others |= state ^ expected;
        }
    }
}

template <const structure_descriptor &D, bool itself, size_t... H>
PTP_CFG_AVX2 inline void compare_states(const u_int8 *instance, simd_difference &differs, std::index_sequence<H...>) {
    (compare_state<D, itself, H>(instance, differs), ...);
}

/** Adds what an encoding and the instance it is read to differ in; `itself`: not nested, so that its state is free. */
template <const structure_descriptor &D, bool itself>
PTP_CFG_AVX2 inline void compare_simd(const u_int8 *bytes, const u_int8 *instance, simd_difference &differs);

template <const structure_descriptor &D, size_t... I>
PTP_CFG_AVX2 inline void compare_arrays(const u_int8 *bytes, const u_int8 *instance, simd_difference &differs,
                                        std::index_sequence<I...>);

template <const structure_descriptor &D, u_int32 I>
PTP_CFG_AVX2 inline void compare_array(const u_int8 *bytes, const u_int8 *instance, simd_difference &differs) {
    constexpr const field_descriptor &field = D.fields[I];
    if constexpr (field.kind == field_kind::structure) {
        const u_int8 *element = bytes + wire_offset(D, I);
        const u_int8 *value = instance + field.offset;
        if constexpr (field.is_array) {
#pragma GCC unroll 2
            for (u_int32 i = 0; i < field.capacity; ++i, element += element_width(field), value += field.stride) {
                compare_simd<*field.structure, false>(element, value, differs);
            }
        } else {
            compare_arrays<*field.structure>(element, value, differs, fields_of<*field.structure>{});
        }
    }
}

template <const structure_descriptor &D, size_t... I>
PTP_CFG_AVX2 inline void compare_arrays(const u_int8 *bytes, const u_int8 *instance, simd_difference &differs,
                                        std::index_sequence<I...>) {
    (compare_array<D, I>(bytes, instance, differs), ...);
}

template <const structure_descriptor &D, bool itself>
PTP_CFG_AVX2 inline void compare_simd(const u_int8 *bytes, const u_int8 *instance, simd_difference &differs) {
    compare_known_chunks<D>(bytes, differs.known);
    compare_states<D, itself>(instance, differs, std::make_index_sequence<header_count(D)>{});
    compare_arrays<D>(bytes, instance, differs, fields_of<D>{});
}

// ---- loads ----------------------------------------------------------------------------------------------------------

/** Which byte of its window each byte of a chunk comes from; 0x80 for none, which leaves 0. */
template <const structure_descriptor &D, bool itself, u_int32 C>
inline constexpr std::array<u_int8, chunk_size> shuffle_of = [] {
    constexpr chunk it = chunks_of<D, itself>.at[C];
    std::array<u_int8, chunk_size> shuffle{};
    for (u_int32 i = 0; i < chunk_size; ++i) {
        const int32 source = i < it.size ? memory_of<D>.source[it.memory + i] : no_source;
        const u_int32 window = i < window_size ? it.low : it.high;
        shuffle[i] = source == no_source ? 0x80 : static_cast<u_int8>(static_cast<u_int32>(source) - window);
    }
    return shuffle;
}();

/** What a chunk holds beside values. A copy for each, as only these are kept of all that the compiler worked out. */
template <const structure_descriptor &D, bool itself, u_int32 C>
inline constexpr std::array<image_word, chunk_size / word_size> chunk_image_of = [] {
    constexpr chunk it = chunks_of<D, itself>.at[C];
    std::array<image_word, chunk_size / word_size> image{};
    for (u_int32 i = 0; i < it.size / word_size; ++i) {
        image[i] = memory_of<D>.image[it.memory / word_size + i];
    }
    return image;
}();

/** Whether a chunk holds a header, or a part of one. */
template <const structure_descriptor &D>
constexpr bool has_header(const chunk &it) {
    bool has = false;
    for (const u_int32 header : headers_of<D>.offset) {
        has = has || (header < it.memory + it.size && header + 2 * word_size > it.memory);
    }
    return has;
}

/** The parts of an encoding that a chunk's two halves come from. */
template <windows from>
PTP_CFG_AVX2 inline __m256i load_windows(const u_int8 *low, const u_int8 *high) {
    if constexpr (from == windows::one) {
        return _mm256_broadcastsi128_si256(load_half(low));
    } else if constexpr (from == windows::adjoining) {
        return load_simd(low);
    } else {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(load_half(low)), load_half(high), 1);
    }
}

template <const structure_descriptor &D, bool itself, u_int32 C>
PTP_CFG_AVX2 inline void load_chunk(const u_int8 *bytes, u_int8 *instance) {
    constexpr chunk it = chunks_of<D, itself>.at[C];
    const __m256i order = constant_chunk<0>(shuffle_of<D, itself, C>);
    const image_word *image = chunk_image_of<D, itself, C>.data();
    void *out = instance + it.memory;
    if constexpr (it.size == chunk_size) {
        __m256i values = _mm256_shuffle_epi8(load_windows<it.from>(bytes + it.low, bytes + it.high), order);
        if constexpr (has_header<D>(it)) {
            values = _mm256_or_si256(values, load_simd(image));
        }
        store_simd(out, values);
    } else {
        __m128i values = _mm_shuffle_epi8(load_half(bytes + it.low), _mm256_castsi256_si128(order));
        values = _mm_or_si128(values, load_half(image));
        memcpy(out, &values, it.size);
    }
}

template <const structure_descriptor &D, bool itself>
PTP_CFG_AVX2 inline void load_simd_instance(const u_int8 *bytes, u_int8 *instance);

template <const structure_descriptor &D, size_t... I>
PTP_CFG_AVX2 inline void load_others(const u_int8 *bytes, u_int8 *instance, std::index_sequence<I...>);

/** Loads what is not in the chunks: the elements of arrays of structures, and values whose encoding is not a shuffle. */
template <const structure_descriptor &D, u_int32 I>
PTP_CFG_AVX2 inline void load_other(const u_int8 *bytes, u_int8 *instance) {
    constexpr const field_descriptor &field = D.fields[I];
    const u_int8 *in = bytes + wire_offset(D, I);
    u_int8 *value = instance + field.offset;
    if constexpr (field.kind == field_kind::structure && field.is_array) {
#pragma GCC unroll 2
        for (u_int32 i = 0; i < field.capacity; ++i, in += element_width(field), value += field.stride) {
            load_simd_instance<*field.structure, false>(in, value);
        }
    } else if constexpr (field.kind == field_kind::structure) {
        load_others<*field.structure>(in, value, fields_of<*field.structure>{});
    } else if constexpr (!is_shuffled(field.kind)) {
        using P = primitive_traits<field.kind>;
        for (u_int32 i = 0; i < field.capacity; ++i, in += element_width(field), value += field.stride) {
            P::load(in, as<typename P::type>(value));
        }
    }
}

template <const structure_descriptor &D, size_t... I>
PTP_CFG_AVX2 inline void load_others(const u_int8 *bytes, u_int8 *instance, std::index_sequence<I...>) {
    (load_other<D, I>(bytes, instance), ...);
}

template <const structure_descriptor &D, bool itself, size_t... C>
PTP_CFG_AVX2 inline void load_chunks(const u_int8 *bytes, u_int8 *instance, std::index_sequence<C...>) {
    (load_chunk<D, itself, C>(bytes, instance), ...);
}

template <const structure_descriptor &D, bool itself>
PTP_CFG_AVX2 inline void load_simd_instance(const u_int8 *bytes, u_int8 *instance) {
    load_chunks<D, itself>(bytes, instance, std::make_index_sequence<chunks_of<D, itself>.count>{});
    load_others<D>(bytes, instance, fields_of<D>{});
}

/**
 * Reads an encoding to an instance if it fits: it is an untracked one at the latest variants throughout, and the
 * instance's headers are those of its creation. Otherwise nothing changes.
 */
template <const structure_descriptor &D>
PTP_CFG_AVX2 inline bool load_if_it_fits(const u_int8 *bytes, u_int8 *instance) {
    simd_difference differs{_mm256_setzero_si256()};
    compare_simd<D, true>(bytes, instance, differs);
    if (differs.found()) {
        return false;
    }
    const auto kept = word_at<u_int16>(instance + variant_offset + 1);  // allocated variant and flags are its own
    load_simd_instance<D, true>(bytes, instance);
    memcpy(instance + variant_offset + 1, &kept, sizeof kept);
    return true;
}

}  // namespace ptp_cfg

#endif
