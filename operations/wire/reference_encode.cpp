// The reference path of marshal, and len.
#include "operations/core/operation_call.h"
#include "operations/core/visit.h"
#include "operations/wire/reference.h"

namespace ptp_cfg {

namespace {

/**
 * One marshal call. An instance newer than its domain is reported once the whole encoding is written, and only
 * where no other error came up: hence `newer`.
 */
struct marshal_call {
    vela_handle *handle;
    u_int32 mem_class;
    u_int32 *err;
    const void *newer = nullptr;
    const char *newer_type = nullptr;
};

/** Position in a buffer; never beyond its end. */
struct output {
    u_int8 *buffer;
    u_int32 room;
    u_int32 position = 0;

    u_int8 *here() const { return buffer + position; }
    u_int32 left() const { return room - position; }
};

/** The variant an instance is written in; `check` makes one newer than the domain an error. */
int8 variant_to_write(marshal_call &call, const vela_type_info *type_info, const void *instance, u_int32 structure,
                      int8 latest, bool check) {
    int8 variant = VELA_CALL(vela_get_instance_variant)(instance, structure, 0);
    const int8 domain = domain_variant(call.handle, type_info, call.err);
    if (check && variant > domain) {
        call.newer = instance;
        call.newer_type = type_info->type_name;
        variant = domain;
    }
    return cap_variant(variant, latest);
}

u_int32 write_enumeration(marshal_call &call, const enumeration_descriptor &type, u_int8 *buffer, const void *instance,
                          u_int32 room) {
    vela_handle *handle = call.handle;
    if (*call.err != 0) {
        return 0;
    }
    if (room < 1) {
        fail(handle, VELA_ENOMEM, call.err);
        return 0;
    }
    const int8 variant = variant_to_write(call, type.type_info, instance, 0, type.latest, true);
    u_int32 position =
        VELA_CALL(_vela_instance_variant_marshal)(handle, call.mem_class, buffer, variant, room, call.err);
    position += VELA_CALL(u_int32_marshal)(handle, call.mem_class, buffer + position, value_of(instance),
                                           room - position, call.err);
    return position;
}

/**
 * Stores a flag byte. It is stored before the room is looked at and counts only if there was room: a buffer that
 * ends exactly here receives it one byte past its end, which is why tracked buffers need a spare byte.
 */
void write_flag(output &out, u_int8 flag) {
    *out.here() = flag;
    out.position += out.left() >= 1 ? 1 : 0;
}

void write_flags(output &out, const field_descriptor &field, const u_int8 *block) {
    const u_int8 *flags = block == nullptr ? nullptr : block + field.flag_position;
    write_flag(out, flags == nullptr ? 0 : *flags);
    if (!field.is_array) {
        return;
    }
    const u_int32 count = out.left() < field.capacity ? out.left() : field.capacity;
    if (flags == nullptr) {
        memset(out.here(), 0, count);
    } else {
        memcpy(out.here(), flags + 1, count);
    }
    out.position += count;
}

u_int32 write_structure(marshal_call &call, const structure_descriptor &type, u_int8 *buffer, const void *instance,
                        u_int32 room, bool check);

u_int32 write_value(marshal_call &call, const field_descriptor &field, const void *instance, u_int32 element,
                    const output &out, bool check) {
    const u_int8 *value = storage(field, instance, element);
    switch (field.kind) {
        case field_kind::enumeration:
            return write_enumeration(call, *field.enumeration, out.here(), value, out.left());
        case field_kind::structure:
            // Elements of arrays are checked against the domain even for a clone.
            return write_structure(call, *field.structure, out.here(), value, out.left(), check || field.is_array);
        case field_kind::var_string:
            return var_string_marshal(call.handle, call.mem_class, out.here(), as<var_string>(value),
                                      *at(instance, field.companion_offset), out.left(), call.err);
        default:
            return visit_primitive(field.kind, [&](auto primitive) {
                using P = decltype(primitive);
                return P::marshal(call.handle, call.mem_class, out.here(), as<typename P::type>(value), out.left(),
                                  call.err);
            });
    }
}

/** The flag byte to send, and the block that the fields' flags come from. */
u_int8 flags_to_write(marshal_call &call, const structure_descriptor &type, const void *instance,
                      const u_int8 **block) {
    u_int8 flags = VELA_CALL(vela_get_instance_obj_flag)(instance);
    *block = nullptr;
    if (tracking_of(call.handle, type) == tracking::on) {
        *block = state_block(call.handle, call.mem_class, type, instance);
        flags |= VELA_FLAG_TRACKED;
    } else {
        flags = static_cast<u_int8>(flags & ~VELA_FLAG_TRACKED);
    }
    return flags & wire_flags;
}

u_int32 write_structure(marshal_call &call, const structure_descriptor &type, u_int8 *buffer, const void *instance,
                        u_int32 room, bool check) {
    vela_handle *handle = call.handle;
    if (*call.err != 0) {
        return 0;
    }
    if (room < 1) {
        fail(handle, VELA_ENOMEM, call.err);
        return 0;
    }
    const int8 variant = variant_to_write(call, type.type_info, instance, 1, type.latest, check);
    output out{buffer, room};
    out.position +=
        VELA_CALL(_vela_instance_variant_marshal)(handle, call.mem_class, out.here(), variant, out.left(), call.err);
    const u_int8 *block = nullptr;
    const u_int8 flags = flags_to_write(call, type, instance, &block);
    out.position +=
        VELA_CALL(_vela_instance_obj_flag_marshal)(handle, call.mem_class, out.here(), flags, out.left(), call.err);
    if ((flags & VELA_FLAG_EXTRA_DATA) != 0) {
        out.position +=
            VELA_CALL(_vela_instance_ra_data_marshal)(handle, call.mem_class, out.here(), 0, 0, out.left(), call.err);
    }
    const u_int32 jump_position = out.position;
    out.position += VELA_CALL(_vela_variant_jump_marshal)(handle, call.mem_class, out.here(), 0, out.left(), call.err);
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (static_cast<int>(field.since) > variant) {
            continue;  // also every field of an instance without a variant
        }
        for (u_int32 element = 0; element < field.capacity; ++element) {
            out.position += write_value(call, field, instance, element, out, check);
        }
        if ((flags & VELA_FLAG_TRACKED) != 0 && field.flag_position != no_flag) {
            write_flags(out, field, block);
        }
    }
    VELA_CALL(_vela_variant_jump_marshal)
    (handle, call.mem_class, buffer + jump_position, out.position - jump_position, VELA_WIRE_JUMP, call.err);
    return out.position;
}

/** An instance newer than its domain is an error where there is no other. */
[[gnu::cold, gnu::noinline]] void report_newer(const marshal_call &call) {
    if (*call.err == 0) {
        fail_epoch(call.handle, call.newer, call.err, "the instance's variant is newer than the handle's domain");
        name_failure({call.newer_type, nullptr, "marshal"}, call.handle, call.err);
    }
}

u_int32 positive(int32 room) { return room < 0 ? 0 : static_cast<u_int32>(room); }

}  // namespace

