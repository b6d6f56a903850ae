// The ways of marshal and unmarshal, each tried where the one before it does not do:
//
//   unrolled   an instance at the latest variant, on a handle that neither tracks state nor speaks an older domain: its
//              encoding is a constant layout, so one check of all that must hold, then straight-line stores or loads
//   versioned  older variants and state flags (versioned.h)
//   reference  everything, with every error (../reference.h)
#pragma once

#include "operations/wire/unrolled/versioned.h"

namespace ptp_cfg {

/** Another runtime may encode the primitives in its own way; texts have no constant place behind them. */
template <const structure_descriptor &D>
inline constexpr bool has_unrolled_path = has_own_runtime && !has_text(D);

/** Whether a handle neither tracks state nor holds a mode that the reference path must stop on. */
PTP_CFG_INLINE bool is_untracked(const vela_handle *handle) {
    return handle->sttr_record == nullptr || handle->sttr_record->mode == VELA_STTR_OFF;
}

/** Whether the handle's domain may change something for a type. (With a domain and a hook, all goes the reference path.) */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool domain_has_override(const vela_handle *handle) {
    return handle->variant_domain.overrides != nullptr && (has_variants(D) || handle->pre_write != nullptr);
}

/**
 * Encodes or decodes by the versioned path, with or without state flags.
 * @param go  go<tracked>() returns where the encoding ends, or nullptr
 * @return    bytes of the encoding; 0 when this is for the reference path
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

// What the unrolled path leaves is a function of its own, so that the unrolled path needs no stack frame.

template <const structure_descriptor &D>
[[gnu::noinline]] u_int32 structure_marshal_versioned(vela_handle *handle, u_int32 mem_class, u_int8 *buffer,
                                                      const void *instance, int32 room, u_int32 *err,
                                                      domain_check check) {
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
    count_path(wire_path::reference);
    return structure_marshal_reference(D, handle, mem_class, buffer, instance, room, check, err);
}

template <const structure_descriptor &D>
[[gnu::noinline]] u_int32 structure_unmarshal_versioned(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer,
                                                        void *instance, int32 length, u_int32 mode, u_int32 *err) {
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
    count_path(wire_path::reference);
    return structure_unmarshal_reference(D, handle, mem_class, buffer, instance, length, mode, err);
}

template <const structure_descriptor &D>
PTP_CFG_INLINE u_int32 structure_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance,
                                         int32 room, u_int32 *err, domain_check check = domain_check::always) {
    if constexpr (has_unrolled_path<D>) {
        constexpr u_int32 width = latest_width(D);
        if (*err == 0 && room >= static_cast<int32>(width) && instance != nullptr && !domain_has_override<D>(handle) &&
            is_untracked(handle) && is_at_latest_variant<D>(static_cast<const u_int8 *>(instance))) [[likely]] {
            clear_last_error(handle);
            store_instance<D>(buffer, static_cast<const u_int8 *>(instance));
            count_path(wire_path::unrolled);
            return width;
        }
    }
    return structure_marshal_versioned<D>(handle, mem_class, buffer, instance, room, err, check);
}

template <const structure_descriptor &D>
u_int32 structure_marshal_for_clone(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance,
                                    int32 room, u_int32 *err) {
    return structure_marshal<D>(handle, mem_class, buffer, instance, room, err, domain_check::for_clone);
}

/** Whether an instance may be filled by plain stores, as far as the handle is concerned. */
PTP_CFG_INLINE bool can_fill_directly(const vela_handle *handle) {
    return handle->pre_write == nullptr && handle->shared_type_info == 0 && is_untracked(handle);
}

template <const structure_descriptor &D>
PTP_CFG_INLINE u_int32 structure_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, void *instance,
                                           int32 length, u_int32 mode, u_int32 *err) {
    if constexpr (has_unrolled_path<D>) {
        constexpr u_int32 width = latest_width(D);
        if (*err == 0 && length >= static_cast<int32>(width) && instance != nullptr && can_fill_directly(handle) &&
            has_latest_variants<D>(static_cast<const u_int8 *>(instance)) && is_latest_encoding<D>(buffer)) [[likely]] {
            clear_last_error(handle);
            fill_instance<encoded_source, D, headers::type_infos>(buffer, static_cast<u_int8 *>(instance));
            count_path(wire_path::unrolled);
            return width;
        }
    }
    return structure_unmarshal_versioned<D>(handle, mem_class, buffer, instance, length, mode, err);
}

/**
 * Whether marshal and unmarshal of an instance would both take the unrolled path, so that a copy of its values does
 * their work.
 * @param room  bytes that its encoding may have
 */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool structure_can_copy_directly(const vela_handle *handle, const void *source, int32 room) {
    if constexpr (has_unrolled_path<D>) {
        return source != nullptr && room >= static_cast<int32>(latest_width(D)) && !domain_has_override<D>(handle) &&
               can_fill_directly(handle) && is_at_latest_variant<D>(static_cast<const u_int8 *>(source));
    } else {
        return false;
    }
}

/** Only where structure_can_copy_directly(). `written`: of the destination's headers. */
template <const structure_descriptor &D, headers written>
void structure_copy_directly([[maybe_unused]] vela_handle *handle, [[maybe_unused]] const void *source,
                             [[maybe_unused]] void *destination) {
    if constexpr (has_unrolled_path<D>) {
        clear_last_error(handle);
        count_path(wire_path::unrolled);
        count_path(wire_path::unrolled);
        fill_instance<instance_source, D, written>(static_cast<const u_int8 *>(source),
                                                   static_cast<u_int8 *>(destination));
    }
}

}  // namespace ptp_cfg
