#include "module/reflection.h"

namespace ptp_cfg {

namespace {

const structure_descriptor &structure_of(const ptp_cfg_type *type) {
    return *static_cast<const structure_descriptor *>(type->descriptor);
}
const enumeration_descriptor &enumeration_of(const ptp_cfg_type *type) {
    return *static_cast<const enumeration_descriptor *>(type->descriptor);
}
const message_descriptor &message_of(const ptp_cfg_type *type) {
    return *static_cast<const message_descriptor *>(type->descriptor);
}

const vela_type_info &type_info_of(const ptp_cfg_type *type) {
    switch (type->kind) {
        case PTP_CFG_STRUCTURE:
            return *structure_of(type).type_info;
        case PTP_CFG_ENUMERATION:
            return *enumeration_of(type).type_info;
        default:
            return *message_of(type).type_info;
    }
}

const ptp_cfg_type *type_with(const void *descriptor) {
    for (u_int32 i = 0; descriptor != nullptr && i < reflected_type_count; ++i) {
        if (reflected_types[i].descriptor == descriptor) {
            return &reflected_types[i];
        }
    }
    return nullptr;
}

/** Types by the first byte of their identity, which is as good as random: chains of places, counted from 1. */
struct luid_index {
    static constexpr u_int32 most_types = 1024;
    u_int16 first[256];
    u_int16 next[most_types];
};
luid_index types_by_luid;

__attribute__((constructor)) void fill_index() {
    for (u_int32 i = 0; i < reflected_type_count && i < luid_index::most_types; ++i) {
        u_int16 *first = &types_by_luid.first[type_info_of(&reflected_types[i]).luid[0]];
        types_by_luid.next[i] = *first;
        *first = static_cast<u_int16>(i + 1);
    }
}

ptp_cfg_field_class class_of(field_kind kind) {
    switch (kind) {
        case field_kind::var_string:
            return PTP_CFG_FIELD_TEXT;
        case field_kind::enumeration:
            return PTP_CFG_FIELD_ENUMERATION;
        case field_kind::structure:
            return PTP_CFG_FIELD_STRUCTURE;
        default:
            break;
    }
    switch (properties_of(kind).what) {
        case primitive_class::unsigned_number:
            return PTP_CFG_FIELD_UNSIGNED;
        case primitive_class::signed_number:
            return PTP_CFG_FIELD_SIGNED;
        case primitive_class::boolean:
            return PTP_CFG_FIELD_BOOLEAN;
        default:
            return PTP_CFG_FIELD_OPAQUE;
    }
}

/** What follows from the kind alone; `out->kind` is set. */
void describe_kind(field_kind kind, ptp_cfg_field_description *out) {
    if (is_primitive(kind)) {
        out->type_name = properties_of(kind).name;
        out->wire_width = properties_of(kind).width;
        out->element_size = static_cast<u_int8>(properties_of(kind).size);
    } else if (kind == field_kind::enumeration) {
        out->wire_width = enumeration_wire_width;
    } else if (kind == field_kind::var_string) {
        out->type_name = "var_string";
    }
}

void describe_field(const field_descriptor &field, ptp_cfg_field_description *out) {
    *out = {};
    out->size = sizeof *out;
    out->name = field.name;
    out->kind = class_of(field.kind);
    describe_kind(field.kind, out);
    if (field.enumeration != nullptr) {
        out->type_name = field.enumeration->name;
        out->type = type_with(field.enumeration);
    } else if (field.structure != nullptr) {
        out->type_name = field.structure->name;
        out->type = type_with(field.structure);
    }
    out->capacity = field.capacity;
    out->is_array = field.is_array ? 1 : 0;
    out->is_read_only = field.is_companion ? 1 : 0;
    out->since = field.since;
    out->doc = field.doc;
    out->unit = field.unit;
}

void describe_payload(const payload_descriptor &payload, ptp_cfg_field_description *out) {
    *out = {};
    out->size = sizeof *out;
    out->name = payload.name;
    out->kind = class_of(payload.kind);
    describe_kind(payload.kind, out);
    out->type_name = payload.name;
    out->type = type_with(payload.structure);
    out->capacity = 1;
    out->doc = payload.structure != nullptr ? payload.structure->doc : "";
}

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

}  // namespace

}  // namespace ptp_cfg

