// Access to the fields of any type.
#include "module/reflection.h"

namespace ptp_cfg {

namespace {

/** The structure whose field `index` is asked for; nullptr, with error 2, when there is none. */
const structure_descriptor *owner(const ptp_cfg_type *type, u_int32 index, vela_handle *handle, u_int32 *err) {
    if (*err != 0) {
        return nullptr;
    }
    if (type->kind != PTP_CFG_STRUCTURE || index >= structure_of(type).field_count) {
        fail(handle, VELA_ENOENT, err);
        return nullptr;
    }
    return &structure_of(type);
}

/** Calls f with the traits of a kind that travels by value; others are error 22. */
template <class F>
u_int64 visit_value(field_kind kind, vela_handle *handle, u_int32 *err, F &&f) {
    if (is_primitive(kind)) {
        return visit_primitive(kind, [&](auto primitive) -> u_int64 {
            if constexpr (decltype(primitive)::is_value) {
                return f(primitive);
            } else {
                fail(handle, VELA_EINVAL, err);
                return 0;
            }
        });
    }
    fail(handle, VELA_EINVAL, err);
    return 0;
}

/** The payload `index` of a message when it is a primitive; nullptr, with error 2 or 22, otherwise. */
void *primitive_payload(const message_descriptor &type, u_int32 index, vela_handle *handle, void *message,
                        u_int32 *err) {
    if (*err == 0 && index >= type.payload_count) {
        fail(handle, VELA_ENOENT, err);
    } else if (*err == 0 && type.payloads[index].structure != nullptr) {
        fail(handle, VELA_EINVAL, err);
    }
    return *err != 0 ? nullptr : message_value_payload(type, index, trace::message::get_1, handle, message, err);
}

u_int64 payload_value(const message_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                      void *message, u_int32 *err) {
    void *payload = primitive_payload(type, index, handle, message, err);
    if (payload == nullptr) {
        return 0;
    }
    return visit_value(type.payloads[index].kind, handle, err, [&](auto primitive) {
        using P = decltype(primitive);
        const auto value = P::get_value(handle, mem_class, static_cast<typename P::type *>(payload), err);
        return static_cast<u_int64>(static_cast<int64_t>(value));
    });
}

void set_payload_value(const message_descriptor &type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                       void *message, u_int64 value, u_int32 *err) {
    void *payload = primitive_payload(type, index, handle, message, err);
    if (payload == nullptr) {
        return;
    }
    visit_value(type.payloads[index].kind, handle, err, [&](auto primitive) -> u_int64 {
        using P = decltype(primitive);
        P::set_value(handle, mem_class, static_cast<typename P::type *>(payload), static_cast<typename P::type>(value),
                     err);
        return 0;
    });
}

/** Whether a caller names an array as a whole in place of an element. */
bool is_whole(const field_descriptor &field, u_int32 element) { return field.is_array && element == whole_array; }

}  // namespace

}  // namespace ptp_cfg

using namespace ptp_cfg;

