// JSON of any type.
#include "ptp_cfg/json.h"

#include <stdio.h>

#include "module/reflection.h"
#include "operations/text/json.h"

namespace ptp_cfg {

namespace {

static_assert(json_state_flags == PTP_CFG_JSON_STATE_FLAGS && json_variants == PTP_CFG_JSON_VARIANTS &&
              json_qualified == PTP_CFG_JSON_QUALIFIED && json_skip_unknown == PTP_CFG_JSON_SKIP_UNKNOWN &&
              json_all_fields == PTP_CFG_JSON_ALL_FIELDS);

constexpr u_int32 most_indent = 16;

/** The options of a call; false, with error 22, for some that are unknown. */
bool take_options(const ptp_cfg_json_options *given, const char *call, vela_handle *handle, ptp_cfg_json_options *taken,
                  u_int32 *err) {
    *taken = {};
    if (given != nullptr) {
        memcpy(taken, given, given->size < sizeof *taken ? given->size : sizeof *taken);
    }
    const bool has_size = given == nullptr || given->size >= offsetof(ptp_cfg_json_options, on_fault);
    if (!has_size || (taken->rules & ~json_every_rule) != 0 || taken->indent > most_indent) {
        fail_in({nullptr, nullptr, call}, handle, VELA_EINVAL, err, "the options are none that are known");
        return false;
    }
    return true;
}

/** Who is told of a fault, and where it is written. */
struct fault_listener {
    const ptp_cfg_json_options &options;
    char *text;
    u_int32 room;

    static void tell(void *self, const json_place &place) {
        const fault_listener &listener = *static_cast<const fault_listener *>(self);
        if (listener.text != nullptr && listener.room > 0) {
            snprintf(listener.text, listener.room, "line %u, column %u: %s%s%s", place.line, place.column, place.path,
                     place.path[0] != '\0' ? ": " : "", place.reason);
        }
        if (listener.options.on_fault != nullptr) {
            const ptp_cfg_json_fault fault = {sizeof fault, place.code, place.line,  place.column,
                                              place.offset, place.path, place.reason};
            listener.options.on_fault(listener.options.cookie, &fault);
        }
    }
};

void destroy_payload(const payload_descriptor &payload, vela_handle *handle, u_int32 mem_class, void *value) {
    if (payload.structure != nullptr) {
        ptp_cfg_type_find(payload.structure->name)->operations->destroy(handle, mem_class, value);
    } else {
        visit_primitive(payload.kind, [&](auto primitive) {
            using P = decltype(primitive);
            if constexpr (P::is_value) {  // as payloads are that are no structures
                P::destroy(handle, mem_class, static_cast<typename P::type *>(value));
            }
        });
    }
}

/** Payloads that the text says are not there go. */
void remove_absent(const message_descriptor &type, vela_handle *handle, u_int32 mem_class, void *message,
                   const bool *absent) {
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        u_int32 err = 0;
        void *value = absent[i] ? message_detach(type, i, handle, mem_class, message, &err) : nullptr;
        if (value != nullptr) {
            destroy_payload(type.payloads[i], handle, mem_class, value);
        }
    }
}

void read_into(const ptp_cfg_type *type, const json_source &source, void *instance, json_owner owner, u_int32 *err) {
    if (type->kind == PTP_CFG_STRUCTURE) {
        structure_from_json(structure_of(type), source, instance, owner, err);
    } else if (type->kind == PTP_CFG_ENUMERATION) {
        enumeration_from_json(enumeration_of(type), source, instance, owner, err);
    } else {
        bool absent[2] = {};
        message_from_json(message_of(type), source, instance, owner, absent, err);
        if (*err == 0) {
            remove_absent(message_of(type), source.handle, source.mem_class, instance, absent);
        }
    }
}

}  // namespace

}  // namespace ptp_cfg

using namespace ptp_cfg;

extern "C" {

u_int32 ptp_cfg_to_json(vela_handle *handle, u_int32 mem_class, const ptp_cfg_type *type, const void *instance,
                        char *buffer, u_int32 room, const ptp_cfg_json_options *options, u_int32 *err) {
    constexpr const char *call = "ptp_cfg_to_json";
    ptp_cfg_json_options taken;
    if (*err != 0) {
        return 0;
    }
    clear_last_error(handle);
    if (!take_options(options, call, handle, &taken, err)) {
        return 0;
    }
    if (instance == nullptr) {
        fail_in({nullptr, nullptr, call}, handle, VELA_EINVAL, err, "the instance is null");
        return 0;
    }
    char nowhere = 0;
    room = buffer == nullptr ? 0 : room;
    const json_target target = {handle, mem_class, taken.rules, taken.indent, buffer == nullptr ? &nowhere : buffer,
                                room};
    const u_int32 length = type->kind == PTP_CFG_STRUCTURE ? structure_to_json(structure_of(type), target, instance)
                           : type->kind == PTP_CFG_ENUMERATION
                               ? enumeration_to_json(enumeration_of(type), target, instance)
                               : message_to_json(message_of(type), target, instance);
    if (length > room) {
        fail_in({nullptr, nullptr, call}, handle, VELA_EMSGSIZE, err, "the text needs more room");
    }
    return length;
}

void *ptp_cfg_from_json(vela_handle *handle, u_int32 mem_class, const ptp_cfg_type *type, void *instance,
                        const char *text, size_t length, const ptp_cfg_json_options *options, u_int32 *err,
                        char *error_text, u_int32 error_room) {
    constexpr const char *call = "ptp_cfg_from_json";
    ptp_cfg_json_options taken;
    if (*err != 0) {
        return nullptr;
    }
    clear_last_error(handle);
    if (!take_options(options, call, handle, &taken, err)) {
        return nullptr;
    }
    void *target = instance != nullptr ? instance : type->operations->create(handle, mem_class);
    if (target == nullptr) {
        fail_in({nullptr, nullptr, call}, handle, VELA_ENOMEM, err);
        return nullptr;
    }
    fault_listener listener = {taken, error_text, error_room};
    const json_source source = {handle, mem_class, taken.rules, text, length, fault_listener::tell, &listener};
    read_into(type, source, target, instance == nullptr ? json_owner::reading : json_owner::caller, err);
    if (*err == 0) {
        return target;
    }
    if (instance == nullptr) {
        type->operations->destroy(handle, mem_class, target);
    }
    name_failure({nullptr, nullptr, call}, handle, err);
    return nullptr;
}

const ptp_cfg_type *ptp_cfg_json_identify(const char *text, size_t length) {
    const std::string_view name = json_first_member(text, length);
    char terminated[128] = {};
    if (name.empty() || name.size() >= sizeof terminated) {
        return nullptr;
    }
    memcpy(terminated, name.data(), name.size());
    const ptp_cfg_type *type = ptp_cfg_type_find(terminated);
    const bool is_message = type != nullptr && type->kind == PTP_CFG_MESSAGE;
    return is_message && name == message_of(type).name ? type : nullptr;
}

}  // extern "C"
