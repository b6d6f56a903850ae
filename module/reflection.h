// The table behind the public reflection, and the operations of each type under one signature.
#pragma once

#include "operations/operations.h"
#include "ptp_cfg/reflect.h"

struct ptp_cfg_type {
    ptp_cfg_type_kind kind;
    const void *descriptor;  // structure_, enumeration_ or message_descriptor
    const ptp_cfg_operations *operations;
};

namespace ptp_cfg {

using reflected_type = ptp_cfg_type;

/** Every type that is linked in, and how many: structures, enumerations, messages. */
extern const reflected_type reflected_types[];
extern const u_int32 reflected_type_count;
/** The type_infos in the same order, ended by a null pointer. */
extern vela_type_info *const type_table[];

/** What is behind a type, by its kind. */
inline const structure_descriptor &structure_of(const ptp_cfg_type *type) {
    return *static_cast<const structure_descriptor *>(type->descriptor);
}
inline const enumeration_descriptor &enumeration_of(const ptp_cfg_type *type) {
    return *static_cast<const enumeration_descriptor *>(type->descriptor);
}
inline const message_descriptor &message_of(const ptp_cfg_type *type) {
    return *static_cast<const message_descriptor *>(type->descriptor);
}

/** Texts that an instance owns, its nested ones included. */
constexpr u_int32 text_count(const structure_descriptor &type) {
    u_int32 count = 0;
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        count += field.kind == field_kind::var_string ? 1 : 0;
        count += field.structure == nullptr ? 0 : field.capacity * text_count(*field.structure);
    }
    return count;
}

constexpr u_int32 printed_indent = 0;

inline int32 signed_length(u_int32 length) { return length > INT32_MAX ? INT32_MAX : static_cast<int32>(length); }

template <const structure_descriptor &D>
inline constexpr ptp_cfg_operations structure_operations = {
    .size = sizeof(ptp_cfg_operations),
    .create = [](vela_handle *handle, u_int32 mem_class) { return unrolled_of<D>.create(handle, mem_class); },
    .destroy = [](vela_handle *handle, u_int32 mem_class,
                  void *instance) { unrolled_of<D>.destroy(handle, mem_class, instance); },
    .instance_size = [](vela_handle *handle) { return structure_sizeof(D, handle); },
    .len = [](vela_handle *handle, u_int32 mem_class,
              const void *instance) { return structure_len(D, handle, mem_class, instance); },
    .marshal =
        [](vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance, u_int32 room, u_int32 *err) {
            return unrolled_of<D>.marshal(handle, mem_class, buffer, instance, signed_length(room), err);
        },
    .unmarshal =
        [](vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, void *instance, u_int32 length, u_int32 *err) {
            return unrolled_of<D>.unmarshal(handle, mem_class, buffer, instance, signed_length(length), 0, err);
        },
    .compare = [](const void *a, const void *b) { return unrolled_of<D>.compare(a, b); },
    .hash = [](const void *instance, u_int32 seed) { return unrolled_of<D>.hash(instance, seed); },
    .clone =
        [](vela_handle *handle, u_int32 mem_class, const void *instance, u_int32 *err) {
            void *copy = nullptr;
            structure_copy(D, unrolled_of<D>, handle, mem_class, instance, &copy, err);
            return copy;
        },
    .copy = [](vela_handle *handle, u_int32 mem_class, const void *source, void **instance,
               u_int32 *err) { structure_copy(D, unrolled_of<D>, handle, mem_class, source, instance, err); },
    .print =
        [](vela_handle *handle, u_int32 mem_class, char *buffer, const void *instance, u_int32 room, u_int32 *err) {
            return structure_print(D, handle, mem_class, buffer, printed_indent, D.name, instance, room, err);
        },
#ifndef PTP_CFG_WITHOUT_XML
    .to_xml =
        [](vela_handle *handle, u_int32 mem_class, char *buffer, const void *instance, u_int32 room, u_int32 *err) {
            return structure_to_xml(D, handle, mem_class, D.name, buffer, instance, room, 0, err);
        },
    .from_xml =
        [](vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document, void *instance,
           u_int32 *err, char *error_text, u_int32 error_room) {
            structure_from_xml(D, handle, mem_class, path, {document, error_text, error_room}, instance, err);
        },
    .from_document = nullptr,
#else
    .to_xml = nullptr,
    .from_xml = nullptr,
    .from_document = nullptr,
#endif
    .unmarshal_only = nullptr,
    .receive = nullptr,
    .create_shallow = nullptr,
    .take = nullptr,
};

