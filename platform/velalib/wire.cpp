// The exported forms of the wire primitives that belong to no single type.
#include "velalib_inline.h"

u_int32 _vela_instance_variant_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, int8 variant,
                                       u_int32 room, u_int32 *err) {
    return vela_inline::_vela_instance_variant_marshal(handle, mem_class, buffer, variant, room, err);
}

u_int32 _vela_instance_variant_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, int8 *variant,
                                         u_int32 room, u_int32 *err) {
    return vela_inline::_vela_instance_variant_unmarshal(handle, mem_class, buffer, variant, room, err);
}

u_int32 _vela_instance_obj_flag_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, u_int8 flag,
                                        u_int32 room, u_int32 *err) {
    return vela_inline::_vela_instance_obj_flag_marshal(handle, mem_class, buffer, flag, room, err);
}

u_int32 _vela_instance_obj_flag_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, u_int8 *flag,
                                          u_int32 room, u_int32 *err) {
    return vela_inline::_vela_instance_obj_flag_unmarshal(handle, mem_class, buffer, flag, room, err);
}

u_int32 _vela_instance_ra_data_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, u_int8 kind,
                                       u_int64 data, u_int32 room, u_int32 *err) {
    return vela_inline::_vela_instance_ra_data_marshal(handle, mem_class, buffer, kind, data, room, err);
}

u_int32 _vela_instance_ra_data_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, u_int8 *kind,
                                         u_int64 *data, u_int32 room, u_int32 *err) {
    return vela_inline::_vela_instance_ra_data_unmarshal(handle, mem_class, buffer, kind, data, room, err);
}

u_int32 _vela_variant_jump_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, u_int32 jump, u_int32 room,
                                   u_int32 *err) {
    return vela_inline::_vela_variant_jump_marshal(handle, mem_class, buffer, jump, room, err);
}

u_int32 _vela_variant_jump_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, u_int32 *jump,
                                     u_int32 room, u_int32 *err) {
    return vela_inline::_vela_variant_jump_unmarshal(handle, mem_class, buffer, jump, room, err);
}

u_int32 _vela_message_header_marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer,
                                     const vela_message_header *header, u_int32 room, u_int32 *err) {
    return vela_inline::_vela_message_header_marshal(handle, mem_class, buffer, header, room, err);
}

u_int32 _vela_message_header_unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer,
                                       vela_message_header *header, u_int32 room, u_int32 *err) {
    return vela_inline::_vela_message_header_unmarshal(handle, mem_class, buffer, header, room, err);
}