using namespace ptp_cfg;

extern "C" {

u_int32 ptp_cfg_type_count(void) { return reflected_type_count; }

const ptp_cfg_type *ptp_cfg_type_at(u_int32 index) {
    return index < reflected_type_count ? &reflected_types[index] : nullptr;
}

const ptp_cfg_type *ptp_cfg_type_find(const char *name) {
    for (u_int32 i = 0; i < reflected_type_count; ++i) {
        const ptp_cfg_type *type = &reflected_types[i];
        if (strcmp(type_info_of(type).type_name, name) == 0 ||
            (type->kind == PTP_CFG_MESSAGE && strcmp(message_of(type).name, name) == 0)) {
            return type;
        }
    }
    return nullptr;
}

const ptp_cfg_type *ptp_cfg_type_find_luid(const u_int8 *luid) {
    for (u_int32 i = types_by_luid.first[luid[0]]; i != 0; i = types_by_luid.next[i - 1]) {
        if (memcmp(type_info_of(&reflected_types[i - 1]).luid, luid, VELA_WIRE_LUID) == 0) {
            return &reflected_types[i - 1];
        }
    }
    return nullptr;
}

void ptp_cfg_type_describe(const ptp_cfg_type *type, ptp_cfg_type_description *description) {
    const vela_type_info &type_info = type_info_of(type);
    *description = {};
    description->size = sizeof *description;
    description->kind = type->kind;
    description->name = type_info.type_name;
    description->short_name = type_info.type_name;
    description->luid = type_info.luid;
    description->luid_text = type_info.luid_text;
    description->operations = type->operations;
    if (type->kind == PTP_CFG_STRUCTURE) {
        const structure_descriptor &structure = structure_of(type);
        description->doc = structure.doc;
        description->newest_variant = static_cast<u_int8>(structure.latest);
        description->untracked_size = structure.size;
        description->tracked_size = structure.size + structure.block_length;
        description->field_count = structure.field_count;
    } else if (type->kind == PTP_CFG_ENUMERATION) {
        const enumeration_descriptor &enumeration = enumeration_of(type);
        description->doc = enumeration.doc;
        description->newest_variant = static_cast<u_int8>(enumeration.latest);
        description->untracked_size = description->tracked_size = enumeration_size;
        description->literal_count = enumeration.value_count;
    } else {
        const message_descriptor &message = message_of(type);
        description->doc = message.doc;
        description->short_name = message.name;
        description->untracked_size = description->tracked_size = message.size;
        description->field_count = message.payload_count;
    }
}

u_int32 ptp_cfg_field_describe(const ptp_cfg_type *type, u_int32 index, ptp_cfg_field_description *description) {
    if (type->kind == PTP_CFG_STRUCTURE && index < structure_of(type).field_count) {
        describe_field(structure_of(type).fields[index], description);
        return 1;
    }
    if (type->kind == PTP_CFG_MESSAGE && index < message_of(type).payload_count) {
        describe_payload(message_of(type).payloads[index], description);
        return 1;
    }
    return 0;
}

u_int32 ptp_cfg_literal_describe(const ptp_cfg_type *type, u_int32 index, ptp_cfg_literal *literal) {
    if (type->kind != PTP_CFG_ENUMERATION || index >= enumeration_of(type).value_count) {
        return 0;
    }
    const enumeration_descriptor &enumeration = enumeration_of(type);
    const enumeration_value &value = enumeration.values[index];
    *literal = {value.number, value.literal, value.doc,
                static_cast<u_int8>(variant_needed(enumeration.thresholds, enumeration.latest, value.number))};
    return 1;
}

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

/** Whether a caller names an array as a whole in place of an element. */
static bool is_whole(const field_descriptor &field, u_int32 element) {
    return field.is_array && element == whole_array;
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

const ptp_cfg_type *ptp_cfg_message_identify(const u_int8 *bytes, u_int32 length) {
    if (length < PTP_CFG_MESSAGE_PREFIX) {
        return nullptr;
    }
    const ptp_cfg_type *type = ptp_cfg_type_find_luid(bytes + VELA_WIRE_MESSAGE_HEADER);
    return type != nullptr && type->kind == PTP_CFG_MESSAGE ? type : nullptr;
}

}  // extern "C"
