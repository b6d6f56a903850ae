// One step per kind of field for each direction. Both paths walk the fields with them, the unrolled and the versioned;
// what they do at embedded instances is said by the walk.
#pragma once

#include "operations/wire/unrolled/check.h"
#include "operations/wire/unrolled/runs.h"

namespace ptp_cfg {

/** Elements that are moved with field I, by a walk that goes on through a run of fields or stops behind each. */
template <const structure_descriptor &D, u_int32 I, class Walk>
inline constexpr u_int32 moved_count = Walk::joins_runs ? run_length(D, I) : D.fields[I].capacity;

/** Encodes field I and goes behind it. False when it does not fit what the walk does. */
template <const structure_descriptor &D, u_int32 I, class Walk>
PTP_CFG_INLINE bool store_field(const Walk &walk, u_int8 *&out, const u_int8 *instance) {
    constexpr const field_descriptor &field = D.fields[I];
    const u_int8 *value = instance + field.offset;
    if constexpr (field.kind == field_kind::structure) {
        return walk.template store_structures<D, I>(out, value);
    } else if constexpr (field.kind == field_kind::enumeration) {
        vela_inline::put<u_int32>(out + VELA_WIRE_VARIANT, *value_of(static_cast<const void *>(value)));
        const bool fits = walk.template store_variant<*field.enumeration>(out, value);
        out += enumeration_wire_width;
        return fits;
    } else {
        if constexpr (!Walk::joins_runs || !continues_run(D, I)) {  // else it went with the field before it
            store_values<field.kind, moved_count<D, I, Walk>>(out, value);
        }
        out += field.capacity * element_width(field);
        return true;
    }
}

/**
 * Fills field I of an instance from where Walk::source takes values, an encoding or another instance, and goes behind
 * them there. False when they do not fit what the walk does.
 */
template <const structure_descriptor &D, u_int32 I, class Walk>
PTP_CFG_INLINE bool fill_field(const Walk &walk, const u_int8 *&from, u_int8 *instance) {
    constexpr const field_descriptor &field = D.fields[I];
    u_int8 *value = instance + field.offset;
    if constexpr (field.kind == field_kind::structure) {
        return walk.template fill_structures<D, I>(from, value);
    } else {
        if constexpr (field.kind == field_kind::enumeration) {
            walk.template fill_header<*field.enumeration>(from, value);
            *value_of(static_cast<void *>(value)) = Walk::source::enumeration_value(from);
        } else if constexpr (!Walk::joins_runs || !continues_run(D, I)) {
            Walk::source::template values<field.kind, moved_count<D, I, Walk>>(from, value);
        }
        from += field.capacity * Walk::source::template stride<D, I>;
        return true;
    }
}

// ---- all at the latest variant ---------------------------------------------------------------------------------------

template <const structure_descriptor &D>
PTP_CFG_INLINE void store_instance(u_int8 *out, const u_int8 *instance);

struct latest_encoding {
    static constexpr bool joins_runs = true;

    template <const structure_descriptor &D, u_int32 I>
    PTP_CFG_INLINE bool store_structures(u_int8 *out, const u_int8 *value) const {
        constexpr const field_descriptor &field = D.fields[I];
        for (u_int32 i = 0; i < field.capacity; ++i, out += element_width(field), value += field.stride) {
            store_instance<*field.structure>(out, value);
        }
        return true;
    }
    template <const enumeration_descriptor &E>
    PTP_CFG_INLINE bool store_variant(u_int8 *out, const u_int8 *) const {
        *out = static_cast<u_int8>(E.latest);
        return true;
    }
};

/** Encodes an instance that is_at_latest_variant(). */
template <const structure_descriptor &D>
PTP_CFG_INLINE void store_instance(u_int8 *out, const u_int8 *instance) {
    // As two numbers, which become immediate operands.
    constexpr prefix_bytes prefix = latest_prefix(D);
    constexpr u_int32 begin = constant_word<u_int32>(prefix.data());
    constexpr u_int16 end = constant_word<u_int16>(prefix.data() + sizeof begin);
    memcpy(out, &begin, sizeof begin);
    memcpy(out + sizeof begin, &end, sizeof end);
    constexpr latest_encoding walk;
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        u_int8 *at = out + wire_offset(D, I);
        store_field<D, I>(walk, at, instance);
    });
}

