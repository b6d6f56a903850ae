// The path for what varies: instances of older variants, or in a domain that has some, and tracked instances with their
// flags. Unrolled like the unrolled path, but it looks at each variant where it stands. It has no errors of its own: at
// whatever does not fit it stops, and the reference path begins anew, which leaves the same in what was done so far.
#pragma once

#include "operations/instance/state_flags.h"
#include "operations/wire/reference.h"
#include "operations/wire/unrolled/values.h"

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
    [&]<size_t... V>(std::index_sequence<V...>) __attribute__((always_inline)) {
        ((width += variant > V ? fields_width(D, V + 1, tracked, first) - fields_width(D, V, tracked, first) : 0), ...);
    }
    (std::make_index_sequence<static_cast<size_t>(D.latest)>{});
    return width;
}

/** Whether `left` bytes hold what follows the structures of field `index`, which may have taken more than the least. */
template <const structure_descriptor &D, u_int32 index, bool tracked>
PTP_CFG_INLINE bool holds_the_rest(ptrdiff_t left, u_int32 variant) {
    constexpr const field_descriptor &field = D.fields[index];
    constexpr u_int32 flags = tracked ? flags_width(field) : 0;
    return !has_varying_width(*field.structure) || left >= flags + fields_width_of<D, tracked, index + 1>(variant);
}

/** What all functions of a call need. `end`: of the room, or of the bytes. */
struct versioned_call {
    vela_handle *handle;
    u_int32 mem_class;
    const u_int8 *end;
};

/** Whether the handle's domain admits a variant of this release; the first one needs no asking. */
PTP_CFG_INLINE bool is_admitted(const versioned_call &call, const vela_type_info *type_info, u_int32 variant) {
    if (variant == 0) {
        return true;
    }
    u_int32 err = 0;
    const int8 domain = domain_variant(call.handle, type_info, &err);
    return err == 0 && static_cast<int8>(variant) <= domain;
}

#ifndef PTP_CFG_EXPORTED_RUNTIME

// ---- marshal --------------------------------------------------------------------------------------------------------

template <const structure_descriptor &D, bool tracked>
u_int8 *encode_versioned(const versioned_call &call, u_int8 *out, const u_int8 *instance, bool check);

/** Where an instance stands that is being written or read. */
template <class Byte>
struct versioned_instance {
    Byte *instance;
    u_int32 variant;
    Byte *block;  // of its state flags, or nullptr
};

template <const structure_descriptor &D, u_int32 I, bool tracked>
PTP_CFG_INLINE bool encode_versioned_structures(const versioned_call &call, u_int8 *&out,
                                                const versioned_instance<const u_int8> &it, bool check) {
    constexpr const field_descriptor &field = D.fields[I];
    const u_int8 *value = it.instance + field.offset;
    for (u_int32 element = 0; element < field.capacity; ++element, value += field.stride) {
        if constexpr (tracked || has_variants(*field.structure)) {
            out = encode_versioned<*field.structure, tracked>(call, out, value, check || field.is_array);
            if (out == nullptr) {
                return false;
            }
        } else {
            if (instance_differs<*field.structure>(value)) {
                return false;
            }
            store_instance<*field.structure>(out, value);
            out += latest_width(*field.structure);
        }
    }
    return holds_the_rest<D, I, tracked>(call.end - out, it.variant);
}

/** False when the field does not fit what this path does. */
template <const structure_descriptor &D, u_int32 I, bool tracked>
PTP_CFG_INLINE bool encode_versioned_field(const versioned_call &call, u_int8 *&out,
                                           const versioned_instance<const u_int8> &it, bool check) {
    constexpr const field_descriptor &field = D.fields[I];
    if (field.since != 0 && it.variant < field.since) {
        return true;
    }
    const u_int8 *value = it.instance + field.offset;
    if constexpr (field.kind == field_kind::structure) {
        if (!encode_versioned_structures<D, I, tracked>(call, out, it, check)) {
            return false;
        }
    } else if constexpr (field.kind == field_kind::enumeration) {
        const u_int32 variant = value[variant_offset];
        if (variant > static_cast<u_int32>(field.enumeration->latest) ||
            !is_admitted(call, field.enumeration->type_info, variant)) {
            return false;
        }
        *out = static_cast<u_int8>(variant);
        primitive_traits<field_kind::u_int32>::store(out + 1, value_of(static_cast<const void *>(value)));
        out += enumeration_wire_width;
    } else if constexpr (is_octets(field.kind)) {
        memcpy(out, value, field.capacity);
        out += field.capacity;
    } else {
        for (u_int32 element = 0; element < field.capacity; ++element, value += field.stride) {
            using P = primitive_traits<field.kind>;
            P::store(out, as<typename P::type>(value));
            out += P::width;
        }
    }
    if constexpr (tracked) {
        memcpy(out, it.block + field.flag_position, flags_width(field));
        out += flags_width(field);
    }
    return true;
}

