// The fast path: for an instance at the newest variant, on a handle that neither tracks state nor speaks an older
// domain, an encoding is a constant layout. The layout is worked out by the compiler from the descriptor; what is
// left is one check of everything that must hold, then straight-line stores or loads.
#pragma once

#include "families/lifecycle_fast.h"
#include "families/wire_runs.h"
#include "families/wire_wide.h"

namespace ptp_cfg {

#ifdef PTP_CFG_EXPORTED_RUNTIME
template <const structure_descriptor &>
inline constexpr bool has_fast_path = false;  // another runtime may encode the primitives in its own way
#else

template <const structure_descriptor &D>
inline constexpr bool has_fast_path = !has_text(D);

/** Whether a handle neither tracks state nor holds a mode that the exact path must stop on. */
PTP_CFG_INLINE bool is_untracked(const vela_handle *handle) {
    return handle->sttr_record == nullptr || handle->sttr_record->mode == VELA_STTR_OFF;
}

// ---- stores and loads ------------------------------------------------------------------------------------------------

template <const structure_descriptor &D>
PTP_CFG_INLINE void store_instance(u_int8 *bytes, const u_int8 *instance) {
    constexpr prefix_bytes prefix = newest_prefix(D);
    memcpy(bytes, prefix.data(), wire_header);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        u_int8 *out = bytes + wire_offset(D, I);
        const u_int8 *value = instance + field.offset;
        if constexpr (within_longs(D, I)) {
            return;  // written with the field before it
        } else if constexpr (begins_longs(D, I)) {
            copy_swapped(out, value, longs_length(D, I));
        } else if constexpr (field.kind == field_kind::enumeration) {
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

/** What of an instance's headers a load or copy writes. */
enum class headers { none, records, all };

template <headers written>
PTP_CFG_INLINE void load_header(u_int8 *instance, const vela_type_info *record, int8 newest) {
    if constexpr (written != headers::none) {
        as<vela_instance_header>(instance)->type_info = record;
    }
    if constexpr (written == headers::all) {
        as<vela_instance_header>(instance)->variant = newest;
    }
}

/** Non-zero when an instance outside arrays of structures that is to be at variant 0 is at another. */
template <const structure_descriptor &D>
PTP_CFG_INLINE u_int8 zero_variants_differ(const u_int8 *instance) {
    u_int8 differs = D.newest == 0 ? instance[variant_offset] : 0;
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (field.kind == field_kind::enumeration && field.enumeration->newest == 0) {
            differs |= instance[field.offset + variant_offset];
        } else if constexpr (field.kind == field_kind::structure && !field.is_array) {
            differs |= zero_variants_differ<*field.structure>(instance + field.offset);
        }
    });
    return differs;
}

/** Whether all that are to be at a later variant are: few, for which a branch each is shorter than to gather them. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool later_variants_stand(const u_int8 *instance) {
    bool stand = D.newest == 0 || instance[variant_offset] == static_cast<u_int8>(D.newest);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (field.kind == field_kind::enumeration && field.enumeration->newest != 0) {
            stand = stand && instance[field.offset + variant_offset] == static_cast<u_int8>(field.enumeration->newest);
        } else if constexpr (field.kind == field_kind::structure && !field.is_array) {
            stand = stand && later_variants_stand<*field.structure>(instance + field.offset);
        }
    });
    return stand;
}

/** Whether the variants of an instance, arrays of structures left out, are what a decoding leaves there. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool variants_stand(const u_int8 *instance) {
    return zero_variants_differ<D>(instance) == 0 && later_variants_stand<D>(instance);
}

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

/** Whether compare_headers() found a difference in a record or variant. */
PTP_CFG_INLINE bool headers_differ(word_pair differs) {
    constexpr u_int8 compared[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    differs &= constant_word<word_pair>(compared);
    return (differs[0] | differs[1]) != 0;
}

/** Writes records and variants of the elements of an array. */
template <const structure_descriptor &D>
void write_headers(u_int8 *element, u_int32 count, u_int32 stride) {
    for (u_int32 i = 0; i < count; ++i, element += stride) {
        for (u_int32 h = 0; h < header_count(D); ++h) {
            load_header<headers::all>(element + headers_of<D>.offset[h], headers_of<D>.image[h].record,
                                      headers_of<D>.image[h].variant);
        }
    }
}

/** Loads all values, and of the instances outside arrays of structures what `written` says of their headers. */
template <const structure_descriptor &D, headers written>
PTP_CFG_INLINE void load_instance(const u_int8 *bytes, u_int8 *instance) {
    load_header<written>(instance, D.record, D.newest);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        const u_int8 *in = bytes + wire_offset(D, I);
        u_int8 *value = instance + field.offset;
        if constexpr (continues_run(D, I)) {
            return;  // read with the field before it
        } else if constexpr (field.kind == field_kind::enumeration) {
            load_header<written>(value, field.enumeration->record, field.enumeration->newest);
            primitive_traits<field_kind::u_int32>::load(in + 1, value_of(static_cast<void *>(value)));
        } else if constexpr (is_octets(field.kind)) {
            memcpy(value, in, run_length(D, I));
        } else if constexpr (field.kind == field_kind::vela_boolean) {
            load_truths<run_length(D, I)>(in, value);  // 0 or 1: other truths are read on the exact path
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
    u_int8 encoded[P::width];
    P::store(encoded, as<T>(from));
    P::load(encoded, as<T>(to));
}

/** Copies all values as an encoding at the newest variant carries them; `written` as of load_instance(). */
template <const structure_descriptor &D, headers written = headers::all>
PTP_CFG_INLINE void copy_instance(const u_int8 *source, u_int8 *destination) {
    load_header<written>(destination, D.record, D.newest);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        const u_int8 *from = source + field.offset;
        u_int8 *to = destination + field.offset;
        if constexpr (field.kind == field_kind::enumeration) {
            load_header<written>(to, field.enumeration->record, field.enumeration->newest);
            *value_of(static_cast<void *>(to)) = *value_of(static_cast<const void *>(from));
        } else if constexpr (field.kind == field_kind::u_int8 && field.is_array) {
            memcpy(to, from, field.capacity);
        } else if constexpr (field.kind == field_kind::structure && field.is_array) {
            constexpr const structure_descriptor &E = *field.structure;
            word_pair differs = {0, 0};
#pragma GCC unroll 4
            for (u_int32 i = 0; i < field.capacity; ++i) {
                compare_headers<E>(to + i * field.stride, differs);
                copy_instance<E, headers::none>(from + i * field.stride, to + i * field.stride);
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

// The exact path is entered from a function of the same arguments, so that the fast path needs no stack frame.
template <const structure_descriptor &D>
[[gnu::noinline, gnu::cold]] u_int32 structure_marshal_slow(vela_handle *handle, u_int32 mem_class, u_int8 *buffer,
                                                            const void *instance, int32 room, u_int32 *err,
                                                            domain_check check) {
    count_path(handle, false);
    return structure_marshal_exact(D, handle, mem_class, buffer, instance, room, check, err);
}

template <const structure_descriptor &D>
[[gnu::noinline, gnu::cold]] u_int32 structure_unmarshal_slow(vela_handle *handle, u_int32 mem_class,
                                                              const u_int8 *buffer, void *instance, int32 length,
                                                              u_int32 mode, u_int32 *err) {
    count_path(handle, false);
    return structure_unmarshal_exact(D, handle, mem_class, buffer, instance, length, mode, err);
}

template <const structure_descriptor &D>
PTP_CFG_INLINE u_int32 structure_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance,
                                         int32 room, u_int32 *err, domain_check check = domain_check::always) {
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
    return structure_marshal_slow<D>(handle, mem_class, buffer, instance, room, err, check);
}

template <const structure_descriptor &D>
u_int32 structure_marshal_for_clone(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance,
                                    int32 room, u_int32 *err) {
    return structure_marshal<D>(handle, mem_class, buffer, instance, room, err, domain_check::for_clone);
}

/** Whether nothing but the bytes and the instance can keep an unmarshal from the fast path. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool may_unmarshal_fast(const vela_handle *handle, const void *instance, int32 length,
                                       const u_int32 *err) {
    return *err == 0 && length >= static_cast<int32>(newest_width(D)) && instance != nullptr &&
           handle->pre_write == nullptr && handle->shared_type_info == 0 && is_untracked(handle);
}

template <const structure_descriptor &D>
PTP_CFG_INLINE u_int32 structure_unmarshal_by_value(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer,
                                                    void *instance, int32 length, u_int32 mode, u_int32 *err) {
#ifndef PTP_CFG_EXPORTED_RUNTIME
    if constexpr (has_fast_path<D>) {
        if (may_unmarshal_fast<D>(handle, instance, length, err) &&
            variants_stand<D>(static_cast<const u_int8 *>(instance)) && is_newest_encoding<D>(buffer)) {
            clear_last_error(handle);
            load_instance<D, headers::records>(buffer, static_cast<u_int8 *>(instance));
            count_path(handle, true);
            return newest_width(D);
        }
    }
#endif
    return structure_unmarshal_slow<D>(handle, mem_class, buffer, instance, length, mode, err);
}

#ifdef PTP_CFG_HAS_WIDE_LOADS
template <const structure_descriptor &D>
[[gnu::noinline]] u_int32 structure_unmarshal_otherwise(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer,
                                                        void *instance, int32 length, u_int32 mode, u_int32 *err) {
    return structure_unmarshal_by_value<D>(handle, mem_class, buffer, instance, length, mode, err);
}

template <const structure_descriptor &D>
[[gnu::noinline, gnu::target("avx2")]] u_int32 structure_unmarshal_wide(vela_handle *handle, u_int32 mem_class,
                                                                        const u_int8 *buffer, void *instance,
                                                                        int32 length, u_int32 mode, u_int32 *err) {
    if (may_unmarshal_fast<D>(handle, instance, length, err) &&
        load_if_it_fits<D>(buffer, static_cast<u_int8 *>(instance))) {
        clear_last_error(handle);
        count_path(handle, true);
        return newest_width(D);
    }
    return structure_unmarshal_otherwise<D>(handle, mem_class, buffer, instance, length, mode, err);
}
#endif

template <const structure_descriptor &D>
PTP_CFG_INLINE u_int32 structure_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, void *instance,
                                           int32 length, u_int32 mode, u_int32 *err) {
#ifdef PTP_CFG_HAS_WIDE_LOADS
    if constexpr (reads_by_chunks<D>()) {
        if (has_avx2) {
            return structure_unmarshal_wide<D>(handle, mem_class, buffer, instance, length, mode, err);
        }
        return structure_unmarshal_otherwise<D>(handle, mem_class, buffer, instance, length, mode, err);
    }
#endif
    return structure_unmarshal_by_value<D>(handle, mem_class, buffer, instance, length, mode, err);
}

/**
 * Whether marshal and unmarshal of an instance would both take the fast path, so that copy_instance() does their work.
 * @param room  bytes that its encoding may have
 */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool structure_copies_plainly([[maybe_unused]] const vela_handle *handle,
                                             [[maybe_unused]] const void *source, [[maybe_unused]] int32 room) {
#ifndef PTP_CFG_EXPORTED_RUNTIME
    if constexpr (has_fast_path<D>) {
        return source != nullptr && room >= static_cast<int32>(newest_width(D)) &&
               handle->variant_domain.overrides == nullptr && handle->pre_write == nullptr &&
               handle->shared_type_info == 0 && is_untracked(handle) &&
               instance_differs<D>(static_cast<const u_int8 *>(source)) == 0;
    }
#endif
    return false;
}

template <const structure_descriptor &D>
void structure_copy_plainly([[maybe_unused]] vela_handle *handle, [[maybe_unused]] const void *source,
                            [[maybe_unused]] void *destination) {
#ifndef PTP_CFG_EXPORTED_RUNTIME
    if constexpr (has_fast_path<D>) {
        clear_last_error(handle);
        count_path(handle, true);
        count_path(handle, true);
        copy_instance<D>(static_cast<const u_int8 *>(source), static_cast<u_int8 *>(destination));
    }
#endif
}

/** The unrolled operations of one structure, for code that knows it by its descriptor only. */
struct wire_functions {
    void *(*create)(vela_handle *, u_int32);
    void (*destroy)(vela_handle *, u_int32, void *);
    u_int32 (*marshal)(vela_handle *, u_int32, u_int8 *, const void *, int32, u_int32 *);
    u_int32 (*marshal_for_clone)(vela_handle *, u_int32, u_int8 *, const void *, int32, u_int32 *);
    u_int32 (*unmarshal)(vela_handle *, u_int32, const u_int8 *, void *, int32, u_int32, u_int32 *);
    /** Of structures only. */
    bool (*copies_plainly)(const vela_handle *, const void *, int32) = nullptr;
    void (*copy_plainly)(vela_handle *, const void *, void *) = nullptr;
};

template <const structure_descriptor &D>
inline constexpr wire_functions wire_of = {
    structure_create<D>,
    structure_destroy<D>,
    [](vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance, int32 room, u_int32 *err) {
        return structure_marshal<D>(handle, mem_class, buffer, instance, room, err);
    },
    structure_marshal_for_clone<D>,
    structure_unmarshal<D>,
    structure_copies_plainly<D>,
    structure_copy_plainly<D>};

}  // namespace ptp_cfg