/** Values from an encoding. */
struct encoded_source {
    template <const structure_descriptor &D, u_int32 I>
    static constexpr u_int32 offset = wire_offset(D, I);
    template <const structure_descriptor &D, u_int32 I>
    static constexpr u_int32 stride = element_width(D.fields[I]);

    PTP_CFG_INLINE static u_int32 enumeration_value(const u_int8 *in) {
        return vela_inline::take<u_int32>(in + VELA_WIRE_VARIANT);
    }
    template <field_kind K, u_int32 count>
    PTP_CFG_INLINE static void values(const u_int8 *in, u_int8 *value) {
        load_values<K, count, true>(in, value);
    }
};

/** Values from another instance. */
struct instance_source {
    template <const structure_descriptor &D, u_int32 I>
    static constexpr u_int32 offset = D.fields[I].offset;
    template <const structure_descriptor &D, u_int32 I>
    static constexpr u_int32 stride = D.fields[I].stride;

    PTP_CFG_INLINE static u_int32 enumeration_value(const u_int8 *from) {
        return *value_of(static_cast<const void *>(from));
    }
    template <field_kind K, u_int32 count>
    PTP_CFG_INLINE static void values(const u_int8 *from, u_int8 *value) {
        copy_values<K, count>(from, value);
    }
};

/** What of an instance's headers is written. */
enum class headers { none, type_infos, all, known };  // known: of a new instance, so that none needs a look either

template <headers written>
PTP_CFG_INLINE void write_header(u_int8 *instance, const vela_type_info *type_info, int8 latest) {
    if constexpr (written == headers::type_infos || written == headers::all) {
        as<vela_instance_header>(instance)->type_info = type_info;
    }
    if constexpr (written == headers::all) {
        as<vela_instance_header>(instance)->variant = latest;
    }
}

/** Writes type_infos and variants of the elements of an array. */
template <const structure_descriptor &D>
[[gnu::noinline]] void write_headers(u_int8 *element, u_int32 count, u_int32 stride) {
    for (u_int32 i = 0; i < count; ++i, element += stride) {
        for_each_header<D>([&]<u_int32 H>() __attribute__((always_inline)) {
            write_header<headers::all>(element + embedded_in<D>.header[H].offset, image_of<D, H>.type_info,
                                       image_of<D, H>.variant);
        });
    }
}

/** Whether compare_headers() found another type_info or variant. */
PTP_CFG_INLINE bool has_other_headers(word_pair difference) {
    constexpr u_int8 compared[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    difference &= constant_word<word_pair>(compared);
    return (difference[0] | difference[1]) != 0;
}

template <class Source, const structure_descriptor &D, headers written>
PTP_CFG_INLINE void fill_instance(const u_int8 *from, u_int8 *instance);

template <class Source, headers written>
struct latest_filling {
    using source = Source;
    static constexpr bool joins_runs = true;

    template <const structure_descriptor &D, u_int32 I>
    PTP_CFG_INLINE bool fill_structures(const u_int8 *from, u_int8 *value) const {
        constexpr const field_descriptor &field = D.fields[I];
        constexpr const structure_descriptor &E = *field.structure;
        if constexpr (!field.is_array) {
            fill_instance<Source, E, written>(from, value);
        } else {
            // Elements have their headers from their creation on; to see that is cheaper than to write them.
            word_pair difference = {0, 0};
#pragma GCC unroll 4
            for (u_int32 i = 0; i < field.capacity; ++i) {
                u_int8 *element = value + i * field.stride;
                if constexpr (written != headers::known) {
                    compare_headers<E>(element, difference);
                }
                fill_instance<Source, E, written == headers::known ? written : headers::none>(
                    from + i * Source::template stride<D, I>, element);
            }
            if (has_other_headers(difference)) {
                write_headers<E>(value, field.capacity, field.stride);
            }
        }
        return true;
    }
    template <const enumeration_descriptor &E>
    PTP_CFG_INLINE void fill_header(const u_int8 *, u_int8 *value) const {
        write_header<written>(value, E.type_info, E.latest);
    }
};

/** Fills an instance from what is at the latest variant; of headers outside arrays it writes what `written` says. */
template <class Source, const structure_descriptor &D, headers written>
PTP_CFG_INLINE void fill_instance(const u_int8 *from, u_int8 *instance) {
    write_header<written>(instance, D.type_info, D.latest);
    constexpr latest_filling<Source, written> walk;
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        const u_int8 *at = from + Source::template offset<D, I>;
        fill_field<D, I>(walk, at, instance);
    });
}

}  // namespace ptp_cfg
