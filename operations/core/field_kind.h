// What a field holds, and what follows from that. Algorithms ask here for a property instead of naming kinds.
#pragma once

#include "primitive_traits.h"  // generated: enum class field_kind, primitive_traits<field_kind>, primitive_rows

namespace ptp_cfg {

inline constexpr u_int32 primitive_count = sizeof primitive_rows / sizeof primitive_rows[0];

constexpr bool is_primitive(field_kind kind) { return static_cast<u_int32>(kind) < primitive_count; }

/** Of a primitive only. */
constexpr const primitive_properties &properties_of(field_kind kind) {
    return primitive_rows[static_cast<u_int32>(kind)];
}

/** Whether a field travels by value: a number, a truth value or an enumeration. */
constexpr bool is_value(field_kind kind) {
    return kind == field_kind::enumeration || (is_primitive(kind) && properties_of(kind).is_value());
}

constexpr bool is_boolean(field_kind kind) {
    return is_primitive(kind) && properties_of(kind).what == primitive_class::boolean;
}

/** Whether values are single bytes that travel as they are, so that those side by side are copied together. */
constexpr bool is_octets(field_kind kind) {
    return is_primitive(kind) && properties_of(kind).is_number() && properties_of(kind).size == 1;
}

/** Whether values are numbers of eight bytes. */
constexpr bool is_64_bit(field_kind kind) {
    return is_primitive(kind) && properties_of(kind).is_number() && properties_of(kind).size == 8;
}

}  // namespace ptp_cfg