extern "C" {

void *ptp_cfg_field_get(const ptp_cfg_type *type, u_int32 index, vela_handle *handle, u_int32 mem_class, void *instance,
                        u_int32 element, u_int32 *err) {
    if (type->kind == PTP_CFG_MESSAGE) {
        if (*err == 0 && index >= message_of(type).payload_count) {
            fail(handle, VELA_ENOENT, err);
        }
        return *err != 0 ? nullptr : message_get(message_of(type), index, handle, instance, err);
    }
    const structure_descriptor *structure = owner(type, index, handle, err);
    if (structure == nullptr) {
        return nullptr;
    }
    if (structure->fields[index].kind == field_kind::var_string) {
        return const_cast<char *>(text_get(*structure, index, handle, mem_class, instance, err));
    }
    return field_get(*structure, index, handle, mem_class, instance, element, err);
}

u_int64 ptp_cfg_field_get_value(const ptp_cfg_type *type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                                void *instance, u_int32 element, u_int32 *err) {
    if (type->kind == PTP_CFG_ENUMERATION && *err == 0) {
        return enumeration_get_value(enumeration_of(type), handle, instance, err);
    }
    if (type->kind == PTP_CFG_MESSAGE) {
        return payload_value(message_of(type), index, handle, mem_class, instance, err);
    }
    const structure_descriptor *structure = owner(type, index, handle, err);
    if (structure == nullptr) {
        return 0;
    }
    const field_kind kind = structure->fields[index].kind;
    if (kind == field_kind::enumeration) {
        return field_get_enumeration(*structure, index, handle, instance, err);
    }
    return visit_value(kind, handle, err, [&](auto primitive) {
        const auto value =
            field_get_value<decltype(primitive)::kind>(*structure, index, handle, mem_class, instance, element, err);
        return static_cast<u_int64>(static_cast<int64_t>(value));
    });
}

void ptp_cfg_field_set_value(const ptp_cfg_type *type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                             void *instance, u_int32 element, u_int64 value, u_int32 *err) {
    if (type->kind == PTP_CFG_ENUMERATION && *err == 0) {
        enumeration_set_value(enumeration_of(type), handle, mem_class, instance, static_cast<u_int32>(value), err);
        return;
    }
    if (type->kind == PTP_CFG_MESSAGE) {
        set_payload_value(message_of(type), index, handle, mem_class, instance, value, err);
        return;
    }
    const structure_descriptor *structure = owner(type, index, handle, err);
    if (structure == nullptr) {
        return;
    }
    const field_descriptor &field = structure->fields[index];
    if (field.kind == field_kind::enumeration) {
        field_set_enumeration(*structure, index, handle, mem_class, instance, static_cast<u_int32>(value), err);
    } else if (field.is_companion) {
        fail(handle, VELA_EINVAL, err);
    } else {
        visit_value(field.kind, handle, err, [&](auto primitive) -> u_int64 {
            using P = decltype(primitive);
            field_set_value<P::kind>(*structure, index, handle, mem_class, instance, element,
                                     static_cast<typename P::type>(value), err);
            return 0;
        });
    }
}

void ptp_cfg_field_set(const ptp_cfg_type *type, u_int32 index, vela_handle *handle, u_int32 mem_class, void *instance,
                       u_int32 element, const void *value, u_int32 length, u_int32 *err) {
    const structure_descriptor *structure = owner(type, index, handle, err);
    if (structure == nullptr) {
        return;
    }
    const field_descriptor &field = structure->fields[index];
    if (field.is_companion) {
        fail(handle, VELA_EINVAL, err);
    } else if (field.kind == field_kind::var_string) {
        if (length > UINT8_MAX) {
            fail(handle, VELA_ENOSPC, err);
        } else {
            text_set(*structure, index, handle, mem_class, instance, static_cast<const char *>(value), length, err);
        }
    } else if (field.kind == field_kind::structure && field.is_array) {
        if (within(*structure, field, "_set", element, handle, err)) {  // the typed operation leaves this to its caller
            array_set_element(*structure, index, handle, mem_class, instance, element, value, err);
        }
    } else {
        field_set(*structure, index, handle, mem_class, instance, element, value, err);
    }
}

u_int8 ptp_cfg_field_state_flag_get(const ptp_cfg_type *type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                                    void *instance, u_int32 element, u_int32 *err) {
    const structure_descriptor *structure = owner(type, index, handle, err);
    if (structure != nullptr && structure->fields[index].is_companion) {
        fail(handle, VELA_EINVAL, err);
        return 0;
    }
    if (structure == nullptr) {
        return 0;
    }
    return is_whole(structure->fields[index], element)
               ? state_flag_whole_get(*structure, index, handle, mem_class, instance, err)
               : state_flag_get(*structure, index, handle, mem_class, instance, element, err);
}

void ptp_cfg_field_state_flag_set(const ptp_cfg_type *type, u_int32 index, vela_handle *handle, u_int32 mem_class,
                                  void *instance, u_int32 element, u_int8 flag, u_int32 *err) {
    const structure_descriptor *structure = owner(type, index, handle, err);
    if (structure != nullptr && structure->fields[index].is_companion) {
        fail(handle, VELA_EINVAL, err);
    } else if (structure != nullptr && is_whole(structure->fields[index], element)) {
        state_flag_whole_set(*structure, index, handle, mem_class, instance, flag, err);
    } else if (structure != nullptr) {
        state_flag_set(*structure, index, handle, mem_class, instance, element, flag, err);
    }
}

}  // extern "C"
