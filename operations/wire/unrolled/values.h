// Straight-line stores, loads and copies of all values of an instance at the latest variant.
#pragma once

#include "operations/wire/unrolled/check.h"
#include "operations/wire/unrolled/runs.h"

#ifndef PTP_CFG_EXPORTED_RUNTIME

namespace ptp_cfg {

template <const structure_descriptor &D>
PTP_CFG_INLINE void store_instance(u_int8 *bytes, const u_int8 *instance) {
    // As two numbers, which become immediate operands.
    constexpr prefix_bytes prefix = latest_prefix(D);
    constexpr u_int32 begin = constant_word<u_int32>(prefix.data());
    constexpr u_int16 end = constant_word<u_int16>(prefix.data() + sizeof begin);
    memcpy(bytes, &begin, sizeof begin);
    memcpy(bytes + sizeof begin, &end, sizeof end);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        u_int8 *out = bytes + wire_offset(D, I);
        const u_int8 *value = instance + field.offset;
        if constexpr (is_within_u64_run(D, I)) {
            return;  // written with the field before it
        } else if constexpr (starts_u64_run(D, I)) {
            copy_swapped(out, value, u64_run_length(D, I));
        } else if constexpr (field.kind == field_kind::enumeration) {
            *out = static_cast<u_int8>(field.enumeration->latest);
            primitive_traits<field_kind::u_int32>::store(out + 1, value_of(static_cast<const void *>(value)));
        } else if constexpr (field.kind == field_kind::u_int8 && field.is_array) {
            memcpy(out, value, field.capacity);
        } else {
            for (u_int32 element = 0; element < field.capacity; ++element) {
                if constexpr (field.kind == field_kind::structure) {
                    store_instance<*field.structure>(out, value);
                } else {
                    using P = primitive_traits<field.kind>;
                    P::store(out, as<typename P::type>(value));
                }
                out += element_width(field);
                value += field.stride;
            }
        }
    });
}

/** What of an instance's headers a load or copy writes. */
enum class headers { none, type_infos, all, known };  // known: of a new instance, so that none needs a look either

template <headers written>
PTP_CFG_INLINE void load_header(u_int8 *instance, const vela_type_info *type_info, int8 latest) {
    if constexpr (written == headers::type_infos || written == headers::all) {
        as<vela_instance_header>(instance)->type_info = type_info;
    }
    if constexpr (written == headers::all) {
        as<vela_instance_header>(instance)->variant = latest;
    }
}

/** Non-zero when an instance outside arrays of structures that is to be at variant 0 is at another. */
template <const structure_descriptor &D>
PTP_CFG_INLINE u_int8 first_variants_difference(const u_int8 *instance) {
    u_int8 differs = D.latest == 0 ? instance[variant_offset] : 0;
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (field.kind == field_kind::enumeration && field.enumeration->latest == 0) {
            differs |= instance[field.offset + variant_offset];
        } else if constexpr (field.kind == field_kind::structure && !field.is_array) {
            differs |= first_variants_difference<*field.structure>(instance + field.offset);
        }
    });
    return differs;
}

