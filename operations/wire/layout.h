// The constant layout of an encoding at the latest variant, worked out by the compiler from the descriptor: where each
// field begins, and which bits are known before a byte is read.
#pragma once

#include <array>

#include "operations/core/words.h"
#include "operations/wire/reference.h"

namespace ptp_cfg {

constexpr bool has_text(const structure_descriptor &type) {
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (field.kind == field_kind::var_string || (field.structure != nullptr && has_text(*field.structure))) {
            return true;
        }
    }
    return false;
}

constexpr u_int32 latest_width(const structure_descriptor &type);

constexpr u_int32 element_width(const field_descriptor &field) {
    if (field.kind == field_kind::structure) {
        return latest_width(*field.structure);
    }
    return field.kind == field_kind::enumeration ? enumeration_wire_width : properties_of(field.kind).width;
}

/** Where field `index` begins in an encoding at the latest variant. */
constexpr u_int32 wire_offset(const structure_descriptor &type, u_int32 index) {
    u_int32 offset = wire_header;
    for (u_int32 i = 0; i < index; ++i) {
        offset += type.fields[i].capacity * element_width(type.fields[i]);
    }
    return offset;
}

constexpr u_int32 latest_width(const structure_descriptor &type) { return wire_offset(type, type.field_count); }

/** The six bytes that begin an encoding. */
using prefix_bytes = std::array<u_int8, wire_header>;

constexpr prefix_bytes latest_prefix(const structure_descriptor &type) {
    const u_int32 jump = latest_width(type) - VELA_WIRE_VARIANT - VELA_WIRE_OBJECT_FLAG;
    return {static_cast<u_int8>(type.latest), 0,
            static_cast<u_int8>(jump >> 24),  static_cast<u_int8>(jump >> 16),
            static_cast<u_int8>(jump >> 8),   static_cast<u_int8>(jump)};
}

/** What is known of so many bytes: which bits, and what they are. */
template <u_int32 width>
struct known_bits {
    std::array<u_int8, width> mask{};
    std::array<u_int8, width> value{};

    constexpr void set(u_int32 position, u_int8 byte_mask, u_int8 byte_value) {
        mask[position] = byte_mask;
        value[position] = byte_value;
    }

    /** The first byte with known bits, from `start` on; `width` when there is none. */
    constexpr u_int32 next(u_int32 start) const {
        while (start < width && mask[start] == 0) {
            ++start;
        }
        return start;
    }

    /** How many bytes from `start` on reach the last one with known bits among the next sixteen. */
    constexpr u_int32 span(u_int32 start) const {
        u_int32 count = 1;
        for (u_int32 i = 1; i < 16 && start + i < width; ++i) {
            count = mask[start + i] == 0 ? count : i + 1;
        }
        return count;
    }
};

/**
 * Collects what is known of an untracked encoding: its headers, the variants of enumerations, and all but the lowest
 * bit of truth values. Arrays of structures are left out: each element is an encoding.
 */
template <u_int32 width>
constexpr void collect_known(known_bits<width> &known, const structure_descriptor &type, u_int32 start) {
    const prefix_bytes prefix = latest_prefix(type);
    for (u_int32 i = 0; i < wire_header; ++i) {
        known.set(start + i, 0xFF, prefix[i]);
    }
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        const u_int32 position = start + wire_offset(type, i);
        if (field.kind == field_kind::structure && !field.is_array) {
            collect_known(known, *field.structure, position);
        } else if (field.kind == field_kind::enumeration) {
            known.set(position, 0xFF, static_cast<u_int8>(field.enumeration->latest));
        } else if (is_boolean(field.kind)) {
            for (u_int32 element = 0; element < field.capacity; ++element) {
                known.set(position + element, 0xFE, 0);
            }
        }
    }
}

template <const structure_descriptor &D>
inline constexpr known_bits<latest_width(D)> known_bits_of = [] {
    known_bits<latest_width(D)> known;
    collect_known(known, D, 0);
    return known;
}();

/** How an instance begins that has the static type_info of its type and the latest variant. */
struct header_image {
    const vela_type_info *type_info;
    int8 variant;
    u_int8 others[7];  // not compared: allocated variant, flags, and what follows the header
};
static_assert(sizeof(header_image) == 16 && offsetof(header_image, variant) == 8);

/** The headers of an instance and of those nested in it, arrays of structures left out. */
template <u_int32 count>
struct header_list {
    std::array<header_image, count> image{};
    std::array<u_int32, count> offset{};
    u_int32 used = 0;

    constexpr void collect(const structure_descriptor &type, u_int32 start) {
        add(start, type.type_info, type.latest);
        for (u_int32 i = 0; i < type.field_count; ++i) {
            const field_descriptor &field = type.fields[i];
            if (field.kind == field_kind::structure && !field.is_array) {
                collect(*field.structure, start + field.offset);
            } else if (field.kind == field_kind::enumeration) {
                add(start + field.offset, field.enumeration->type_info, field.enumeration->latest);
            }
        }
    }

  private:
    constexpr void add(u_int32 at, const vela_type_info *type_info, int8 variant) {
        image[used] = {type_info, variant, {}};
        offset[used++] = at;
    }
};

constexpr u_int32 header_count(const structure_descriptor &type) {
    u_int32 count = 1;
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (field.kind == field_kind::structure && !field.is_array) {
            count += header_count(*field.structure);
        } else if (field.kind == field_kind::enumeration) {
            ++count;
        }
    }
    return count;
}

template <const structure_descriptor &D>
inline constexpr header_list<header_count(D)> headers_of = [] {
    header_list<header_count(D)> headers;
    headers.collect(D, 0);
    return headers;
}();

/** Adds what the headers of an element, nested ones included, differ in from what a decoding leaves there. */
template <const structure_descriptor &D>
PTP_CFG_INLINE void compare_headers(const u_int8 *element, word_pair &differs) {
    [&]<size_t... H>(std::index_sequence<H...>) __attribute__((always_inline)) {
        ((differs |=
          word_at<word_pair>(element + headers_of<D>.offset[H]) ^ word_at<word_pair>(&headers_of<D>.image[H])),
         ...);
    }
    (std::make_index_sequence<header_count(D)>{});
}

}  // namespace ptp_cfg
