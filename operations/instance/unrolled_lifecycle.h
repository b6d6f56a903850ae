// Create and destroy for the common case: a handle without hooks, state tracking, older domain or types of its own.
// What differs from zero in a new instance is then constant, and so is which counters move; anything else goes the way
// of structure.cpp, which says what has to happen and in which order.
#pragma once

#include "operations/core/counting.h"
#include "operations/core/unroll.h"
#include "operations/core/words.h"
#include "operations/instance/simd_arrays.h"
#include "operations/instance/structure.h"

namespace ptp_cfg {

/** Whether nothing on the handle asks for more than plain stores. */
PTP_CFG_INLINE bool has_defaults_only(const vela_handle *handle) {
    return handle->pre_write == nullptr && handle->pre_write_counter == nullptr && handle->shared_type_info == 0 &&
           handle->variant_domain.overrides == nullptr && handle->sttr_record == nullptr;
}

/** Whether a type_info's variants are those of this release, as the constant stores assume. */
PTP_CFG_INLINE bool has_own_variants(const vela_type_info *type_info, int8 latest) {
    return type_info->variant_table != nullptr && type_info->variant_table->count == latest + 1;
}

/** Whether the type_infos that a new instance points at are as the constant stores assume. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool all_own_variants() {
    bool own = has_own_variants(D.type_info, D.latest);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (field.kind == field_kind::structure) {
            own = own && all_own_variants<*field.structure>();
        } else if constexpr (field.kind == field_kind::enumeration) {
            own = own && has_own_variants(field.enumeration->type_info, field.enumeration->latest);
        }
    });
    return own;
}

template <int8 Latest>
PTP_CFG_INLINE void stamp_header(vela_instance_header *header, const vela_type_info *type_info, u_int8 flags) {
    header->type_info = type_info;
    if constexpr (Latest != 0) {
        header->variant = Latest;
        header->allocated_variant = Latest;
    }
    header->flags = flags;
}

/** Whether a field is an array of structures whose elements are all made alike, by copying one. */
constexpr bool is_made_alike(const field_descriptor &field) {
    if (field.kind != field_kind::structure || !field.is_array) {
        return false;
    }
    for (u_int32 i = 0; i < field.structure->field_count; ++i) {
        const field_descriptor &inner = field.structure->fields[i];
        if (inner.kind == field_kind::structure && inner.is_array) {
            return false;
        }
    }
    return true;
}

/** Whether what counts the instances that are to be destroyed is sound, down to the last nested one. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool are_type_infos_sound() {
    bool sound = D.type_info->magic == VELA_TYPE_INFO_MAGIC && has_own_variants(D.type_info, D.latest);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (field.kind == field_kind::structure) {
            sound = sound && are_type_infos_sound<*field.structure>();
        }
    });
    return sound;
}

/** Writes the elements of an array that begins at an offset of a new instance. */
template <const structure_descriptor &E, u_int32 offset, u_int32 count>
PTP_CFG_INLINE void make_elements(u_int8 *elements) {
#ifdef PTP_CFG_HAS_AVX2
    if (has_avx2) {
        make_elements_simd<E, offset, count * E.size>(elements);
        return;
    }
#endif
    for (u_int32 element = 0; element < count; ++element) {
        copy_words<E.size>(elements + element * E.size, element_image<E>.data());
    }
}

/** Writes the headers of a zeroed instance and of all that it embeds. */
template <const structure_descriptor &D>
PTP_CFG_INLINE void stamp_instance(u_int8 *instance, u_int8 flags) {
    stamp_header<D.latest>(as<vela_instance_header>(instance), D.type_info, flags);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        u_int8 *value = instance + field.offset;
        if constexpr (field.kind == field_kind::enumeration) {
            stamp_header<field.enumeration->latest>(as<vela_instance_header>(value), field.enumeration->type_info,
                                                    VELA_FLAG_NESTED);
        } else if constexpr (is_made_alike(field)) {
            static_assert(field.stride == field.structure->size);
            make_elements<*field.structure, field.offset, field.capacity>(value);
        } else if constexpr (field.kind == field_kind::structure) {
            for (u_int32 element = 0; element < field.capacity; ++element) {
                stamp_instance<*field.structure>(value + element * field.stride, VELA_FLAG_NESTED);
            }
        }
    });
}

