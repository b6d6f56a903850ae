// The path for instances of older variants, or in a domain that has some, and for tracked instances with their flags.
// Unrolled too, but it looks at each variant where it comes to it. It has no errors of its own: at whatever does not fit
// it stops, and the reference path begins anew, which leaves the same in what was done so far.
#pragma once

#include "operations/instance/state_flags.h"
#include "operations/wire/reference.h"
#include "operations/wire/unrolled/fields.h"

namespace ptp_cfg {

/** Whether a type, or anything in it, has had more than one variant. */
constexpr bool has_variants(const structure_descriptor &type) {
    bool has = type.latest != 0;
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        has = has || (field.enumeration != nullptr && field.enumeration->latest != 0) ||
              (field.structure != nullptr && has_variants(*field.structure));
    }
    return has;
}

/** Whether the width of a type's encoding depends on variants. */
constexpr bool has_varying_width(const structure_descriptor &type) {
    bool has = type.latest != 0;
    for (u_int32 i = 0; i < type.field_count; ++i) {
        has = has || (type.fields[i].structure != nullptr && has_varying_width(*type.fields[i].structure));
    }
    return has;
}

/** State flags that follow a field on the wire. */
constexpr u_int32 flags_width(const field_descriptor &field) {
    return field.flag_position == no_flag ? 0 : (field.is_array ? 1u + field.capacity : 1u);
}

/** The least that the fields from `first` on of a variant take; structures in it are taken at their first variant. */
constexpr u_int32 fields_width(const structure_descriptor &type, int variant, bool tracked, u_int32 first) {
    u_int32 width = 0;
    for (u_int32 i = first; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (static_cast<int>(field.since) <= variant) {
            const u_int32 element = field.kind == field_kind::structure
                                        ? wire_header + fields_width(*field.structure, 0, tracked, 0)
                                        : element_width(field);
            width += field.capacity * element + (tracked ? flags_width(field) : 0);
        }
    }
    return width;
}

/** The same for a variant that is known at run time. */
template <const structure_descriptor &D, bool tracked, u_int32 first>
PTP_CFG_INLINE ptrdiff_t fields_width_of(u_int32 variant) {
    u_int32 width = fields_width(D, 0, tracked, first);
    unrolled_loop<static_cast<u_int32>(D.latest)>([&]<u_int32 V>() __attribute__((always_inline)) {
        width += variant > V ? fields_width(D, V + 1, tracked, first) - fields_width(D, V, tracked, first) : 0;
    });
    return width;
}

/** What all functions of a call need. `end`: of the room, or of the bytes. */
struct versioned_call {
    vela_handle *handle;
    u_int32 mem_class;
    const u_int8 *end;
};

/** An instance whose fields are walked; a pointer into its encoding goes along from field to field. */
template <bool tracked, class Byte>
struct versioned_instance {
    static constexpr bool joins_runs = false;

    const versioned_call &call;
    u_int32 variant;
    Byte *block;  // of its state flags, or nullptr

    /** Whether the bytes from `at` on hold fields from `first` on of this variant, beside `others`. */
    template <const structure_descriptor &D, u_int32 first>
    PTP_CFG_INLINE bool holds_fields(const u_int8 *at, u_int32 others) const {
        return call.end - at >= others + fields_width_of<D, tracked, first>(variant);
    }

    /** Finds the state flags of a tracked instance; false when it has none. */
    template <const structure_descriptor &D>
    PTP_CFG_INLINE bool find_block(Byte *instance) {
        block = state_block(call.handle, call.mem_class, D, instance);
        return block != nullptr;
    }

    /** Whether what follows the structures of field I fits; they may have taken more than the least. */
    template <const structure_descriptor &D, u_int32 I>
    PTP_CFG_INLINE bool holds_the_rest(const u_int8 *at) const {
        constexpr const field_descriptor &field = D.fields[I];
        return !has_varying_width(*field.structure) || holds_fields<D, I + 1>(at, tracked ? flags_width(field) : 0);
    }
};

