// Receiving a message: it is decoded, recorded when recording is on, and given to whoever wants it.
#include <errno.h>

#include "operations/message/message.h"
#include "operations/text/xml.h"

// A product's own runtime may do without these counters.
#pragma weak velalib_msg_recorder_skip

namespace ptp_cfg {

namespace {

#ifdef PTP_CFG_WITHOUT_XML
/** A record is XML: without that each message is counted as one that could not be recorded. */
void record(const message_descriptor &type, vela_handle *, u_int32, const void *) {
    emit(type.trace, trace::message::record_failed, u_int32{VELA_ENOSYS});
    if (velalib_msg_recorder_skip != nullptr) {
        velalib_msg_recorder_skip(type.luid, type.name, VELA_ENOSYS);
    }
}
#else
constexpr u_int32 record_size = 4096;

/** Renders a message as one record; returns the characters. */
u_int32 render_record(const message_descriptor &type, vela_handle *handle, u_int32 mem_class, char *buffer,
                      const void *message, u_int32 *err) {
    u_int32 count = start_tag_timestamp(handle, mem_class, buffer, "ptp_cfg", record_size, err);
    if (*err == 0) {
        count += message_to_xml(type, handle, mem_class, buffer + count, message, record_size - count, err);
    }
    if (*err == 0) {
        count += end_tag(handle, mem_class, buffer + count, "ptp_cfg", record_size - count, err);
    }
    return count;
}

/** Writes a record to the recorder's stream. Returns 0 or why it is not there. */
u_int32 write_record(const message_descriptor &type, const char *text, u_int32 count) {
    FILE *stream = velalib_msg_recorder_get_handle();
    if (stream == nullptr) {
        emit(type.trace, trace::message::record_no_stream);
        return VELA_ENOENT;
    }
    // One call per record keeps the records of several threads whole.
    errno = 0;
    const bool written = fwrite(text, count, 1, stream) == 1;
    return written ? 0 : static_cast<u_int32>(errno != 0 ? errno : EIO);
}

/** Writes a message to the recorder's stream. What goes wrong is traced and counted; delivery goes on. */
void record(const message_descriptor &type, vela_handle *handle, u_int32 mem_class, const void *message) {
    char *buffer = static_cast<char *>(velalib_malloc(nullptr, mem_class, record_size));
    if (buffer == nullptr) {
        fatal(type.trace, trace::message::record_no_memory);
    }
    u_int32 err = 0;
    const u_int32 count = render_record(type, handle, mem_class, buffer, message, &err);
    u_int32 lost = err;
    if (err == 0) {
        lost = write_record(type, buffer, count);
    } else {
        emit(type.trace, trace::message::not_recorded, err, count);
    }
    velalib_free(nullptr, mem_class, buffer);
    if (err != 0) {
        emit(type.trace, trace::message::record_failed, err);
        clear_last_error(handle);  // receiving did not fail
    }
    if (lost != 0 && velalib_msg_recorder_skip != nullptr) {
        velalib_msg_recorder_skip(type.luid, type.name, lost);
    }
}
#endif

/** Stores a message where the caller asked for it, if it did. */
void hand_out(void *out, void *message) {
    if (out != nullptr) {
        memcpy(out, &message, sizeof message);  // the caller's pointer has the message's own type
    }
}

void record_if_on(const message_descriptor &type, vela_handle *handle, u_int32 mem_class, const void *message) {
    if (velalib_msg_recorder_get_state() != 0) {
        record(type, handle, mem_class, message);
    }
}

/** Gives a message to whoever wants it; false, with error 38, when nobody does. */
bool deliver(const message_descriptor &type, const receiver &to, vela_handle *handle, u_int32 mem_class, void *context,
             void *message, u_int32 *err) {
    if (to.function == nullptr) {
        fail_in({type.type_name, nullptr, "unmarshal"}, handle, VELA_ENOSYS, err);
        emit(type.trace, trace::message::default_handler);
        return false;
    }
    to.call(to.function, handle, mem_class, context, message, err);
    return true;
}

/** Decodes and records; a part of both calls below, so that neither pays for a call more. */
PTP_CFG_INLINE void *take(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                          u_int32 mem_class, const u_int8 *buffer, u_int32 length, u_int32 *consumed, u_int32 *err) {
    *consumed = 0;
    if (*err != 0) {
        emit(type.trace, trace::message::unmarshal_error, type.name, error_text(*err));
        return nullptr;
    }
    void *message = nullptr;
    *consumed = message_unmarshal_only(type, wire, handle, mem_class, &message, buffer, length, err);
    if (*err != 0) {
        message_destroy(type, wire, handle, mem_class, message);
        return nullptr;
    }
    record_if_on(type, handle, mem_class, message);
    return message;
}

}  // namespace

u_int32 message_unmarshal_only(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                               u_int32 mem_class, void **out, const u_int8 *buffer, u_int32 length, u_int32 *err) {
    if (*err != 0) {
        emit(type.trace, trace::message::unmarshal_only_error, type.name, error_text(*err));
        return 0;
    }
    clear_last_error(handle);
    message_instance *message = static_cast<message_instance *>(message_create_shallow(type, handle, mem_class));
    if (message == nullptr) {
        fail_in({type.type_name, nullptr, "unmarshal_only"}, handle, VELA_ENOMEM, err);
        return 0;
    }
    // The identity is skipped, not compared: who reads it decides which message's unmarshal to call.
    u_int32 count = VELA_CALL(_vela_message_header_unmarshal)(handle, mem_class, buffer, &message->block, length, err) +
                    VELA_WIRE_LUID;
    count = count < length ? count : length;
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        void *payload = wire.function[i]->create(handle, mem_class);
        if (payload == nullptr) {
            fail(handle, VELA_ENOMEM, err);
            continue;
        }
        notify(handle, mem_class, &message->payload[i], sizeof payload);
        message->payload[i] = payload;
        if (*err == 0) {
            count += wire.function[i]->unmarshal(handle, mem_class, buffer + count, payload,
                                                 signed_room(length - count), 0, err);
        }
    }
    if (*err != 0) {
        VELA_CALL(vela_store_err)(handle, *err);  // creating a payload after the failure has cleared it
        name_failure({type.type_name, nullptr, "unmarshal_only"}, handle, err);
    }
    *out = message;
    return count;
}