template <const enumeration_descriptor &E>
inline constexpr ptp_cfg_operations enumeration_operations = {
    .size = sizeof(ptp_cfg_operations),
    .create = [](vela_handle *handle, u_int32 mem_class) { return enumeration_create(E, handle, mem_class); },
    .destroy = [](vela_handle *handle, u_int32 mem_class,
                  void *instance) { enumeration_destroy(E, handle, mem_class, instance, 1); },
    .instance_size = [](vela_handle *) { return enumeration_size; },
    .len = [](vela_handle *, u_int32, const void *) { return enumeration_wire_width; },
    .marshal =
        [](vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance, u_int32 room, u_int32 *err) {
            return enumeration_marshal(E, handle, mem_class, buffer, instance, signed_length(room), err);
        },
    .unmarshal =
        [](vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, void *instance, u_int32 length, u_int32 *err) {
            return enumeration_unmarshal(E, handle, mem_class, buffer, instance, signed_length(length), 0, err);
        },
    .compare = [](const void *a, const void *b) { return enumeration_compare(a, b); },
    .hash = [](const void *instance, u_int32 seed) { return enumeration_hash(instance, seed); },
    .clone = nullptr,
    .copy = nullptr,
    .print =
        [](vela_handle *handle, u_int32 mem_class, char *buffer, const void *instance, u_int32 room, u_int32 *err) {
            return enumeration_print(E, handle, mem_class, buffer, printed_indent, E.name, instance, room, err);
        },
#ifndef PTP_CFG_WITHOUT_XML
    .to_xml =
        [](vela_handle *handle, u_int32 mem_class, char *buffer, const void *instance, u_int32 room, u_int32 *err) {
            return enumeration_to_xml(E, handle, mem_class, E.name, buffer, instance, room, err);
        },
    .from_xml =
        [](vela_handle *handle, u_int32, const char *path, vela_xml_document *document, void *instance, u_int32 *err,
           char *error_text, u_int32 error_room) {
            enumeration_from_xml(E, handle, path, {document, error_text, error_room}, instance, err);
        },
    .from_document = nullptr,
#else
    .to_xml = nullptr,
    .from_xml = nullptr,
    .from_document = nullptr,
#endif
    .unmarshal_only = nullptr,
    .receive = nullptr,
    .create_shallow = nullptr,
    .take = nullptr,
};

/** Message is the message's own type, Handler the application's function for it, absent or not. */
template <const message_descriptor &M, class Message,
          void (*Handler)(vela_handle *, u_int32, void *, Message *, u_int32 *)>
inline constexpr ptp_cfg_operations message_operations = {
    .size = sizeof(ptp_cfg_operations),
    .create = [](vela_handle *handle,
                 u_int32 mem_class) { return message_create(M, payload_wire_of<M>, handle, mem_class); },
    .destroy = [](vela_handle *handle, u_int32 mem_class,
                  void *instance) { message_destroy(M, payload_wire_of<M>, handle, mem_class, instance); },
    .instance_size = nullptr,
    .len = [](vela_handle *handle, u_int32 mem_class,
              const void *instance) { return message_len(M, handle, mem_class, instance); },
    .marshal =
        [](vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *instance, u_int32 room, u_int32 *err) {
            // Marshal notes length and header word in the message, as the typed operation does.
            return message_marshal(M, payload_wire_of<M>, handle, mem_class, buffer, const_cast<void *>(instance), room,
                                   err);
        },
    .unmarshal = nullptr,
    .compare = nullptr,
    .hash = nullptr,
    .clone = nullptr,
    .copy = nullptr,
    .print = [](vela_handle *handle, u_int32 mem_class, char *buffer, const void *instance, u_int32 room,
                u_int32 *err) { return message_print(M, handle, mem_class, buffer, instance, room, err); },
#ifndef PTP_CFG_WITHOUT_XML
    .to_xml = [](vela_handle *handle, u_int32 mem_class, char *buffer, const void *instance, u_int32 room,
                 u_int32 *err) { return message_to_xml(M, handle, mem_class, buffer, instance, room, err); },
    .from_xml = nullptr,
    .from_document =
        [](vela_handle *handle, u_int32 mem_class, vela_xml_document *document, u_int32 *err, char *error_text,
           u_int32 error_room) {
            return message_from_xml(M, payload_wire_of<M>, handle, mem_class, {document, error_text, error_room}, err);
        },
#else
    .to_xml = nullptr,
    .from_xml = nullptr,
    .from_document = nullptr,
#endif
    .unmarshal_only =
        [](vela_handle *handle, u_int32 mem_class, void **message, const u_int8 *buffer, u_int32 length, u_int32 *err) {
            return message_unmarshal_only(M, payload_wire_of<M>, handle, mem_class, message, buffer, length, err);
        },
    .receive =
        [](vela_handle *handle, u_int32 mem_class, void *context, void **message, const u_int8 *buffer, u_int32 length,
           u_int32 *err) {
            return message_dispatch(M, payload_wire_of<M>, handle, mem_class, receiver_of(Handler), context, message,
                                    buffer, length, err);
        },
    .create_shallow = [](vela_handle *handle,
                         u_int32 mem_class) { return message_create_shallow(M, handle, mem_class); },
    .take =
        [](vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, u_int32 length, u_int32 *consumed,
           u_int32 *err) {
            return message_take(M, payload_wire_of<M>, handle, mem_class, buffer, length, consumed, err);
        },
};

}  // namespace ptp_cfg
