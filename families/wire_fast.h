// The fast path: for an instance at the newest variant, on a handle that neither tracks state nor speaks an older
// domain, an encoding is a constant layout. The layout is worked out by the compiler from the descriptor; what is
// left is one check of everything that must hold, then straight-line stores or loads.
#pragma once

#include "families/lifecycle_fast.h"
#include "families/unroll.h"
#include "families/wire.h"

namespace ptp_cfg {

// ---- the constant layout -------------------------------------------------------------------------------------------

constexpr bool has_text(const structure_descriptor &type) {
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (field.kind == field_kind::var_string || (field.structure != nullptr && has_text(*field.structure))) {
            return true;
        }
    }
    return false;
}

constexpr u_int32 newest_width(const structure_descriptor &type);

constexpr u_int32 element_width(const field_descriptor &field) {
    if (field.kind == field_kind::structure) {
        return newest_width(*field.structure);
    }
    return field.kind == field_kind::enumeration ? enumeration_wire_width : primitive_width(field.kind);
}

/** Where field `index` begins in an encoding at the newest variant. */
constexpr u_int32 wire_offset(const structure_descriptor &type, u_int32 index) {
    u_int32 offset = wire_header;
    for (u_int32 i = 0; i < index; ++i) {
        offset += type.fields[i].capacity * element_width(type.fields[i]);
    }
    return offset;
}

constexpr u_int32 newest_width(const structure_descriptor &type) { return wire_offset(type, type.field_count); }

#ifdef PTP_CFG_EXPORTED_RUNTIME
template <const structure_descriptor &>
inline constexpr bool has_fast_path = false;  // another runtime may encode the primitives in its own way
#else

template <const structure_descriptor &D>
inline constexpr bool has_fast_path = !has_text(D);

/** The six bytes that begin an instance. */
struct prefix_bytes {
    u_int8 byte[wire_header];
};

template <const structure_descriptor &D>
inline constexpr prefix_bytes newest_prefix = [] {
    const u_int32 jump = newest_width(D) - VELA_WIRE_VARIANT - VELA_WIRE_OBJECT_FLAG;
    return prefix_bytes{{static_cast<u_int8>(D.newest), 0, static_cast<u_int8>(jump >> 24),
                         static_cast<u_int8>(jump >> 16), static_cast<u_int8>(jump >> 8), static_cast<u_int8>(jump)}};
}();

// ---- what must hold -------------------------------------------------------------------------------------------------

/** Non-zero when an instance is not at variant V, or carries a flag in `flags`. */
template <int8 V>
PTP_CFG_INLINE u_int32 header_differs(const u_int8 *instance, u_int8 flags) {
    const vela_instance_header *header = as<vela_instance_header>(instance);
    return static_cast<u_int32>(static_cast<u_int8>(header->variant ^ V)) | (header->flags & flags);
}

/** Non-zero when an instance needs the exact path to be written. */
template <const structure_descriptor &D>
PTP_CFG_INLINE u_int32 instance_differs(const u_int8 *instance) {
    u_int32 differs = header_differs<D.newest>(instance, VELA_FLAG_EXTRA_DATA);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (field.kind == field_kind::enumeration) {
            differs |= header_differs<field.enumeration->newest>(instance + field.offset, 0);
        } else if constexpr (field.kind == field_kind::structure) {
            for (u_int32 element = 0; element < field.capacity; ++element) {
                differs |= instance_differs<*field.structure>(instance + field.offset + element * field.stride);
            }
        }
    });
    return differs;
}

/** Non-zero when bytes are not an untracked encoding at the newest variants throughout. */
template <const structure_descriptor &D>
PTP_CFG_INLINE u_int32 encoding_differs(const u_int8 *bytes) {
    u_int32 differs = memcmp(bytes, &newest_prefix<D>, wire_header) != 0;
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        constexpr u_int32 offset = wire_offset(D, I);
        if constexpr (field.kind == field_kind::enumeration) {
            differs |= static_cast<u_int8>(bytes[offset] ^ static_cast<u_int8>(field.enumeration->newest));
        } else if constexpr (field.kind == field_kind::structure) {
            for (u_int32 element = 0; element < field.capacity; ++element) {
                differs |= encoding_differs<*field.structure>(bytes + offset + element * element_width(field));
            }
        }
    });
    return differs;
}

/** Whether a handle neither tracks state nor holds a mode that the exact path must stop on. */
PTP_CFG_INLINE bool is_untracked(const vela_handle *handle) {
    return handle->sttr_record == nullptr || handle->sttr_record->mode == VELA_STTR_OFF;
}

// ---- stores and loads ------------------------------------------------------------------------------------------------