/** Zeroes new memory but for arrays whose elements are copied as a whole. */
template <const structure_descriptor &D>
PTP_CFG_INLINE void zero_instance(u_int8 *instance) {
    u_int32 done = 0;
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (is_made_alike(field)) {
            memset(instance + done, 0, field.offset - done);
            done = field.offset + u_int32{field.capacity} * field.stride;
        }
    });
    memset(instance + done, 0, D.size - done);
}

/** Moves the counters of `Times` instances and of all that they embed, one step a type and place. */
template <const structure_descriptor &D, u_int64 vela_variant_row::*Counter, u_int64 Times>
PTP_CFG_INLINE void count_all() {
    add_shared(&(D.type_info->variant_table->rows[D.latest].*Counter), Times);
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        if constexpr (field.kind == field_kind::structure) {
            count_all<*field.structure, Counter, Times * field.capacity>();
        }
    });
}

constexpr u_int8 pending_releases =
    VELA_FLAG_OID | VELA_FLAG_EXTRA_DATA | VELA_FLAG_STTR_OFFSET | VELA_FLAG_OWNED_BLOCK;

/** Whether the elements of an array are of this release and owe nobody anything. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool elements_have_no_pending_releases(const u_int8 *element, u_int32 count, u_int32 stride) {
    constexpr u_int8 compared[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, pending_releases};
    word_pair differs = {0, 0};
    for (u_int32 i = 0; i < count; ++i, element += stride) {
        word_pair own = {0, 0};
        compare_headers<D>(element, own);
        keep_apart(own);
        differs |= own;
    }
    differs &= constant_word<word_pair>(compared);
    return (differs[0] | differs[1]) == 0;
}

/** Whether an instance and all that it embeds is of this release and owes nobody anything. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool has_no_pending_releases(const u_int8 *instance) {
    const vela_instance_header *header = as<vela_instance_header>(instance);
    bool nothing =
        header->type_info == D.type_info && header->variant == D.latest && (header->flags & pending_releases) == 0;
    for_each_field<D>([&]<u_int32 I>() __attribute__((always_inline)) {
        constexpr const field_descriptor &field = D.fields[I];
        const u_int8 *value = instance + field.offset;
        if constexpr (is_made_alike(field)) {
            nothing &= elements_have_no_pending_releases<*field.structure>(value, field.capacity, field.stride);
        } else if constexpr (field.kind == field_kind::structure) {
            for (u_int32 element = 0; element < field.capacity; ++element) {
                nothing &= has_no_pending_releases<*field.structure>(value + element * field.stride);
            }
        }
    });
    return nothing;
}

/** Whether destroy may have object references of addresses to give back. */
constexpr bool holds_references(const structure_descriptor &type) {
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (field.kind == field_kind::en_address ||
            (field.kind == field_kind::structure && holds_references(*field.structure))) {
            return true;
        }
    }
    return false;
}

template <const structure_descriptor &D>
void *structure_create(vela_handle *handle, u_int32 mem_class) {
    // Another runtime decides on variants and counts by itself.
    if (has_own_runtime && trace_is_initialized() && handle->chained_mode == 0 && has_defaults_only(handle) &&
        all_own_variants<D>()) {
        void *memory = handle->alloc(handle->cookie, mem_class, D.size);
        if (memory == nullptr) {
            return nullptr;
        }
        zero_instance<D>(static_cast<u_int8 *>(memory));
        clear_last_error(handle);
        stamp_instance<D>(static_cast<u_int8 *>(memory), 0);
        count_all<D, &vela_variant_row::created, 1>();
        return memory;
    }
    return structure_create(D, handle, mem_class);
}

template <const structure_descriptor &D>
void structure_destroy(vela_handle *handle, u_int32 mem_class, void *instance) {
#ifndef PTP_CFG_EXPORTED_RUNTIME
    if constexpr (!has_text(D)) {  // else its texts are given back too
        if (instance != nullptr && instance != D.error_instance && has_defaults_only(handle) &&
            !(holds_references(D) && vela_inline::has_address_references(handle)) &&
            has_no_pending_releases<D>(static_cast<const u_int8 *>(instance)) && are_type_infos_sound<D>()) {
            count_all<D, &vela_variant_row::destroyed, 1>();
            header_of(instance)->type_info = nullptr;
            handle->free(handle->cookie, mem_class, instance);
            return;
        }
    }
#endif
    structure_destroy(D, handle, mem_class, instance);
}

}  // namespace ptp_cfg
