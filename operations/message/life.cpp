// Life of messages and access to their payloads.
#include "operations/message/message.h"

#include "operations/core/counting.h"
#include "operations/core/tracking.h"

namespace ptp_cfg {

static message_instance *instance_of(void *message) { return static_cast<message_instance *>(message); }
static const message_instance *instance_of(const void *message) {
    return static_cast<const message_instance *>(message);
}

static void store_slot(vela_handle *handle, u_int32 mem_class, void **slot, void *value) {
    notify(handle, mem_class, slot, sizeof *slot);
    *slot = value;
}

// ---- create --------------------------------------------------------------------------------------------------------------

/** Counts a new message and writes its header. */
static void initialize(const message_descriptor &type, vela_handle *handle, u_int32 mem_class,
                       message_instance *message) {
    const vela_type_info *type_info = type_info_for(handle, mem_class, type.type_info);
    notify(handle, mem_class, &message->type_info, sizeof message->type_info);
    message->type_info = type_info;
    const vela_variant_table *table = table_at_create(type_info, 0, type.trace, message_header_traces);
    count_instance(handle, mem_class, type_info, &table->rows[0].created);
    notify(handle, mem_class, &message->variant, 1);
    message->variant = 0;
    notify(handle, mem_class, &message->block, sizeof message->block);
    message->block = {};
    message->block.tag = VELA_MESSAGE_TAG;
    memset(message->block.address, 0xFF, sizeof message->block.address);
    if (tracking_of(handle, type.trace, trace::message::corrupted_handle) == tracking::on) {
        add_flags(handle, mem_class, message, VELA_FLAG_TRACKED, true);
        notify(handle, mem_class, &message->block.tracked, 1);
        message->block.tracked = 1;
    }
}

/**
 * The static error instance holds the static error instances of its payloads, so that a chain of calls can go on.
 * Several threads may get here at once: slots are stored atomically, and only once.
 */
static void *error_message(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                           u_int32 mem_class) {
    message_instance *message = instance_of(type.error_instance);
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        if (type.payloads[i].structure == nullptr) {
            continue;  // a primitive has no error instance; its accessors find an error in the handle anyway
        }
        void *payload = wire.function[i]->create(handle, mem_class);
        if (__atomic_load_n(&message->payload[i], __ATOMIC_RELAXED) != payload) {
            __atomic_store_n(&message->payload[i], payload, __ATOMIC_RELAXED);
        }
    }
    return message;
}

/** What a create without memory answers: a chain goes on with the static error instance. */
static void *without_memory(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                            u_int32 mem_class) {
    if (handle->chained_mode == 0) {
        return nullptr;
    }
    if (handle->chained_err == 0) {
        fail_in({type.type_name, nullptr, "create_cr"}, handle, VELA_ENOMEM, &handle->chained_err);
    }
    return error_message(type, wire, handle, mem_class);
}

enum class creation : u_int8 { succeeded, lacks_memory, failed };

/** Fills the slots; leaves nothing behind when a payload cannot be created. */
static creation create_payloads(const message_descriptor &type, const payload_wire &wire, vela_handle *handle,
                                u_int32 mem_class, message_instance *message) {
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        void *payload = wire.function[i]->create(handle, mem_class);
        const structure_descriptor *structure = type.payloads[i].structure;
        const bool is_static =
            structure != nullptr && payload == structure->error_instance;  // a chain ran out of memory
        if (payload == nullptr || is_static) {
            while (i-- > 0) {
                wire.function[i]->destroy(handle, mem_class, message->payload[i]);
            }
            // In a chain a structure answers nothing only where its initialisation failed, and has said why.
            const bool failed = handle->chained_mode != 0 && structure != nullptr && !is_static;
            return failed ? creation::failed : creation::lacks_memory;
        }
        store_slot(handle, mem_class, &message->payload[i], payload);
    }
    return creation::succeeded;
}

void *message_create(const message_descriptor &type, const payload_wire &wire, vela_handle *handle, u_int32 mem_class) {
    trace_initialize();
    if (handle->chained_mode != 0 && handle->chained_err != 0) {
        return error_message(type, wire, handle, mem_class);
    }
    void *memory = handle->alloc(handle->cookie, mem_class, type.size);
    if (memory == nullptr) {
        return without_memory(type, wire, handle, mem_class);
    }
    memset(memory, 0, type.size);
    message_instance *message = instance_of(memory);
    const creation payloads = create_payloads(type, wire, handle, mem_class, message);
    if (payloads != creation::succeeded) {
        handle->free(handle->cookie, mem_class, message);
        return payloads == creation::failed ? nullptr : without_memory(type, wire, handle, mem_class);
    }
    initialize(type, handle, mem_class, message);
    return message;
}