/** Whether all that are to be at a later variant are: few, for which a branch each is shorter than to gather them. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool has_later_variants(const u_int8 *instance) {
    bool stand = D.latest == 0 || instance[variant_offset] == static_cast<u_int8>(D.latest);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (field.kind == field_kind::enumeration && field.enumeration->latest != 0) {
            stand = stand && instance[field.offset + variant_offset] == static_cast<u_int8>(field.enumeration->latest);
        } else if constexpr (field.kind == field_kind::structure && !field.is_array) {
            stand = stand && has_later_variants<*field.structure>(instance + field.offset);
        }
    });
    return stand;
}

/** Whether the variants of an instance, arrays of structures left out, are what a decoding leaves there. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool has_latest_variants(const u_int8 *instance) {
    return first_variants_difference<D>(instance) == 0 && has_later_variants<D>(instance);
}

/** Whether compare_headers() found a difference in a type_info or variant. */
PTP_CFG_INLINE bool headers_differ(word_pair differs) {
    constexpr u_int8 compared[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    differs &= constant_word<word_pair>(compared);
    return (differs[0] | differs[1]) != 0;
}

/** Writes type_infos and variants of the elements of an array. */
template <const structure_descriptor &D>
void write_headers(u_int8 *element, u_int32 count, u_int32 stride) {
    for (u_int32 i = 0; i < count; ++i, element += stride) {
        for (u_int32 h = 0; h < header_count(D); ++h) {
            load_header<headers::all>(element + headers_of<D>.offset[h], headers_of<D>.image[h].type_info,
                                      headers_of<D>.image[h].variant);
        }
    }
}

/** Loads all values, and of the instances outside arrays of structures what `written` says of their headers. */
template <const structure_descriptor &D, headers written>
PTP_CFG_INLINE void load_instance(const u_int8 *bytes, u_int8 *instance) {
    load_header<written>(instance, D.type_info, D.latest);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        const u_int8 *in = bytes + wire_offset(D, I);
        u_int8 *value = instance + field.offset;
        if constexpr (continues_run(D, I)) {
            return;  // read with the field before it
        } else if constexpr (field.kind == field_kind::enumeration) {
            load_header<written>(value, field.enumeration->type_info, field.enumeration->latest);
            primitive_traits<field_kind::u_int32>::load(in + 1, value_of(static_cast<void *>(value)));
        } else if constexpr (is_octets(field.kind)) {
            memcpy(value, in, run_length(D, I));
        } else if constexpr (is_boolean(field.kind)) {
            load_truths<run_length(D, I)>(in, value);  // 0 or 1: other truths are read on the reference path
        } else if constexpr (field.kind == field_kind::structure && field.is_array) {
            constexpr const structure_descriptor &E = *field.structure;
            // Elements have their headers from their creation on; to see that is cheaper than to write them.
            word_pair differs = {0, 0};
#pragma GCC unroll 4
            for (u_int32 i = 0; i < field.capacity; ++i) {
                compare_headers<E>(value + i * field.stride, differs);
                load_instance<E, headers::none>(in + i * element_width(field), value + i * field.stride);
            }
            if (headers_differ(differs)) {
                write_headers<E>(value, field.capacity, field.stride);
            }
        } else if constexpr (field.kind == field_kind::structure) {
            load_instance<*field.structure, written>(in, value);
        } else {
            using P = primitive_traits<field.kind>;
            for (u_int32 i = 0; i < field.capacity; ++i) {
                P::load(in + i * element_width(field), as<typename P::type>(value + i * field.stride));
            }
        }
    });
}

// ---- copies --------------------------------------------------------------------------------------------------------

/** Leaves what the value's encoding would leave; the compiler sees that bytes need not be turned round twice. */
template <field_kind K>
PTP_CFG_INLINE void copy_primitive(const u_int8 *from, u_int8 *to) {
    using P = primitive_traits<K>;
    using T = typename P::type;
    if constexpr (sizeof(T) == P::width) {
        memcpy(to, from, sizeof(T));  // its encoding is its bytes, in whichever order
    } else {
        u_int8 encoded[P::width];
        P::store(encoded, as<T>(from));
        P::load(encoded, as<T>(to));
    }
}

/** Copies all values as an encoding at the latest variant carries them; `written` as of load_instance(). */
template <const structure_descriptor &D, headers written = headers::all>
PTP_CFG_INLINE void copy_instance(const u_int8 *source, u_int8 *destination) {
    load_header<written>(destination, D.type_info, D.latest);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        const u_int8 *from = source + field.offset;
        u_int8 *to = destination + field.offset;
        if constexpr (field.kind == field_kind::enumeration) {
            load_header<written>(to, field.enumeration->type_info, field.enumeration->latest);
            *value_of(static_cast<void *>(to)) = *value_of(static_cast<const void *>(from));
        } else if constexpr (field.kind == field_kind::u_int8 && field.is_array) {
            memcpy(to, from, field.capacity);
        } else if constexpr (field.kind == field_kind::structure && field.is_array) {
            constexpr const structure_descriptor &E = *field.structure;
            word_pair differs = {0, 0};
#pragma GCC unroll 4
            for (u_int32 i = 0; i < field.capacity; ++i) {
                if constexpr (written != headers::known) {
                    compare_headers<E>(to + i * field.stride, differs);
                }
                copy_instance<E, written == headers::known ? written : headers::none>(from + i * field.stride,
                                                                                      to + i * field.stride);
            }
            if (headers_differ(differs)) {
                write_headers<E>(to, field.capacity, field.stride);
            }
        } else if constexpr (field.kind == field_kind::structure) {
            copy_instance<*field.structure, written>(from, to);
        } else {
            for (u_int32 i = 0; i < field.capacity; ++i) {
                copy_primitive<field.kind>(from + i * field.stride, to + i * field.stride);
            }
        }
    });
}

}  // namespace ptp_cfg

#endif