u_int32 message_receive(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                        u_int32 mem_class, const delivery &to, void *out, const u_int8 *buffer, u_int32 length,
                        u_int32 *err) {
    if (*err != 0) {
        emit(type.trace, trace::message::unmarshal_error, type.name, error_text(*err));
        return 0;
    }
    clear_last_error(handle);
    hand_out(out, nullptr);
    void *message = nullptr;
    const u_int32 count = message_unmarshal_only(type, wire, handle, mem_class, &message, buffer, length, err);
    if (*err != 0) {
        name_failure({type.type_name, nullptr, "unmarshal"}, handle, err);
        return count;  // the partly built message stays with the handle's allocator: nobody may own it
    }
    hand_out(out, message);
    record_if_on(type, handle, mem_class, message);
    deliver(type, to.callback.function != nullptr ? to.callback : to.handler, handle, mem_class, to.context, message,
            err);
    return count;
}

void *message_take(const message_descriptor &type, const payload_wire &wire, vela_handle *handle, u_int32 mem_class,
                   const u_int8 *buffer, u_int32 length, u_int32 *consumed, u_int32 *err) {
    return take(type, wire, handle, mem_class, buffer, length, consumed, err);
}

u_int32 message_dispatch(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                         u_int32 mem_class, const receiver &handler, void *context, void **out, const u_int8 *buffer,
                         u_int32 length, u_int32 *err) {
    u_int32 count = 0;
    void *message = take(type, wire, handle, mem_class, buffer, length, &count, err);
    hand_out(out, message);
    if (message != nullptr) {
        if (deliver(type, handler, handle, mem_class, context, message, err)) {
            return count;
        }
        hand_out(out, nullptr);
        message_destroy(type, wire, handle, mem_class, message);
    }
    name_failure({nullptr, nullptr, "ptp_cfg_dispatch"}, handle, err);
    return count;
}

}  // namespace ptp_cfg