template <const structure_descriptor &D, bool tracked>
[[gnu::noinline]] u_int8 *encode_versioned(const versioned_call &call, u_int8 *out, const u_int8 *instance,
                                           bool check) {
    const vela_instance_header *header = as<vela_instance_header>(instance);
    versioned_instance<const u_int8> it{instance, static_cast<u_int8>(header->variant), nullptr};
    if (it.variant > static_cast<u_int32>(D.latest) || (header->flags & VELA_FLAG_EXTRA_DATA) != 0 ||
        (check && !is_admitted(call, D.type_info, it.variant)) ||
        call.end - out < wire_header + fields_width_of<D, tracked, 0>(it.variant)) {
        return nullptr;
    }
    if constexpr (tracked) {
        it.block = state_block(call.handle, call.mem_class, D, instance);
        if (it.block == nullptr) {
            return nullptr;
        }
    }
    u_int8 *start = out;
    out += wire_header;
    const bool written = [&]<size_t... I>(std::index_sequence<I...>) __attribute__((always_inline)) {
        return (encode_versioned_field<D, I, tracked>(call, out, it, check) && ...);
    }
    (std::make_index_sequence<D.field_count>{});
    if (!written) {
        return nullptr;
    }
    start[0] = static_cast<u_int8>(it.variant);
    start[1] = tracked ? VELA_FLAG_TRACKED : 0;
    const u_int32 jump = static_cast<u_int32>(out - start) - VELA_WIRE_VARIANT - VELA_WIRE_OBJECT_FLAG;
    primitive_traits<field_kind::u_int32>::store(start + 2, &jump);
    return out;
}

// ---- unmarshal ------------------------------------------------------------------------------------------------------

template <const structure_descriptor &D, bool tracked>
const u_int8 *decode_versioned(const versioned_call &call, const u_int8 *in, u_int8 *instance);

template <const structure_descriptor &D, u_int32 I, bool tracked>
PTP_CFG_INLINE bool decode_versioned_structures(const versioned_call &call, const u_int8 *&in,
                                                const versioned_instance<u_int8> &it) {
    constexpr const field_descriptor &field = D.fields[I];
    u_int8 *value = it.instance + field.offset;
    for (u_int32 element = 0; element < field.capacity; ++element, value += field.stride) {
        if constexpr (tracked || has_variants(*field.structure)) {
            in = decode_versioned<*field.structure, tracked>(call, in, value);
            if (in == nullptr) {
                return false;
            }
        } else {
            if (!is_latest_encoding<*field.structure>(in)) {
                return false;
            }
            load_instance<*field.structure, headers::all>(in, value);
            in += latest_width(*field.structure);
        }
    }
    return holds_the_rest<D, I, tracked>(call.end - in, it.variant);
}

template <const structure_descriptor &D, u_int32 I, bool tracked>
PTP_CFG_INLINE bool decode_versioned_field(const versioned_call &call, const u_int8 *&in,
                                           const versioned_instance<u_int8> &it) {
    constexpr const field_descriptor &field = D.fields[I];
    if (field.since != 0 && it.variant < field.since) {
        return true;
    }
    u_int8 *value = it.instance + field.offset;
    if constexpr (field.kind == field_kind::structure) {
        if (!decode_versioned_structures<D, I, tracked>(call, in, it)) {
            return false;
        }
    } else if constexpr (field.kind == field_kind::enumeration) {
        vela_instance_header *header = as<vela_instance_header>(value);
        header->type_info = field.enumeration->type_info;
        header->variant = cap_variant(static_cast<int8>(*in), field.enumeration->latest);
        primitive_traits<field_kind::u_int32>::load(in + 1, value_of(static_cast<void *>(value)));
        in += enumeration_wire_width;
    } else if constexpr (is_octets(field.kind)) {
        memcpy(value, in, field.capacity);
        in += field.capacity;
    } else {
        for (u_int32 element = 0; element < field.capacity; ++element, value += field.stride) {
            using P = primitive_traits<field.kind>;
            P::load(in, as<typename P::type>(value));
            in += P::width;
        }
    }
    if constexpr (tracked) {
        memcpy(it.block + field.flag_position, in, flags_width(field));
        in += flags_width(field);
    }
    return true;
}

template <const structure_descriptor &D, bool tracked>
[[gnu::noinline]] const u_int8 *decode_versioned(const versioned_call &call, const u_int8 *in, u_int8 *instance) {
    constexpr u_int8 expected_flags = tracked ? VELA_FLAG_TRACKED : 0;
    if (call.end - in < static_cast<ptrdiff_t>(wire_header)) {
        return nullptr;
    }
    versioned_instance<u_int8> it{instance, in[0], nullptr};
    if (it.variant > static_cast<u_int32>(D.latest) || (in[1] & wire_flags) != expected_flags ||
        call.end - in < wire_header + fields_width_of<D, tracked, 0>(it.variant)) {
        return nullptr;
    }
    if constexpr (tracked) {
        it.block = state_block(call.handle, call.mem_class, D, instance);
        if (it.block == nullptr) {
            return nullptr;
        }
    }
    const u_int8 *start = in;
    in += wire_header;
    const bool read = [&]<size_t... I>(std::index_sequence<I...>) __attribute__((always_inline)) {
        return (decode_versioned_field<D, I, tracked>(call, in, it) && ...);
    }
    (std::make_index_sequence<D.field_count>{});
    u_int32 jump = 0;
    primitive_traits<field_kind::u_int32>::load(start + 2, &jump);
    if (!read || jump > static_cast<u_int32>(in - start) - 2) {
        return nullptr;  // a newer peer wrote more than is known here
    }
    vela_instance_header *header = as<vela_instance_header>(instance);
    header->type_info = D.type_info;
    header->variant = static_cast<int8>(it.variant);
    header->flags |= expected_flags;
    return in;
}

#endif

}  // namespace ptp_cfg
