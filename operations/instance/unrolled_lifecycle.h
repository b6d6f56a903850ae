// Create and destroy for the common case: a handle without hooks, state tracking, older domain or types of its own.
// What differs from zero in a new instance is then constant, and so is which counters move; anything else goes the way
// of structure.cpp, which says what has to happen and in which order.
#pragma once

#include <algorithm>

#include "operations/core/counting.h"
#include "operations/instance/structure.h"
#include "operations/wire/layout.h"

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
    bool own = true;
    for_each_header<D>([&]<u_int32 H>() __attribute__((always_inline)) {
        own = own && has_own_variants(embedded_in<D>.header[H].image.type_info, embedded_in<D>.header[H].image.variant);
    });
    for_each_array<D>([&]<const structure_descriptor & E, u_int32>()
                          __attribute__((always_inline)) { own = own && all_own_variants<E>(); });
    return own;
}

/** Whether what counts the instances that are to be destroyed is sound, down to the last embedded one. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool are_type_infos_sound() {
    bool sound = true;
    for_each_header<D>([&]<u_int32 H>() __attribute__((always_inline)) {
        constexpr const embedded_header &header = embedded_in<D>.header[H];
        if constexpr (header.is_structure) {
            sound = sound && header.image.type_info->magic == VELA_TYPE_INFO_MAGIC &&
                    has_own_variants(header.image.type_info, header.image.variant);
        }
    });
    for_each_array<D>([&]<const structure_descriptor & E, u_int32>()
                          __attribute__((always_inline)) { sound = sound && are_type_infos_sound<E>(); });
    return sound;
}

/** Whether the elements of an array of structures are all made alike, by copying one. */
template <const structure_descriptor &E>
inline constexpr bool is_made_alike = embedded_count<E>.arrays == 0;

template <const structure_descriptor &D>
PTP_CFG_INLINE void stamp_instance(u_int8 *instance, u_int8 flags);

/** Makes the elements of an array that has not been zeroed: the first, and copies of twice as many each time. */
template <const structure_descriptor &E>
PTP_CFG_INLINE void make_elements(u_int8 *elements, u_int32 count) {
    memset(elements, 0, hidden(E.size));
    stamp_instance<E>(elements, VELA_FLAG_NESTED);
    const size_t size = size_t{count} * E.size;
    for (size_t done = E.size; done < size; done *= 2) {
        memcpy(elements + done, elements, std::min(done, size - done));
    }
}

/** Writes the headers of a zeroed instance and of all that it embeds. */
template <const structure_descriptor &D>
PTP_CFG_INLINE void stamp_instance(u_int8 *instance, u_int8 flags) {
    for_each_header<D>([&]<u_int32 H>() __attribute__((always_inline)) {
        constexpr const embedded_header &header = embedded_in<D>.header[H];
        vela_instance_header *stamped = as<vela_instance_header>(instance + header.offset);
        stamped->type_info = header.image.type_info;
        if constexpr (header.image.variant != 0) {
            stamped->variant = header.image.variant;
            stamped->allocated_variant = header.image.variant;
        }
        stamped->flags = H == 0 ? flags : u_int8{VELA_FLAG_NESTED};
    });
    for_each_array<D>([&]<const structure_descriptor & E, u_int32 A>() __attribute__((always_inline)) {
        constexpr const embedded_array &array = embedded_in<D>.array[A];
        u_int8 *elements = instance + array.offset;
        if constexpr (is_made_alike<E>) {
            make_elements<E>(elements, array.field->capacity);
        } else {
            for (u_int32 i = 0; i < array.field->capacity; ++i) {
                stamp_instance<E>(elements + i * array.field->stride, VELA_FLAG_NESTED);
            }
        }
    });
}

