/**
 * Inline forms of the primitives' operations, written out so that every name can be found. Each does what the
 * exported function of its name does; P_store and P_load are the bare wire forms, without any check.
 */
#ifndef VELALIB_INLINE_PRIMITIVES_H
#define VELALIB_INLINE_PRIMITIVES_H

#include "velalib/inline/forms.h"

namespace vela_inline {

/* ---- u_int8 ---------------------------------------------------------------------------------------------- */

VELA_INLINE void u_int8_store(u_int8 *out, const u_int8 *value) { integer_form<u_int8>::store(out, value); }
VELA_INLINE void u_int8_load(const u_int8 *in, u_int8 *value) { integer_form<u_int8>::load(in, value); }
VELA_INLINE u_int32 u_int8_marshal(vela_handle *handle, u_int32, u_int8 *buffer, const u_int8 *value, u_int32 room,
                                   u_int32 *err) {
    return form_marshal<integer_form<u_int8>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 u_int8_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, u_int8 *value, u_int32 room,
                                     u_int32, u_int32 *err) {
    return form_unmarshal<integer_form<u_int8>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 u_int8_len(vela_handle *, u_int32, const u_int8 *value) {
    return form_len<integer_form<u_int8>>(value);
}
VELA_INLINE int32 u_int8_compare(const u_int8 *a, const u_int8 *b) { return form_compare<integer_form<u_int8>>(a, b); }
VELA_INLINE u_int32 u_int8_hash(const u_int8 *value, u_int32 seed) {
    return form_hash<integer_form<u_int8>>(value, seed);
}
VELA_INLINE u_int8 *u_int8_get(vela_handle *handle, u_int32, u_int8 *value, u_int32 *err) {
    return value_get(handle, value, err);
}
VELA_INLINE void u_int8_set(vela_handle *handle, u_int32 mem_class, u_int8 *destination, const u_int8 *source,
                            u_int32 *err) {
    value_set(handle, mem_class, destination, source, err);
}
VELA_INLINE u_int8 u_int8_get_value(vela_handle *handle, u_int32, const u_int8 *value, u_int32 *err) {
    return number_get(handle, value, err);
}
VELA_INLINE void u_int8_set_value(vela_handle *handle, u_int32 mem_class, u_int8 *destination, u_int8 value,
                                  u_int32 *err) {
    number_set(handle, mem_class, destination, value, err);
}

/* ---- u_int16 --------------------------------------------------------------------------------------------- */

VELA_INLINE void u_int16_store(u_int8 *out, const u_int16 *value) { integer_form<u_int16>::store(out, value); }
VELA_INLINE void u_int16_load(const u_int8 *in, u_int16 *value) { integer_form<u_int16>::load(in, value); }
VELA_INLINE u_int32 u_int16_marshal(vela_handle *handle, u_int32, u_int8 *buffer, const u_int16 *value, u_int32 room,
                                    u_int32 *err) {
    return form_marshal<integer_form<u_int16>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 u_int16_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, u_int16 *value, u_int32 room,
                                      u_int32, u_int32 *err) {
    return form_unmarshal<integer_form<u_int16>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 u_int16_len(vela_handle *, u_int32, const u_int16 *value) {
    return form_len<integer_form<u_int16>>(value);
}
VELA_INLINE int32 u_int16_compare(const u_int16 *a, const u_int16 *b) {
    return form_compare<integer_form<u_int16>>(a, b);
}
VELA_INLINE u_int32 u_int16_hash(const u_int16 *value, u_int32 seed) {
    return form_hash<integer_form<u_int16>>(value, seed);
}
VELA_INLINE u_int16 *u_int16_get(vela_handle *handle, u_int32, u_int16 *value, u_int32 *err) {
    return value_get(handle, value, err);
}
VELA_INLINE void u_int16_set(vela_handle *handle, u_int32 mem_class, u_int16 *destination, const u_int16 *source,
                             u_int32 *err) {
    value_set(handle, mem_class, destination, source, err);
}
VELA_INLINE u_int16 u_int16_get_value(vela_handle *handle, u_int32, const u_int16 *value, u_int32 *err) {
    return number_get(handle, value, err);
}
VELA_INLINE void u_int16_set_value(vela_handle *handle, u_int32 mem_class, u_int16 *destination, u_int16 value,
                                   u_int32 *err) {
    number_set(handle, mem_class, destination, value, err);
}

/* ---- u_int32 --------------------------------------------------------------------------------------------- */

VELA_INLINE void u_int32_store(u_int8 *out, const u_int32 *value) { integer_form<u_int32>::store(out, value); }
VELA_INLINE void u_int32_load(const u_int8 *in, u_int32 *value) { integer_form<u_int32>::load(in, value); }
VELA_INLINE u_int32 u_int32_marshal(vela_handle *handle, u_int32, u_int8 *buffer, const u_int32 *value, u_int32 room,
                                    u_int32 *err) {
    return form_marshal<integer_form<u_int32>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 u_int32_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, u_int32 *value, u_int32 room,
                                      u_int32, u_int32 *err) {
    return form_unmarshal<integer_form<u_int32>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 u_int32_len(vela_handle *, u_int32, const u_int32 *value) {
    return form_len<integer_form<u_int32>>(value);
}
VELA_INLINE int32 u_int32_compare(const u_int32 *a, const u_int32 *b) {
    return form_compare<integer_form<u_int32>>(a, b);
}
VELA_INLINE u_int32 u_int32_hash(const u_int32 *value, u_int32 seed) {
    return form_hash<integer_form<u_int32>>(value, seed);
}
VELA_INLINE u_int32 *u_int32_get(vela_handle *handle, u_int32, u_int32 *value, u_int32 *err) {
    return value_get(handle, value, err);
}
VELA_INLINE void u_int32_set(vela_handle *handle, u_int32 mem_class, u_int32 *destination, const u_int32 *source,
                             u_int32 *err) {
    value_set(handle, mem_class, destination, source, err);
}
VELA_INLINE u_int32 u_int32_get_value(vela_handle *handle, u_int32, const u_int32 *value, u_int32 *err) {
    return number_get(handle, value, err);
}
VELA_INLINE void u_int32_set_value(vela_handle *handle, u_int32 mem_class, u_int32 *destination, u_int32 value,
                                   u_int32 *err) {
    number_set(handle, mem_class, destination, value, err);
}

/* ---- u_int64 --------------------------------------------------------------------------------------------- */

VELA_INLINE void u_int64_store(u_int8 *out, const u_int64 *value) { integer_form<u_int64>::store(out, value); }
VELA_INLINE void u_int64_load(const u_int8 *in, u_int64 *value) { integer_form<u_int64>::load(in, value); }
VELA_INLINE u_int32 u_int64_marshal(vela_handle *handle, u_int32, u_int8 *buffer, const u_int64 *value, u_int32 room,
                                    u_int32 *err) {
    return form_marshal<integer_form<u_int64>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 u_int64_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, u_int64 *value, u_int32 room,
                                      u_int32, u_int32 *err) {
    return form_unmarshal<integer_form<u_int64>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 u_int64_len(vela_handle *, u_int32, const u_int64 *value) {
    return form_len<integer_form<u_int64>>(value);
}
VELA_INLINE int32 u_int64_compare(const u_int64 *a, const u_int64 *b) {
    return form_compare<integer_form<u_int64>>(a, b);
}
VELA_INLINE u_int32 u_int64_hash(const u_int64 *value, u_int32 seed) {
    return form_hash<integer_form<u_int64>>(value, seed);
}
VELA_INLINE u_int64 *u_int64_get(vela_handle *handle, u_int32, u_int64 *value, u_int32 *err) {
    return value_get(handle, value, err);
}
VELA_INLINE void u_int64_set(vela_handle *handle, u_int32 mem_class, u_int64 *destination, const u_int64 *source,
                             u_int32 *err) {
    value_set(handle, mem_class, destination, source, err);
}
VELA_INLINE u_int64 u_int64_get_value(vela_handle *handle, u_int32, const u_int64 *value, u_int32 *err) {
    return number_get(handle, value, err);
}
VELA_INLINE void u_int64_set_value(vela_handle *handle, u_int32 mem_class, u_int64 *destination, u_int64 value,
                                   u_int32 *err) {
    number_set(handle, mem_class, destination, value, err);
}

/* ---- int8 ------------------------------------------------------------------------------------------------ */

VELA_INLINE void int8_store(u_int8 *out, const int8 *value) { integer_form<int8>::store(out, value); }
VELA_INLINE void int8_load(const u_int8 *in, int8 *value) { integer_form<int8>::load(in, value); }
VELA_INLINE u_int32 int8_marshal(vela_handle *handle, u_int32, u_int8 *buffer, const int8 *value, u_int32 room,
                                 u_int32 *err) {
    return form_marshal<integer_form<int8>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 int8_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, int8 *value, u_int32 room,
                                   u_int32, u_int32 *err) {
    return form_unmarshal<integer_form<int8>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 int8_len(vela_handle *, u_int32, const int8 *value) { return form_len<integer_form<int8>>(value); }
VELA_INLINE int32 int8_compare(const int8 *a, const int8 *b) { return form_compare<integer_form<int8>>(a, b); }
VELA_INLINE u_int32 int8_hash(const int8 *value, u_int32 seed) { return form_hash<integer_form<int8>>(value, seed); }
VELA_INLINE int8 *int8_get(vela_handle *handle, u_int32, int8 *value, u_int32 *err) {
    return value_get(handle, value, err);
}
VELA_INLINE void int8_set(vela_handle *handle, u_int32 mem_class, int8 *destination, const int8 *source, u_int32 *err) {
    value_set(handle, mem_class, destination, source, err);
}
VELA_INLINE int8 int8_get_value(vela_handle *handle, u_int32, const int8 *value, u_int32 *err) {
    return number_get(handle, value, err);
}
VELA_INLINE void int8_set_value(vela_handle *handle, u_int32 mem_class, int8 *destination, int8 value, u_int32 *err) {
    number_set(handle, mem_class, destination, value, err);
}

/* ---- int16 ----------------------------------------------------------------------------------------------- */

VELA_INLINE void int16_store(u_int8 *out, const int16 *value) { integer_form<int16>::store(out, value); }
VELA_INLINE void int16_load(const u_int8 *in, int16 *value) { integer_form<int16>::load(in, value); }
VELA_INLINE u_int32 int16_marshal(vela_handle *handle, u_int32, u_int8 *buffer, const int16 *value, u_int32 room,
                                  u_int32 *err) {
    return form_marshal<integer_form<int16>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 int16_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, int16 *value, u_int32 room,
                                    u_int32, u_int32 *err) {
    return form_unmarshal<integer_form<int16>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 int16_len(vela_handle *, u_int32, const int16 *value) {
    return form_len<integer_form<int16>>(value);
}
VELA_INLINE int32 int16_compare(const int16 *a, const int16 *b) { return form_compare<integer_form<int16>>(a, b); }
VELA_INLINE u_int32 int16_hash(const int16 *value, u_int32 seed) { return form_hash<integer_form<int16>>(value, seed); }
VELA_INLINE int16 *int16_get(vela_handle *handle, u_int32, int16 *value, u_int32 *err) {
    return value_get(handle, value, err);
}
VELA_INLINE void int16_set(vela_handle *handle, u_int32 mem_class, int16 *destination, const int16 *source,
                           u_int32 *err) {
    value_set(handle, mem_class, destination, source, err);
}
VELA_INLINE int16 int16_get_value(vela_handle *handle, u_int32, const int16 *value, u_int32 *err) {
    return number_get(handle, value, err);
}
VELA_INLINE void int16_set_value(vela_handle *handle, u_int32 mem_class, int16 *destination, int16 value,
                                 u_int32 *err) {
    number_set(handle, mem_class, destination, value, err);
}

/* ---- int32 ----------------------------------------------------------------------------------------------- */

VELA_INLINE void int32_store(u_int8 *out, const int32 *value) { integer_form<int32>::store(out, value); }
VELA_INLINE void int32_load(const u_int8 *in, int32 *value) { integer_form<int32>::load(in, value); }
VELA_INLINE u_int32 int32_marshal(vela_handle *handle, u_int32, u_int8 *buffer, const int32 *value, u_int32 room,
                                  u_int32 *err) {
    return form_marshal<integer_form<int32>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 int32_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, int32 *value, u_int32 room,
                                    u_int32, u_int32 *err) {
    return form_unmarshal<integer_form<int32>>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 int32_len(vela_handle *, u_int32, const int32 *value) {
    return form_len<integer_form<int32>>(value);
}
VELA_INLINE int32 int32_compare(const int32 *a, const int32 *b) { return form_compare<integer_form<int32>>(a, b); }
VELA_INLINE u_int32 int32_hash(const int32 *value, u_int32 seed) { return form_hash<integer_form<int32>>(value, seed); }
VELA_INLINE int32 *int32_get(vela_handle *handle, u_int32, int32 *value, u_int32 *err) {
    return value_get(handle, value, err);
}
VELA_INLINE void int32_set(vela_handle *handle, u_int32 mem_class, int32 *destination, const int32 *source,
                           u_int32 *err) {
    value_set(handle, mem_class, destination, source, err);
}
VELA_INLINE int32 int32_get_value(vela_handle *handle, u_int32, const int32 *value, u_int32 *err) {
    return number_get(handle, value, err);
}
VELA_INLINE void int32_set_value(vela_handle *handle, u_int32 mem_class, int32 *destination, int32 value,
                                 u_int32 *err) {
    number_set(handle, mem_class, destination, value, err);
}

/* ---- vela_boolean ---------------------------------------------------------------------------------------- */

VELA_INLINE void vela_boolean_store(u_int8 *out, const vela_boolean *value) { boolean_form::store(out, value); }
VELA_INLINE void vela_boolean_load(const u_int8 *in, vela_boolean *value) { boolean_form::load(in, value); }
VELA_INLINE u_int32 vela_boolean_marshal(vela_handle *handle, u_int32, u_int8 *buffer, const vela_boolean *value,
                                         u_int32 room, u_int32 *err) {
    return form_marshal<boolean_form>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 vela_boolean_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, vela_boolean *value,
                                           u_int32 room, u_int32, u_int32 *err) {
    return form_unmarshal<boolean_form>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 vela_boolean_len(vela_handle *, u_int32, const vela_boolean *value) {
    return form_len<boolean_form>(value);
}
VELA_INLINE int32 vela_boolean_compare(const vela_boolean *a, const vela_boolean *b) {
    return form_compare<boolean_form>(a, b);
}
VELA_INLINE u_int32 vela_boolean_hash(const vela_boolean *value, u_int32 seed) {
    return form_hash<boolean_form>(value, seed);
}
VELA_INLINE vela_boolean *vela_boolean_get(vela_handle *handle, u_int32, vela_boolean *value, u_int32 *err) {
    return value_get(handle, value, err);
}
VELA_INLINE void vela_boolean_set(vela_handle *handle, u_int32 mem_class, vela_boolean *destination,
                                  const vela_boolean *source, u_int32 *err) {
    value_set(handle, mem_class, destination, source, err);
}
VELA_INLINE vela_boolean vela_boolean_get_value(vela_handle *handle, u_int32, const vela_boolean *value, u_int32 *err) {
    return number_get(handle, value, err);
}
VELA_INLINE void vela_boolean_set_value(vela_handle *handle, u_int32 mem_class, vela_boolean *destination,
                                        vela_boolean value, u_int32 *err) {
    number_set(handle, mem_class, destination, value, err);
}

/* ---- en_address ------------------------------------------------------------------------------------------ */

VELA_INLINE void en_address_store(u_int8 *out, const en_address *value) { en_address_form::store(out, value); }
VELA_INLINE void en_address_load(const u_int8 *in, en_address *value) { en_address_form::load(in, value); }
VELA_INLINE u_int32 en_address_marshal(vela_handle *handle, u_int32, u_int8 *buffer, const en_address *value,
                                       u_int32 room, u_int32 *err) {
    return form_marshal<en_address_form>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 en_address_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, en_address *value,
                                         u_int32 room, u_int32, u_int32 *err) {
    return form_unmarshal<en_address_form>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 en_address_len(vela_handle *, u_int32, const en_address *value) {
    return form_len<en_address_form>(value);
}
VELA_INLINE int32 en_address_compare(const en_address *a, const en_address *b) {
    return form_compare<en_address_form>(a, b);
}
VELA_INLINE u_int32 en_address_hash(const en_address *value, u_int32 seed) {
    return form_hash<en_address_form>(value, seed);
}
VELA_INLINE en_address *en_address_get(vela_handle *handle, u_int32, en_address *value, u_int32 *err) {
    return value_get(handle, value, err);
}
VELA_INLINE void en_address_set(vela_handle *handle, u_int32 mem_class, en_address *destination,
                                const en_address *source, u_int32 *err) {
    value_set(handle, mem_class, destination, source, err);
}

/* ---- ip_address ------------------------------------------------------------------------------------------ */

VELA_INLINE void ip_address_store(u_int8 *out, const ip_address *value) { ip_address_form::store(out, value); }
VELA_INLINE void ip_address_load(const u_int8 *in, ip_address *value) { ip_address_form::load(in, value); }
VELA_INLINE u_int32 ip_address_marshal(vela_handle *handle, u_int32, u_int8 *buffer, const ip_address *value,
                                       u_int32 room, u_int32 *err) {
    return form_marshal<ip_address_form>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 ip_address_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, ip_address *value,
                                         u_int32 room, u_int32, u_int32 *err) {
    return form_unmarshal<ip_address_form>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 ip_address_len(vela_handle *, u_int32, const ip_address *value) {
    return form_len<ip_address_form>(value);
}
VELA_INLINE int32 ip_address_compare(const ip_address *a, const ip_address *b) {
    return form_compare<ip_address_form>(a, b);
}
VELA_INLINE u_int32 ip_address_hash(const ip_address *value, u_int32 seed) {
    return form_hash<ip_address_form>(value, seed);
}
VELA_INLINE ip_address *ip_address_get(vela_handle *handle, u_int32, ip_address *value, u_int32 *err) {
    return value_get(handle, value, err);
}
VELA_INLINE void ip_address_set(vela_handle *handle, u_int32 mem_class, ip_address *destination,
                                const ip_address *source, u_int32 *err) {
    value_set(handle, mem_class, destination, source, err);
}

/* ---- vrf_info -------------------------------------------------------------------------------------------- */

VELA_INLINE void vrf_info_store(u_int8 *out, const vrf_info *value) { vrf_info_form::store(out, value); }
VELA_INLINE void vrf_info_load(const u_int8 *in, vrf_info *value) { vrf_info_form::load(in, value); }
VELA_INLINE u_int32 vrf_info_marshal(vela_handle *handle, u_int32, u_int8 *buffer, const vrf_info *value, u_int32 room,
                                     u_int32 *err) {
    return form_marshal<vrf_info_form>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 vrf_info_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, vrf_info *value,
                                       u_int32 room, u_int32, u_int32 *err) {
    return form_unmarshal<vrf_info_form>(handle, buffer, value, room, err);
}
VELA_INLINE u_int32 vrf_info_len(vela_handle *, u_int32, const vrf_info *value) {
    return form_len<vrf_info_form>(value);
}
VELA_INLINE int32 vrf_info_compare(const vrf_info *a, const vrf_info *b) { return form_compare<vrf_info_form>(a, b); }
VELA_INLINE u_int32 vrf_info_hash(const vrf_info *value, u_int32 seed) { return form_hash<vrf_info_form>(value, seed); }
VELA_INLINE vrf_info *vrf_info_get(vela_handle *handle, u_int32, vrf_info *value, u_int32 *err) {
    return value_get(handle, value, err);
}
VELA_INLINE void vrf_info_set(vela_handle *handle, u_int32 mem_class, vrf_info *destination, const vrf_info *source,
                              u_int32 *err) {
    value_set(handle, mem_class, destination, source, err);
}

}  // namespace vela_inline

#endif
