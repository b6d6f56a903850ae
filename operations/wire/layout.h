// The constant layout of an encoding at the latest variant, worked out by the compiler from the descriptor: where each
// field begins, and which bits are known before a byte is read.
#pragma once

#include <array>

#include "operations/core/unroll.h"
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

constexpr u_int32 variant_offset = offsetof(vela_instance_header, variant);

/** A header that lies in an instance outside arrays of structures: its own, which is the first, or an embedded one's. */
struct embedded_header {
    header_image image{};
    u_int32 offset = 0;  // in the instance
    bool is_structure = false;
    bool is_padded = false;  // no field shares the four bytes from the variant on
};

/** An array of structures in an instance, or in what it embeds outside other arrays. */
struct embedded_array {
    const field_descriptor *field = nullptr;
    u_int32 offset = 0;  // in the instance
    u_int32 wire = 0;    // in the encoding at the latest variant, where that is constant
};

struct embedded_counts {
    u_int32 headers = 0;
    u_int32 arrays = 0;
};

constexpr embedded_counts count_embedded(const structure_descriptor &type) {
    embedded_counts count{1, 0};
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        const bool is_structure = field.kind == field_kind::structure;
        const embedded_counts inner =
            is_structure && !field.is_array ? count_embedded(*field.structure) : embedded_counts{};
        count.headers += inner.headers + (field.kind == field_kind::enumeration ? 1 : 0);
        count.arrays += inner.arrays + (is_structure && field.is_array ? 1 : 0);
    }
    return count;
}

/** What an instance embeds. Elements of arrays are instances of their own. */
template <u_int32 headers, u_int32 arrays>
struct embedded_list {
    std::array<embedded_header, headers> header{};
    std::array<embedded_array, arrays> array{};
    embedded_counts used{};

    constexpr void collect(const structure_descriptor &type, u_int32 start, u_int32 wire) {
        add(type, start, type.fields[0].offset, true);
        for (u_int32 i = 0; i < type.field_count; ++i) {
            const field_descriptor &field = type.fields[i];
            const u_int32 offset = start + field.offset;
            const u_int32 field_wire = has_text(type) ? 0 : wire + wire_offset(type, i);
            if (field.kind == field_kind::enumeration) {
                add(*field.enumeration, offset, enumeration_value_offset, false);
            } else if (field.kind == field_kind::structure && field.is_array) {
                array[used.arrays++] = {&field, offset, field_wire};
            } else if (field.kind == field_kind::structure) {
                collect(*field.structure, offset, field_wire);
            }
        }
    }

  private:
    template <class Type>
    constexpr void add(const Type &type, u_int32 offset, u_int32 first_value, bool is_structure) {
        header[used.headers++] = {
            {type.type_info, type.latest, {}}, offset, is_structure, first_value >= variant_offset + sizeof(u_int32)};
    }
};

template <const structure_descriptor &D>
inline constexpr embedded_counts embedded_count = count_embedded(D);

template <const structure_descriptor &D>
inline constexpr auto embedded_in = [] {
    embedded_list<embedded_count<D>.headers, embedded_count<D>.arrays> list;
    list.collect(D, 0, 0);
    return list;
}();

/** A copy of one header's image, as only that is then kept of all that the compiler worked out. */
template <const structure_descriptor &D, u_int32 H>
inline constexpr header_image image_of = embedded_in<D>.header[H].image;

/** Runs step.operator()<H>() for every header that lies in an instance. */
template <const structure_descriptor &D, class Step>
PTP_CFG_INLINE constexpr void for_each_header(Step &&step) {
    unrolled_loop<embedded_count<D>.headers>(step);
}

/** Runs step.operator()<E, A>() for every array of structures E that lies in an instance. */
template <const structure_descriptor &D, class Step>
PTP_CFG_INLINE constexpr void for_each_array(Step &&step) {
    unrolled_loop<embedded_count<D>.arrays>([&]<u_int32 A>() __attribute__((always_inline)) {
        step.template operator()<*embedded_in<D>.array[A].field->structure, A>();
    });
}

/** Adds what the headers of an element, embedded ones included, have other than a decoding leaves there. */
template <const structure_descriptor &D>
PTP_CFG_INLINE void compare_headers(const u_int8 *element, word_pair &difference) {
    for_each_header<D>([&]<u_int32 H>() __attribute__((always_inline)) {
        difference |=
            word_at<word_pair>(element + embedded_in<D>.header[H].offset) ^ word_at<word_pair>(&image_of<D, H>);
    });
}

}  // namespace ptp_cfg
