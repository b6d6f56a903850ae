// Sending a message: its length and its bytes.
#include "operations/core/operation_call.h"
#include "operations/core/visit.h"
#include "operations/message/message.h"

namespace ptp_cfg {

static u_int32 payload_len(const payload_descriptor &type, vela_handle *handle, u_int32 mem_class,
                           const void *payload) {
    return visit_kind(
        type,
        [&](const structure_descriptor &structure) { return structure_len(structure, handle, mem_class, payload); },
        [&](auto primitive) {
            using P = decltype(primitive);
            return payload == nullptr ? P::width
                                      : P::len(handle, mem_class, static_cast<const typename P::type *>(payload));
        });
}

u_int32 message_len(const message_descriptor &type, vela_handle *handle, u_int32 mem_class, const void *message) {
    if (message == nullptr) {
        return 0;
    }
    const message_instance *instance = static_cast<const message_instance *>(message);
    u_int32 len = message_prefix;
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        len += payload_len(type.payloads[i], handle, mem_class, instance->payload[i]);
    }
    return len;
}

// ---- marshal -------------------------------------------------------------------------------------------------------------

/** Whether the handle's domain and its open bundle take the message. */
static bool admitted(const message_descriptor &type, vela_handle *handle, u_int32 mem_class, u_int32 *err) {
    if (vela_domain_lookup_message_ok(handle, &handle->variant_domain, type.type_info, err) == 0) {
        emit(type.trace, trace::message::domain_refused, type.name, type.type_info->luid_text, handle->domain_name);
        fail(handle, VELA_EDOMAIN, err);
        return false;
    }
    if (handle->bundle_open != nullptr &&
        bundle_message_validate_add(handle, mem_class, type.luid, type.display_name, err) == 0) {
        emit(type.trace, trace::message::bundle_refused, type.name, error_text(*err));
        return false;
    }
    return *err == 0;
}

/** Writes room for the header, the identity and the payloads. Returns how far that came. */
static u_int32 write_body(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                          u_int32 mem_class, u_int8 *buffer, const message_instance *message, u_int32 room,
                          u_int32 *err) {
    if (room < VELA_WIRE_MESSAGE_HEADER) {
        fail(handle, VELA_EMSGSIZE, err);
        return 0;
    }
    memset(buffer, 0, VELA_WIRE_MESSAGE_HEADER);
    if (room < message_prefix) {
        fail(handle, VELA_EMSGSIZE, err);
        return VELA_WIRE_MESSAGE_HEADER;
    }
    memcpy(buffer + VELA_WIRE_MESSAGE_HEADER, type.luid, VELA_WIRE_LUID);
    u_int32 count = message_prefix;
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        if (message->payload[i] == nullptr && type.payloads[i].structure == nullptr && *err == 0) {
            fail(handle, VELA_EINVAL, err, "the message holds no payload");  // a primitive has no encoding for "absent"
        }
        count += wire.function[i]->marshal(handle, mem_class, buffer + count, message->payload[i],
                                           signed_room(room - count), err);
    }
    return count;
}

u_int32 message_marshal(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                        u_int32 mem_class, u_int8 *buffer, void *message, u_int32 room, u_int32 *err) {
    operation_call call({type.type_name, nullptr, "marshal", "marshal_cr"}, handle, err);
    if (!call.open(type, trace::message::marshal_error)) {
        return 0;
    }
    if (message == nullptr) {
        call.refuse("the message is null");
        return 0;
    }
    if (!admitted(type, handle, mem_class, err)) {
        return 0;
    }
    message_instance *instance = static_cast<message_instance *>(message);
    const u_int32 count = write_body(type, wire, handle, mem_class, buffer, instance, room, err);
    if (*err != 0) {
        const trace::entry failed{trace::message::marshal_failed.position, velalib_suppress_messages_enabled() != 0
                                                                               ? u_int32{BITLOG_DEBUG}
                                                                               : u_int32{BITLOG_ERROR}};
        emit(type.trace, failed, type.name, error_text(*err));
        return count;
    }
    if (handle->bundle_open != nullptr && bundle_message_increment_count(handle, type.luid, err) == 0) {
        emit(type.trace, trace::message::bundle_missing, type.name, error_text(*err));
        return count;
    }
    notify(handle, mem_class, &instance->block.length, sizeof instance->block.length);
    instance->block.length = count;
    notify(handle, mem_class, &instance->block.word, sizeof instance->block.word);
    instance->block.word = handle->msg_header_word;
    VELA_CALL(_vela_message_header_marshal)
    (handle, mem_class, buffer, &instance->block, VELA_WIRE_MESSAGE_HEADER, err);
    return count;
}

}  // namespace ptp_cfg