void *message_create_cr(const message_descriptor &type, const payload_wire &wire, vela_handle *handle) {
    handle->chained_mode = 1;
    void *message = message_create(type, wire, handle, handle->chained_mem_class);
    handle->chained_mode = 0;
    return message;
}

void *message_create_shallow(const message_descriptor &type, vela_handle *handle, u_int32 mem_class) {
    void *message = handle->alloc(handle->cookie, mem_class, type.size);
    if (message == nullptr) {
        return nullptr;
    }
    memset(message, 0, type.size);
    initialize(type, handle, mem_class, instance_of(message));
    return message;
}

void message_destroy(const message_descriptor &type, const payload_wire &wire, vela_handle *handle, u_int32 mem_class,
                     void *message) {
    if (message == nullptr || message == type.error_instance) {
        return;
    }
    message_instance *instance = instance_of(message);
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        if (instance->payload[i] != nullptr) {
            wire.function[i]->destroy(handle, mem_class, instance->payload[i]);
            store_slot(handle, mem_class, &instance->payload[i], nullptr);
        }
    }
    const vela_type_info *type_info = instance->type_info;
    const vela_variant_table *table = table_at_destroy(type_info, 0, type.trace, message_header_traces);
    count_instance(handle, mem_class, type_info, &table->rows[0].destroyed);
    instance->type_info = nullptr;  // no notice: the memory goes back at once
    handle->free(handle->cookie, mem_class, message);
}

// ---- accessors -------------------------------------------------------------------------------------------------------------

/** Opens an access; false, after a trace, for a null message or an error that is already there. */
static bool begin(const message_descriptor &type, trace::entry text, vela_handle *handle, const void *message,
                  const u_int32 *err) {
    if (message == nullptr || *err != 0) {
        emit(type.trace, text, strerror(static_cast<int>(*err)));
        return false;
    }
    clear_last_error(handle);
    return true;
}

void *message_get(const message_descriptor &type, u_int32 index, vela_handle *handle, const void *message,
                  u_int32 *err) {
    const trace::entry text = index == 0 ? trace::message::get_1 : trace::message::get_2;
    return begin(type, text, handle, message, err) ? instance_of(message)->payload[index] : nullptr;
}

void *message_detach(const message_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                     void *message, u_int32 *err) {
    const trace::entry text = index == 0 ? trace::message::detach_1 : trace::message::detach_2;
    if (!begin(type, text, handle, message, err)) {
        return nullptr;
    }
    void **slot = &instance_of(message)->payload[index];
    void *payload = *slot;
    store_slot(handle, mem_class, slot, nullptr);
    return payload;
}

void message_set(const message_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class, void *message,
                 void *payload, u_int32 *err) {
    const trace::entry text = index == 0 ? trace::message::set_1 : trace::message::set_2;
    if (begin(type, text, handle, message, err)) {
        store_slot(handle, mem_class, &instance_of(message)->payload[index], payload);
    }
}

void message_free_and_set(const message_descriptor &type, const payload_wire &wire, u_int32 index, vela_handle *handle,
                          u_int32 mem_class, void *message, void *payload, u_int32 *err) {
    const trace::entry text = index == 0 ? trace::message::free_and_set_1 : trace::message::free_and_set_2;
    if (!begin(type, text, handle, message, err)) {
        return;
    }
    void **slot = &instance_of(message)->payload[index];
    if (*slot != payload) {  // the payload that is already there stays alive
        if (*slot != nullptr) {
            wire.function[index]->destroy(handle, mem_class, *slot);
        }
        store_slot(handle, mem_class, slot, payload);
    }
}

static void name_value_access(const message_descriptor &type, u_int32 index, trace::entry text, vela_handle *handle,
                              const u_int32 *err) {
    const bool reads =
        text.position == trace::message::get_1.position || text.position == trace::message::get_2.position;
    name_failure({type.type_name, type.payloads[index].name, reads ? "_get_value" : "_set_value"}, handle, err);
}

void *message_value_payload(const message_descriptor &type, u_int32 index, trace::entry text, vela_handle *handle,
                            void *message, u_int32 *err) {
    const bool present = *err != 0;
    if (!begin(type, text, handle, message, err)) {
        fail(handle, VELA_ENOENT, err, present ? "an error was present" : "the message is null");
        name_value_access(type, index, text, handle, err);
        return nullptr;
    }
    void *payload = instance_of(message)->payload[index];
    if (payload == nullptr) {
        fail(handle, VELA_ENOENT, err, "the message holds no such payload");
        name_value_access(type, index, text, handle, err);
    }
    return payload;
}

u_int32 message_is_valid(const message_descriptor &type, vela_handle *handle) {
    return vela_domain_lookup_message_ok(handle, &handle->variant_domain, type.type_info, &handle->chained_err);
}

}  // namespace ptp_cfg
