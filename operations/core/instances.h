// Access to instances: their headers, the storage of their fields, their types and variants.
#pragma once

#include "operations/core/descriptors.h"

namespace ptp_cfg {

PTP_CFG_INLINE vela_instance_header *header_of(void *instance) { return static_cast<vela_instance_header *>(instance); }
PTP_CFG_INLINE const vela_instance_header *header_of(const void *instance) {
    return static_cast<const vela_instance_header *>(instance);
}
PTP_CFG_INLINE u_int8 *at(void *instance, u_int32 offset) { return static_cast<u_int8 *>(instance) + offset; }
PTP_CFG_INLINE const u_int8 *at(const void *instance, u_int32 offset) {
    return static_cast<const u_int8 *>(instance) + offset;
}

/** Bytes of an instance read as the type that the field's row says they are. */
template <class T>
PTP_CFG_INLINE T *as(u_int8 *bytes) {
    return static_cast<T *>(static_cast<void *>(bytes));
}
template <class T>
PTP_CFG_INLINE const T *as(const u_int8 *bytes) {
    return static_cast<const T *>(static_cast<const void *>(bytes));
}

/** Storage of a field, or of an element of an array field. */
PTP_CFG_INLINE u_int8 *storage(const field_descriptor &field, void *instance, u_int32 element = 0) {
    return at(instance, field.offset) + static_cast<size_t>(element) * field.stride;
}
PTP_CFG_INLINE const u_int8 *storage(const field_descriptor &field, const void *instance, u_int32 element = 0) {
    return at(instance, field.offset) + static_cast<size_t>(element) * field.stride;
}

/** Bytes of an enumeration instance, and where its value lies. */
constexpr u_int32 enumeration_size = 16;
constexpr u_int32 enumeration_value_offset = 12;
constexpr u_int32 enumeration_wire_width = 5;

PTP_CFG_INLINE u_int32 *value_of(void *enumeration) { return as<u_int32>(at(enumeration, enumeration_value_offset)); }
PTP_CFG_INLINE const u_int32 *value_of(const void *enumeration) {
    return as<u_int32>(at(enumeration, enumeration_value_offset));
}

/** Where the value of a field that travels by value lies in an instance. */
constexpr u_int32 value_offset(const field_descriptor &field) {
    return field.offset + (field.enumeration != nullptr ? enumeration_value_offset : 0);
}

/** The type in which a kind of field travels by value. */
template <field_kind K>
struct by_value : primitive_traits<K> {};
template <>
struct by_value<field_kind::enumeration> {
    using type = u_int32;
};
/** A variant limited to the latest; a negative one (no instance) stays as it is. */
PTP_CFG_INLINE int8 cap_variant(int8 variant, int8 latest) { return variant > latest ? latest : variant; }

/** Enters all types of the library into a handle's type table. */
extern "C" void ptp_cfg_typeinfo_initialize(vela_handle *handle, u_int32 mem_class, u_int32 *err);

/** Where instances of a type get their type pointer from: the static type_info or the handle's copy of it. */
PTP_CFG_INLINE const vela_type_info *type_info_for(vela_handle *handle, u_int32 mem_class,
                                                   const vela_type_info *type_info) {
    return handle->shared_type_info == 0
               ? type_info
               : vela_type_info_ptr_get(handle, mem_class, type_info, ptp_cfg_typeinfo_initialize);
}

/** The variant that the handle's domain uses for a type. */
PTP_CFG_INLINE int8 domain_variant(vela_handle *handle, const vela_type_info *type_info, u_int32 *err) {
    return VELA_CALL(vela_domain_lookup_variant)(handle, &handle->variant_domain, type_info, err);
}

/** Lets the runtime bring an instance to the variant that its type_info demands, as every write does first. */
PTP_CFG_INLINE u_int32 adjust(vela_handle *handle, u_int32 mem_class, void *instance, int8 latest, u_int32 *err) {
    return VELA_CALL(velalib_adjust_variant)(
        handle, mem_class, instance, instance == nullptr ? nullptr : header_of(instance)->type_info, latest, err);
}

}  // namespace ptp_cfg