u_int32 enumeration_marshal(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class, u_int8 *buffer,
                            const void *instance, int32 room, u_int32 *err) {
    operation_call operation({type.name, nullptr, "marshal"}, handle, err);
    if (!operation.open(type) || !operation.require(instance != nullptr, "an instance is null")) {
        return 0;
    }
    marshal_call call{handle, mem_class, err};
    const u_int32 count = write_enumeration(call, type, buffer, instance, positive(room));
    if (call.newer != nullptr) {
        report_newer(call);
    }
    return count;
}

u_int32 structure_marshal_reference(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class,
                                    u_int8 *buffer, const void *instance, int32 room, domain_check check,
                                    u_int32 *err) {
    const bool checks = check == domain_check::always;
    operation_call operation({type.name, nullptr, checks ? "marshal" : "marshal_for_clone"}, handle, err);
    if (!operation.open(type)) {
        return 0;
    }
    marshal_call call{handle, mem_class, err};
    const u_int32 count = write_structure(call, type, buffer, instance, positive(room), checks);
    if (call.newer != nullptr) {
        report_newer(call);
    }
    return count;
}

// ---- len -----------------------------------------------------------------------------------------------------------

static u_int32 value_len(const field_descriptor &field, vela_handle *handle, u_int32 mem_class, const void *instance,
                         u_int32 element) {
    const u_int8 *value = storage(field, instance, element);
    return visit_kind(
        field, [](const enumeration_descriptor &) { return enumeration_wire_width; },
        [&](const structure_descriptor &type) { return structure_len(type, handle, mem_class, value); },
        [&](text_kind) {
            return var_string_len(handle, mem_class, as<var_string>(value), *at(instance, field.companion_offset));
        },
        [&](auto primitive) {
            using P = decltype(primitive);
            return P::len(handle, mem_class, as<typename P::type>(value));
        });
}

u_int32 structure_len(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, const void *instance) {
    const int8 variant = cap_variant(VELA_CALL(vela_get_instance_variant)(instance, 1, 0), type.latest);
    u_int32 len = wire_header;
    if (variant < 0) {
        return len;
    }
    const bool tracked = tracking_of(handle, type) == tracking::on;
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (static_cast<int>(field.since) > variant) {
            continue;
        }
        for (u_int32 element = 0; element < field.capacity; ++element) {
            len += value_len(field, handle, mem_class, instance, element);
        }
        if (tracked && field.flag_position != no_flag) {
            len += field.is_array ? 1u + field.capacity : 1u;
        }
    }
    return len;
}

}  // namespace ptp_cfg
