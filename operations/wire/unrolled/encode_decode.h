// The unrolled path: for an instance at the latest variant, on a handle that neither tracks state nor speaks an older
// domain, an encoding is a constant layout. The layout is worked out by the compiler from the descriptor; what is
// left is one check of everything that must hold, then straight-line stores or loads.
#pragma once

#include "operations/instance/unrolled_lifecycle.h"
#include "operations/wire/unrolled/simd_decode.h"
#include "operations/wire/unrolled/values.h"
#include "operations/wire/unrolled/versioned.h"

namespace ptp_cfg {

/** Whether a handle neither tracks state nor holds a mode that the reference path must stop on. */
PTP_CFG_INLINE bool is_untracked(const vela_handle *handle) {
    return handle->sttr_record == nullptr || handle->sttr_record->mode == VELA_STTR_OFF;
}

#ifdef PTP_CFG_EXPORTED_RUNTIME
template <const structure_descriptor &>
inline constexpr bool has_unrolled_path = false;  // another runtime may encode the primitives in its own way
#else

template <const structure_descriptor &D>
inline constexpr bool has_unrolled_path = !has_text(D);

#endif

/** Test builds count for each thread which path its encodings took; see path_counts.cpp. */
enum class wire_path : u_int8 { unrolled, reference, versioned };

#ifdef PTP_CFG_COUNT_PATHS
[[gnu::tls_model("initial-exec")]] extern constinit thread_local u_int64 wire_path_counts[3];
#endif

PTP_CFG_INLINE void count_path([[maybe_unused]] wire_path path) {
#ifdef PTP_CFG_COUNT_PATHS
    ++wire_path_counts[static_cast<u_int8>(path)];
#endif
}

// ---- the public operations ---------------------------------------------------------------------------------------------

#ifndef PTP_CFG_EXPORTED_RUNTIME
/**
 * Writes or reads what varies, with or without state flags, by `go`, which returns where the encoding ends.
 * @return  bytes of the encoding; 0 when this is for the reference path
 */
template <const structure_descriptor &D, class Go>
PTP_CFG_INLINE u_int32 try_versioned(const versioned_call &call, const u_int8 *start, const void *instance,
                                     const u_int32 *err, Go &&go) {
    vela_handle *handle = call.handle;
    if (*err != 0 || instance == nullptr || call.end <= start || handle->pre_write != nullptr) {
        return 0;
    }
    const u_int8 *end = nullptr;
    if (is_untracked(handle)) {
        if constexpr (has_variants(D)) {
            end = go.template operator()<false>();
        }
    } else if (handle->sttr_record->mode == VELA_STTR_ON) {
        end = go.template operator()<true>();
    }
    if (end == nullptr) {
        return 0;
    }
    clear_last_error(handle);
    count_path(wire_path::versioned);
    return static_cast<u_int32>(end - start);
}
#endif

// What the unrolled path leaves is entered from a function of the same arguments, so that it needs no stack frame.
template <const structure_descriptor &D>
[[gnu::noinline]] u_int32 structure_marshal_versioned(vela_handle *handle, u_int32 mem_class, u_int8 *buffer,
                                                      const void *instance, int32 room, u_int32 *err,
                                                      domain_check check) {
#ifndef PTP_CFG_EXPORTED_RUNTIME
    if constexpr (has_unrolled_path<D>) {
        const versioned_call call{handle, mem_class, buffer + (room > 0 ? room : 0)};
        const u_int32 count = try_versioned<D>(call, buffer, instance, err, [&]<bool tracked>() {
            return encode_versioned<D, tracked>(call, buffer, static_cast<const u_int8 *>(instance),
                                                check == domain_check::always);
        });
        if (count != 0) {
            return count;
        }
    }
#endif
    count_path(wire_path::reference);
    return structure_marshal_reference(D, handle, mem_class, buffer, instance, room, check, err);
}

template <const structure_descriptor &D>
[[gnu::noinline]] u_int32 structure_unmarshal_versioned(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer,
                                                        void *instance, int32 length, u_int32 mode, u_int32 *err) {
#ifndef PTP_CFG_EXPORTED_RUNTIME
    if constexpr (has_unrolled_path<D>) {
        const versioned_call call{handle, mem_class, buffer + (length > 0 ? length : 0)};
        const u_int32 count =
            handle->shared_type_info != 0 ? 0 : try_versioned<D>(call, buffer, instance, err, [&]<bool tracked>() {
                return decode_versioned<D, tracked>(call, buffer, static_cast<u_int8 *>(instance));
            });
        if (count != 0) {
            return count;
        }
    }
#endif
    count_path(wire_path::reference);
    return structure_unmarshal_reference(D, handle, mem_class, buffer, instance, length, mode, err);
}

template <const structure_descriptor &D>
[[gnu::noinline, gnu::cold]] u_int32 structure_marshal_slow(vela_handle *handle, u_int32 mem_class, u_int8 *buffer,
                                                            const void *instance, int32 room, u_int32 *err,
                                                            domain_check check) {
    return structure_marshal_versioned<D>(handle, mem_class, buffer, instance, room, err, check);
}

template <const structure_descriptor &D>
[[gnu::noinline, gnu::cold]] u_int32 structure_unmarshal_slow(vela_handle *handle, u_int32 mem_class,
                                                              const u_int8 *buffer, void *instance, int32 length,
                                                              u_int32 mode, u_int32 *err) {
    return structure_unmarshal_versioned<D>(handle, mem_class, buffer, instance, length, mode, err);
}

/** Whether the handle's domain changes nothing for a type. (With a domain and a hook, all goes the reference path.) */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool has_no_say(const vela_handle *handle) {
    return handle->variant_domain.overrides == nullptr || (!has_variants(D) && handle->pre_write == nullptr);
}

template <const structure_descriptor &D>
PTP_CFG_INLINE u_int32 structure_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance,
                                         int32 room, u_int32 *err, domain_check check = domain_check::always) {
#ifndef PTP_CFG_EXPORTED_RUNTIME
    if constexpr (has_unrolled_path<D>) {
        constexpr u_int32 width = latest_width(D);
        if (*err == 0 && room >= static_cast<int32>(width) && instance != nullptr && has_no_say<D>(handle) &&
            is_untracked(handle) && !instance_differs<D>(static_cast<const u_int8 *>(instance))) {
            clear_last_error(handle);
            store_instance<D>(buffer, static_cast<const u_int8 *>(instance));
            count_path(wire_path::unrolled);
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

/** Whether nothing but the bytes and the instance can keep an unmarshal from the unrolled path. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool can_unmarshal_unrolled(const vela_handle *handle, const void *instance, int32 length,
                                           const u_int32 *err) {
    return *err == 0 && length >= static_cast<int32>(latest_width(D)) && instance != nullptr &&
           handle->pre_write == nullptr && handle->shared_type_info == 0 && is_untracked(handle);
}

template <const structure_descriptor &D>
PTP_CFG_INLINE u_int32 structure_unmarshal_by_value(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer,
                                                    void *instance, int32 length, u_int32 mode, u_int32 *err) {
#ifndef PTP_CFG_EXPORTED_RUNTIME
    if constexpr (has_unrolled_path<D>) {
        if (can_unmarshal_unrolled<D>(handle, instance, length, err) &&
            has_latest_variants<D>(static_cast<const u_int8 *>(instance)) && is_latest_encoding<D>(buffer)) {
            clear_last_error(handle);
            load_instance<D, headers::type_infos>(buffer, static_cast<u_int8 *>(instance));
            count_path(wire_path::unrolled);
            return latest_width(D);
        }
    }
#endif
    return structure_unmarshal_slow<D>(handle, mem_class, buffer, instance, length, mode, err);
}

#ifdef PTP_CFG_HAS_AVX2
template <const structure_descriptor &D>
[[gnu::noinline]] u_int32 structure_unmarshal_otherwise(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer,
                                                        void *instance, int32 length, u_int32 mode, u_int32 *err) {
    return structure_unmarshal_by_value<D>(handle, mem_class, buffer, instance, length, mode, err);
}

template <const structure_descriptor &D>
[[gnu::noinline, gnu::target("avx2")]] u_int32 structure_unmarshal_simd(vela_handle *handle, u_int32 mem_class,
                                                                        const u_int8 *buffer, void *instance,
                                                                        int32 length, u_int32 mode, u_int32 *err) {
    if (can_unmarshal_unrolled<D>(handle, instance, length, err) &&
        load_if_it_fits<D>(buffer, static_cast<u_int8 *>(instance))) {
        clear_last_error(handle);
        count_path(wire_path::unrolled);
        return latest_width(D);
    }
    return structure_unmarshal_otherwise<D>(handle, mem_class, buffer, instance, length, mode, err);
}
#endif

template <const structure_descriptor &D>
PTP_CFG_INLINE u_int32 structure_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, void *instance,
                                           int32 length, u_int32 mode, u_int32 *err) {
#ifdef PTP_CFG_HAS_AVX2
    if constexpr (reads_by_chunks<D>()) {
        if (has_avx2) {
            return structure_unmarshal_simd<D>(handle, mem_class, buffer, instance, length, mode, err);
        }
        return structure_unmarshal_otherwise<D>(handle, mem_class, buffer, instance, length, mode, err);
    }
#endif
    return structure_unmarshal_by_value<D>(handle, mem_class, buffer, instance, length, mode, err);
}

/**
 * Whether marshal and unmarshal of an instance would both take the unrolled path, so that copy_instance() does their work.
 * @param room  bytes that its encoding may have
 */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool structure_can_copy_directly([[maybe_unused]] const vela_handle *handle,
                                                [[maybe_unused]] const void *source, [[maybe_unused]] int32 room) {
#ifndef PTP_CFG_EXPORTED_RUNTIME
    if constexpr (has_unrolled_path<D>) {
        return source != nullptr && room >= static_cast<int32>(latest_width(D)) && has_no_say<D>(handle) &&
               handle->pre_write == nullptr && handle->shared_type_info == 0 && is_untracked(handle) &&
               !instance_differs<D>(static_cast<const u_int8 *>(source));
    }
#endif
    return false;
}

template <const structure_descriptor &D, bool to_new_instance>
void structure_copy_directly([[maybe_unused]] vela_handle *handle, [[maybe_unused]] const void *source,
                             [[maybe_unused]] void *destination) {
#ifndef PTP_CFG_EXPORTED_RUNTIME
    if constexpr (has_unrolled_path<D>) {
        clear_last_error(handle);
        count_path(wire_path::unrolled);
        count_path(wire_path::unrolled);
        copy_instance<D, to_new_instance ? headers::known : headers::all>(static_cast<const u_int8 *>(source),
                                                                          static_cast<u_int8 *>(destination));
    }
#endif
}

}  // namespace ptp_cfg