/** Runs walk.walk_field<I>(at, instance) for the fields that the variant has; false as soon as one is. */
template <const structure_descriptor &D, class Walk, class WireByte, class Byte, size_t... I>
PTP_CFG_INLINE bool walk_fields(const Walk &walk, WireByte *&at, Byte *instance, std::index_sequence<I...>) {
    return (((D.fields[I].since != 0 && walk.variant < D.fields[I].since) ||
             walk.template walk_field<D, I>(at, instance)) &&
            ...);
}

/** Whether the handle's domain admits a variant of this release; the first one needs no asking. */
PTP_CFG_INLINE bool is_admitted(const versioned_call &call, const vela_type_info *type_info, u_int32 variant) {
    if (variant == 0) {
        return true;
    }
    u_int32 err = 0;
    const int8 domain = domain_variant(call.handle, type_info, &err);
    return err == 0 && static_cast<int8>(variant) <= domain;
}

// ---- encode ---------------------------------------------------------------------------------------------------------

/** Encodes an instance; returns where the encoding ends, or nullptr. `check`: one newer than the domain is an error. */
template <const structure_descriptor &D, bool tracked>
u_int8 *encode_versioned(const versioned_call &call, u_int8 *out, const u_int8 *instance, bool check);

template <bool tracked>
struct versioned_encoding : versioned_instance<tracked, const u_int8> {
    bool check;

    template <const structure_descriptor &D, u_int32 I>
    PTP_CFG_INLINE bool walk_field(u_int8 *&at, const u_int8 *instance) const {
        constexpr const field_descriptor &field = D.fields[I];
        if (!store_field<D, I>(*this, at, instance)) {
            return false;
        }
        if constexpr (tracked) {
            memcpy(at, this->block + field.flag_position, flags_width(field));
            at += flags_width(field);
        }
        return true;
    }
    template <const structure_descriptor &D, u_int32 I>
    PTP_CFG_INLINE bool store_structures(u_int8 *&at, const u_int8 *value) const {
        constexpr const field_descriptor &field = D.fields[I];
        constexpr const structure_descriptor &E = *field.structure;
        for (u_int32 element = 0; element < field.capacity; ++element, value += field.stride) {
            if constexpr (tracked || has_variants(E)) {
                at = encode_versioned<E, tracked>(this->call, at, value, check || field.is_array);
                if (at == nullptr) {
                    return false;
                }
            } else {
                if (!is_at_latest_variant<E>(value)) {
                    return false;
                }
                store_instance<E>(at, value);
                at += latest_width(E);
            }
        }
        return this->template holds_the_rest<D, I>(at);
    }
    template <const enumeration_descriptor &E>
    PTP_CFG_INLINE bool store_variant(u_int8 *out, const u_int8 *value) const {
        const u_int32 variant = value[variant_offset];
        *out = static_cast<u_int8>(variant);
        return variant <= static_cast<u_int32>(E.latest) && is_admitted(this->call, E.type_info, variant);
    }
};

template <const structure_descriptor &D, bool tracked>
[[gnu::noinline]] u_int8 *encode_versioned(const versioned_call &call, u_int8 *out, const u_int8 *instance,
                                           bool check) {
    const vela_instance_header *header = as<vela_instance_header>(instance);
    versioned_encoding<tracked> walk{{call, static_cast<u_int8>(header->variant), nullptr}, check};
    if (walk.variant > static_cast<u_int32>(D.latest) || (header->flags & VELA_FLAG_EXTRA_DATA) != 0 ||
        (check && !is_admitted(call, D.type_info, walk.variant)) ||
        !walk.template holds_fields<D, 0>(out, wire_header) || (tracked && !walk.template find_block<D>(instance))) {
        return nullptr;
    }
    u_int8 *at = out + wire_header;
    if (!walk_fields<D>(walk, at, instance, std::make_index_sequence<D.field_count>{})) {
        return nullptr;
    }
    out[0] = static_cast<u_int8>(walk.variant);
    out[1] = tracked ? VELA_FLAG_TRACKED : 0;
    vela_inline::put<u_int32>(out + 2, static_cast<u_int32>(at - out) - VELA_WIRE_VARIANT - VELA_WIRE_OBJECT_FLAG);
    return at;
}

