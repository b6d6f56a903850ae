// An instance in memory as a list of chunks: what each byte holds after an untracked encoding at the latest variants
// was read, and which byte of the encoding it comes from. Worked out by the compiler from the descriptor.
#pragma once

#include <algorithm>

#include "operations/wire/layout.h"

namespace ptp_cfg {

/** Eight bytes of an instance that no encoding changes: a type pointer, or what stands beside it. */
union image_word {
    const vela_type_info *type_info;
    u_int64 number;
};

/** Variant, allocated variant and flags that a nested instance has from its creation on, as they lie in memory. */
template <class Word>
constexpr Word nested_state(int8 latest) {
    const u_int8 bytes[sizeof(Word)] = {static_cast<u_int8>(latest), static_cast<u_int8>(latest), VELA_FLAG_NESTED};
    return constant_word<Word>(bytes);
}
constexpr u_int32 usual_state = nested_state<u_int32>(0);
constexpr u_int8 header_state_bytes[4] = {0xFF, 0xFF, 0xFF};
constexpr u_int32 header_state_mask = constant_word<u_int32>(header_state_bytes);
constexpr u_int32 variant_offset = offsetof(vela_instance_header, variant);

constexpr u_int32 word_size = 8;
constexpr u_int32 chunk_size = 32;
constexpr int32 no_source = -1;

template <const structure_descriptor &D>
struct memory_map {
    /** Foreign: of an array of structures, or of a value whose encoding is not its bytes in another order. */
    enum class use : u_int8 { none, written, foreign };

    static constexpr u_int32 words = D.size / word_size;
    std::array<int32, words * word_size> source{};  // byte of the encoding, or no_source
    std::array<image_word, words> image{};
    std::array<use, words> uses{};
    bool shared = false;  // a word is both

    constexpr memory_map() {
        source.fill(no_source);
        for (image_word &word : image) {
            word.number = 0;
        }
        add_structure(D, 0, 0);
    }

  private:
    constexpr void claim(u_int32 memory, u_int32 length, use by) {
        for (u_int32 word = memory / word_size; word * word_size < memory + length; ++word) {
            shared = shared || (uses[word] != use::none && uses[word] != by);
            uses[word] = by;
        }
    }

    constexpr void add_header(u_int32 memory, const vela_type_info *type_info, int8 latest) {
        image[memory / word_size].type_info = type_info;
        image[memory / word_size + 1].number |= nested_state<u_int64>(latest);
        claim(memory, 2 * word_size, use::written);
    }

    /** Bytes in memory order; `step` is -1 where the encoding has the most significant byte first. */
    constexpr void add_value(u_int32 memory, u_int32 width, u_int32 wire, int32 step) {
        for (u_int32 i = 0; i < width; ++i) {
            source[memory + i] = static_cast<int32>(wire) + step * static_cast<int32>(i);
        }
        claim(memory, width, use::written);
    }

    constexpr void add_element(const field_descriptor &field, u_int32 memory, u_int32 wire) {
        const u_int32 width = element_width(field);
        if (field.kind == field_kind::enumeration) {
            add_header(memory, field.enumeration->type_info, field.enumeration->latest);
            add_value(memory + enumeration_value_offset, 4, wire + 4, -1);
        } else if (field.kind == field_kind::structure) {
            add_structure(*field.structure, memory, wire);
        } else if (is_boolean(field.kind)) {
            add_value(memory, 1, wire, 1);
        } else if (is_shuffled(field.kind)) {
            const int32 step = wire_step(field.kind);
            add_value(memory, width, step > 0 ? wire : wire + width - 1, step);
        } else {
            claim(memory, field.stride, use::foreign);
        }
    }

