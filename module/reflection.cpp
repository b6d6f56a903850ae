// Types by name, number and identity, and what they are.
#include "module/reflection.h"
#include "operations/core/visit.h"

namespace ptp_cfg {

namespace {

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

ptp_cfg_field_class class_of(primitive_class what) {
    switch (what) {
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

/** A description that says what follows from the kind of a field or payload. */
template <class Row>
ptp_cfg_field_description described(const Row &row) {
    ptp_cfg_field_description out = {};
    out.size = sizeof out;
    out.name = row.name;
    visit_kind(
        row,
        [&](const enumeration_descriptor &type) {
            out.kind = PTP_CFG_FIELD_ENUMERATION;
            out.wire_width = enumeration_wire_width;
            out.type_name = type.name;
            out.type = type_with(&type);
        },
        [&](const structure_descriptor &type) {
            out.kind = PTP_CFG_FIELD_STRUCTURE;
            out.type_name = type.name;
            out.type = type_with(&type);
        },
        [&](text_kind) {
            out.kind = PTP_CFG_FIELD_TEXT;
            out.type_name = "var_string";
        },
        [&](auto primitive) {
            const primitive_properties &properties = properties_of(primitive.kind);
            out.kind = class_of(properties.what);
            out.type_name = properties.name;
            out.wire_width = properties.width;
            out.element_size = static_cast<u_int8>(properties.size);
        });
    return out;
}

void describe_field(const field_descriptor &field, ptp_cfg_field_description *out) {
    *out = described(field);
    out->capacity = field.capacity;
    out->is_array = field.is_array ? 1 : 0;
    out->is_read_only = field.is_companion ? 1 : 0;
    out->since = field.since;
    out->doc = field.doc;
    out->unit = field.unit;
}

void describe_payload(const payload_descriptor &payload, ptp_cfg_field_description *out) {
    *out = described(payload);
    out->capacity = 1;
    out->doc = payload.structure != nullptr ? payload.structure->doc : "";
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

const ptp_cfg_type *ptp_cfg_message_identify(const u_int8 *bytes, u_int32 length) {
    if (length < PTP_CFG_MESSAGE_PREFIX) {
        return nullptr;
    }
    const ptp_cfg_type *type = ptp_cfg_type_find_luid(bytes + VELA_WIRE_MESSAGE_HEADER);
    return type != nullptr && type->kind == PTP_CFG_MESSAGE ? type : nullptr;
}

vela_message_role ptp_cfg_message_describe(const u_int8 *bytes, u_int32 length, const char **name) {
    const ptp_cfg_type *type = ptp_cfg_message_identify(bytes, length);
    *name = type != nullptr ? message_of(type).name : nullptr;
    return type != nullptr ? message_of(type).role : VELA_MESSAGE_UNKNOWN;
}

}  // extern "C"