// ---- decode ---------------------------------------------------------------------------------------------------------

/** Decodes to an instance; returns where the encoding ends, or nullptr. */
template <const structure_descriptor &D, bool tracked>
const u_int8 *decode_versioned(const versioned_call &call, const u_int8 *in, u_int8 *instance);

template <bool tracked>
struct versioned_decoding : versioned_instance<tracked, u_int8> {
    struct source : encoded_source {
        template <field_kind K, u_int32 count>
        PTP_CFG_INLINE static void values(const u_int8 *in, u_int8 *value) {
            load_values<K, count, false>(in, value);
        }
    };

    template <const structure_descriptor &D, u_int32 I>
    PTP_CFG_INLINE bool walk_field(const u_int8 *&at, u_int8 *instance) const {
        constexpr const field_descriptor &field = D.fields[I];
        if (!fill_field<D, I>(*this, at, instance)) {
            return false;
        }
        if constexpr (tracked) {
            memcpy(this->block + field.flag_position, at, flags_width(field));
            at += flags_width(field);
        }
        return true;
    }
    template <const structure_descriptor &D, u_int32 I>
    PTP_CFG_INLINE bool fill_structures(const u_int8 *&at, u_int8 *value) const {
        constexpr const field_descriptor &field = D.fields[I];
        constexpr const structure_descriptor &E = *field.structure;
        for (u_int32 element = 0; element < field.capacity; ++element, value += field.stride) {
            if constexpr (tracked || has_variants(E)) {
                at = decode_versioned<E, tracked>(this->call, at, value);
                if (at == nullptr) {
                    return false;
                }
            } else {
                if (!is_latest_encoding<E>(at)) {
                    return false;
                }
                fill_instance<encoded_source, E, headers::all>(at, value);
                at += latest_width(E);
            }
        }
        return this->template holds_the_rest<D, I>(at);
    }
    template <const enumeration_descriptor &E>
    PTP_CFG_INLINE void fill_header(const u_int8 *in, u_int8 *value) const {
        write_header<headers::all>(value, E.type_info, cap_variant(static_cast<int8>(*in), E.latest));
    }
};

template <const structure_descriptor &D, bool tracked>
[[gnu::noinline]] const u_int8 *decode_versioned(const versioned_call &call, const u_int8 *in, u_int8 *instance) {
    constexpr u_int8 expected_flags = tracked ? VELA_FLAG_TRACKED : 0;
    if (call.end - in < static_cast<ptrdiff_t>(wire_header)) {
        return nullptr;
    }
    versioned_decoding<tracked> walk{{call, in[0], nullptr}};
    if (walk.variant > static_cast<u_int32>(D.latest) || (in[1] & wire_flags) != expected_flags ||
        !walk.template holds_fields<D, 0>(in, wire_header) || (tracked && !walk.template find_block<D>(instance))) {
        return nullptr;
    }
    const u_int8 *at = in + wire_header;
    if (!walk_fields<D>(walk, at, instance, std::make_index_sequence<D.field_count>{}) ||
        vela_inline::take<u_int32>(in + 2) > static_cast<u_int32>(at - in) - 2) {
        return nullptr;  // or a newer peer wrote more than is known here
    }
    vela_instance_header *header = as<vela_instance_header>(instance);
    header->type_info = D.type_info;
    header->variant = static_cast<int8>(walk.variant);
    header->flags |= expected_flags;
    return at;
}

}  // namespace ptp_cfg