    constexpr void add_structure(const structure_descriptor &type, u_int32 memory, u_int32 wire) {
        add_header(memory, type.type_info, type.latest);
        for (u_int32 i = 0; i < type.field_count; ++i) {
            const field_descriptor &field = type.fields[i];
            for (u_int32 element = 0; element < field.capacity; ++element) {
                const u_int32 start = memory + field.offset + element * field.stride;
                if (field.kind == field_kind::structure && field.is_array) {
                    claim(start, field.stride, use::foreign);
                } else {
                    add_element(field, start, wire + wire_offset(type, i) + element * element_width(field));
                }
            }
        }
    }
};

template <const structure_descriptor &D>
inline constexpr memory_map<D> memory_of{};

/** Sixteen bytes of an encoding. */
constexpr u_int32 window_size = 16;

/** Where the window that holds all that a chunk's half comes from may begin. */
struct window_range {
    int32 first = 0;
    int32 last = 0;
    bool wanted = false;  // something comes from the encoding
    constexpr bool exists() const { return !wanted || first <= last; }
};

template <const structure_descriptor &D>
constexpr window_range window_for(u_int32 memory, u_int32 size) {
    window_range range{0, static_cast<int32>(latest_width(D)) - static_cast<int32>(window_size), false};
    for (u_int32 i = 0; i < size; ++i) {
        const int32 source = memory_of<D>.source[memory + i];
        if (source != no_source) {
            range.first = std::max(range.first, source - static_cast<int32>(window_size) + 1);
            range.last = std::min(range.last, source);
            range.wanted = true;
        }
    }
    return range;
}

/** How the two halves of a chunk get their windows. */
enum class windows : u_int8 { one, adjoining, two };

/** Bytes of an instance that are written together. */
struct chunk {
    u_int32 memory = 0;
    u_int32 size = 0;  // 8, 16 or 32
    windows from = windows::one;
    u_int32 low = 0, high = 0;  // where the windows begin
    bool readable = true;
};

template <const structure_descriptor &D>
constexpr chunk chunk_at(u_int32 memory, u_int32 size) {
    const u_int32 half = std::min(size, window_size);
    const window_range low = window_for<D>(memory, half);
    const window_range high = window_for<D>(memory + half, size - half);
    chunk it{memory, size};
    it.readable = low.exists() && high.exists();
    const int32 shared = std::max(low.first, high.first);
    const int32 step = window_size;
    const int32 adjoining = std::max(low.first, high.first - step);
    if (!low.wanted || !high.wanted || shared <= std::min(low.last, high.last)) {
        it.low = it.high = static_cast<u_int32>(!high.wanted ? low.first : (!low.wanted ? high.first : shared));
    } else if (adjoining <= std::min(low.last, high.last - step)) {
        it.from = windows::adjoining;
        it.low = static_cast<u_int32>(adjoining);
        it.high = it.low + window_size;
    } else {
        it.from = windows::two;
        it.low = static_cast<u_int32>(low.first);
        it.high = static_cast<u_int32>(high.first);
    }
    return it;
}

/**
 * The chunks that cover all written words and no foreign one; they may overlap, and write what lies between fields.
 * `aligned`: as an instance of its own, whose memory begins at a multiple of 32, is written without straddling the
 * lines of the processor's cache. Elements of arrays begin anywhere, and are covered with as few chunks as possible.
 */
template <const structure_descriptor &D, bool aligned>
struct chunk_list {
    std::array<chunk, memory_map<D>::words> at{};
    u_int32 count = 0;
    bool readable =
        latest_width(D) >= chunk_size && !memory_of<D>.shared;  // what is compared, 32 bytes at a time, lies within

    constexpr chunk_list() {
        for (u_int32 word = 0; word < words; ++word) {
            if (memory_of<D>.uses[word] == memory_map<D>::use::written) {
                word = add(word) - 1;
            }
        }
    }

  private:
    static constexpr u_int32 words = memory_map<D>::words;
    static constexpr u_int32 widest = chunk_size / word_size;

    static constexpr bool is_own(u_int32 word, u_int32 length) {
        bool own = word + length <= words;
        for (u_int32 i = word; own && i < word + length; ++i) {
            own = memory_of<D>.uses[i] != memory_map<D>::use::foreign;
        }
        return own;
    }

    /** Adds a chunk that has a word; what follows it comes next. */
    constexpr u_int32 add(u_int32 word) {
        const u_int32 start = aligned ? word / widest * widest : word;
        if (is_own(start, widest)) {
            return add(start, widest);
        }
        for (u_int32 shift = 1; !aligned && shift < widest && shift <= word; ++shift) {
            if (is_own(word - shift, widest)) {
                return add(word - shift, widest);
            }
        }
        const u_int32 pair = aligned ? word / 2 * 2 : word;
        return is_own(pair, 2) ? add(pair, 2) : add(word, 1);
    }

    constexpr u_int32 add(u_int32 start, u_int32 length) {
        at[count] = chunk_at<D>(start * word_size, length * word_size);
        readable = readable && at[count++].readable;
        return start + length;
    }
};

template <const structure_descriptor &D, bool aligned>
inline constexpr chunk_list<D, aligned> chunks_of{};

}  // namespace ptp_cfg