/** Zeroes new memory but for arrays whose elements are made as a whole. */
template <const structure_descriptor &D>
PTP_CFG_INLINE void zero_instance(u_int8 *instance) {
    u_int32 done = 0;
    for_each_array<D>([&]<const structure_descriptor & E, u_int32 A>() __attribute__((always_inline)) {
        constexpr const embedded_array &array = embedded_in<D>.array[A];
        if constexpr (is_made_alike<E>) {
            memset(instance + done, 0, array.offset - done);
            done = array.offset + u_int32{array.field->capacity} * array.field->stride;
        }
    });
    memset(instance + done, 0, D.size - done);
}

/** Moves the counters of `Times` instances and of all that they embed, one step a type and place. */
template <const structure_descriptor &D, u_int64 vela_variant_row::*Counter, u_int64 Times>
PTP_CFG_INLINE void count_all() {
    for_each_header<D>([&]<u_int32 H>() __attribute__((always_inline)) {
        constexpr const embedded_header &header = embedded_in<D>.header[H];
        if constexpr (header.is_structure) {
            add_shared(&(header.image.type_info->variant_table->rows[header.image.variant].*Counter), Times);
        }
    });
    for_each_array<D>([&]<const structure_descriptor & E, u_int32 A>() __attribute__((always_inline)) {
        count_all<E, Counter, Times * embedded_in<D>.array[A].field->capacity>();
    });
}

/** Flags of an instance for which destroy has more to do than to count it. */
constexpr u_int8 pending_releases =
    VELA_FLAG_OID | VELA_FLAG_EXTRA_DATA | VELA_FLAG_STTR_OFFSET | VELA_FLAG_OWNED_BLOCK;

/** Whether the elements of an array are of this release and nothing of them is to be given back. */
template <const structure_descriptor &E>
PTP_CFG_INLINE bool elements_have_no_pending_releases(const u_int8 *element, u_int32 count, u_int32 stride) {
    constexpr u_int8 compared[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, pending_releases};
    word_pair difference = {0, 0};
    for (u_int32 i = 0; i < count; ++i, element += stride) {
        word_pair own = {0, 0};
        compare_headers<E>(element, own);
        keep_apart(own);
        difference |= own;
    }
    difference &= constant_word<word_pair>(compared);
    return (difference[0] | difference[1]) == 0;
}

/** Whether an instance and all that it embeds is of this release and nothing of it is to be given back. */
template <const structure_descriptor &D>
PTP_CFG_INLINE bool has_no_pending_releases(const u_int8 *instance) {
    bool none = true;
    for_each_header<D>([&]<u_int32 H>() __attribute__((always_inline)) {
        constexpr const embedded_header &expected = embedded_in<D>.header[H];
        const vela_instance_header *header = as<vela_instance_header>(instance + expected.offset);
        if constexpr (expected.is_structure) {
            none &= header->type_info == expected.image.type_info && header->variant == expected.image.variant &&
                    (header->flags & pending_releases) == 0;
        }
    });
    for_each_array<D>([&]<const structure_descriptor & E, u_int32 A>() __attribute__((always_inline)) {
        constexpr const embedded_array &array = embedded_in<D>.array[A];
        const u_int8 *elements = instance + array.offset;
        if constexpr (is_made_alike<E>) {
            none &= elements_have_no_pending_releases<E>(elements, array.field->capacity, array.field->stride);
        } else {
            for (u_int32 i = 0; i < array.field->capacity; ++i) {
                none &= has_no_pending_releases<E>(elements + i * array.field->stride);
            }
        }
    });
    return none;
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
    if constexpr (has_own_runtime && !has_text(D)) {  // else its texts are given back too
        if (instance != nullptr && instance != D.error_instance && has_defaults_only(handle) &&
            !(holds_references(D) && has_address_references(handle)) &&
            has_no_pending_releases<D>(static_cast<const u_int8 *>(instance)) && are_type_infos_sound<D>()) {
            count_all<D, &vela_variant_row::destroyed, 1>();
            header_of(instance)->type_info = nullptr;
            handle->free(handle->cookie, mem_class, instance);
            return;
        }
    }
    structure_destroy(D, handle, mem_class, instance);
}

}  // namespace ptp_cfg