template <const structure_descriptor &D>
PTP_CFG_INLINE void store_instance(u_int8 *bytes, const u_int8 *instance) {
    memcpy(bytes, &newest_prefix<D>, wire_header);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        u_int8 *out = bytes + wire_offset(D, I);
        const u_int8 *value = instance + field.offset;
        if constexpr (field.kind == field_kind::enumeration) {
            *out = static_cast<u_int8>(field.enumeration->newest);
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

template <const structure_descriptor &D>
PTP_CFG_INLINE void load_instance(const u_int8 *bytes, u_int8 *instance) {
    vela_instance_header *header = as<vela_instance_header>(instance);
    header->type_info = D.record;
    header->variant = D.newest;
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        const u_int8 *in = bytes + wire_offset(D, I);
        u_int8 *value = instance + field.offset;
        if constexpr (field.kind == field_kind::enumeration) {
            vela_instance_header *enumeration = as<vela_instance_header>(value);
            enumeration->type_info = field.enumeration->record;
            enumeration->variant = field.enumeration->newest;
            primitive_traits<field_kind::u_int32>::load(in + 1, value_of(static_cast<void *>(value)));
        } else if constexpr (field.kind == field_kind::u_int8 && field.is_array) {
            memcpy(value, in, field.capacity);
        } else {
            for (u_int32 element = 0; element < field.capacity; ++element) {
                if constexpr (field.kind == field_kind::structure) {
                    load_instance<*field.structure>(in, value);
                } else {
                    using P = primitive_traits<field.kind>;
                    P::load(in, as<typename P::type>(value));
                }
                in += element_width(field);
                value += field.stride;
            }
        }
    });
}
#endif

/** Test builds count on the handle which path an encoding took; see vela_handle::wire_paths. */
PTP_CFG_INLINE void count_path(vela_handle *handle, bool fast) {
#ifdef PTP_CFG_COUNT_PATHS
    ++handle->wire_paths[fast ? 0 : 1];
#else
    (void)handle;
    (void)fast;
#endif
}

// ---- the public operations ---------------------------------------------------------------------------------------------

template <const structure_descriptor &D>
u_int32 structure_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance, int32 room,
                          u_int32 *err, domain_check check = domain_check::always) {
#ifndef PTP_CFG_EXPORTED_RUNTIME
    if constexpr (has_fast_path<D>) {
        constexpr u_int32 width = newest_width(D);
        if (*err == 0 && room >= static_cast<int32>(width) && instance != nullptr &&
            handle->variant_domain.overrides == nullptr && is_untracked(handle) &&
            instance_differs<D>(static_cast<const u_int8 *>(instance)) == 0) {
            clear_last_error(handle);
            store_instance<D>(buffer, static_cast<const u_int8 *>(instance));
            count_path(handle, true);
            return width;
        }
    }
#endif
    count_path(handle, false);
    return structure_marshal_exact(D, handle, mem_class, buffer, instance, room, check, err);
}

template <const structure_descriptor &D>
u_int32 structure_marshal_for_clone(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance,
                                    int32 room, u_int32 *err) {
    return structure_marshal<D>(handle, mem_class, buffer, instance, room, err, domain_check::for_clone);
}

template <const structure_descriptor &D>
u_int32 structure_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, void *instance, int32 length,
                            u_int32 mode, u_int32 *err) {
#ifndef PTP_CFG_EXPORTED_RUNTIME
    if constexpr (has_fast_path<D>) {
        constexpr u_int32 width = newest_width(D);
        if (*err == 0 && length >= static_cast<int32>(width) && instance != nullptr && handle->pre_write == nullptr &&
            handle->shared_type_info == 0 && is_untracked(handle) && encoding_differs<D>(buffer) == 0) {
            clear_last_error(handle);
            load_instance<D>(buffer, static_cast<u_int8 *>(instance));
            count_path(handle, true);
            return width;
        }
    }
#endif
    count_path(handle, false);
    return structure_unmarshal_exact(D, handle, mem_class, buffer, instance, length, mode, err);
}

/** The unrolled operations of one structure, for code that knows it by its descriptor only. */
struct wire_functions {
    void *(*create)(vela_handle *, u_int32);
    void (*destroy)(vela_handle *, u_int32, void *);
    u_int32 (*marshal)(vela_handle *, u_int32, u_int8 *, const void *, int32, u_int32 *);
    u_int32 (*marshal_for_clone)(vela_handle *, u_int32, u_int8 *, const void *, int32, u_int32 *);
    u_int32 (*unmarshal)(vela_handle *, u_int32, const u_int8 *, void *, int32, u_int32, u_int32 *);
};

template <const structure_descriptor &D>
inline constexpr wire_functions wire_of = {
    structure_create<D>, structure_destroy<D>,
    [](vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance, int32 room, u_int32 *err) {
        return structure_marshal<D>(handle, mem_class, buffer, instance, room, err);
    },
    structure_marshal_for_clone<D>, structure_unmarshal<D>};

}  // namespace ptp_cfg
