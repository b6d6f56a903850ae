// The reference path of unmarshal. Bytes come from outside: nothing that they claim is believed before it is checked.
#include "operations/core/operation_call.h"
#include "operations/wire/reference.h"

namespace ptp_cfg {

namespace {

struct unmarshal_call {
    vela_handle *handle;
    u_int32 mem_class;
    u_int32 mode;  // passed on to the primitives
    u_int32 *err;
};

/** Position in the bytes; never beyond their end. */
struct input {
    const u_int8 *buffer;
    u_int32 length;
    u_int32 position = 0;

    const u_int8 *here() const { return buffer + position; }
    u_int32 left() const { return length - position; }
    void skip(u_int32 count) { position += count < left() ? count : left(); }
};

/** What an instance's encoding says of itself before its fields. */
struct wire_prefix {
    int8 variant = -1;
    u_int8 flags = 0;
    u_int32 jump_position = 0;
    u_int32 jump = 0;
};

/** Where the state flags of the encoding go. */
struct flag_target {
    bool present = false;     // the encoding has them
    u_int8 *block = nullptr;  // nullptr: they are skipped
};

void set_type(unmarshal_call &call, void *instance, const vela_type_info *type_info) {
    *VELA_CALL(vela_get_manifested_type_info_ptr_mem)(instance) = type_info_for(call.handle, call.mem_class, type_info);
}

u_int32 read_enumeration(unmarshal_call &call, const enumeration_descriptor &type, const u_int8 *buffer, void *instance,
                         u_int32 length) {
    vela_handle *handle = call.handle;
    if (*call.err != 0) {
        return 0;
    }
    if (length < 1) {
        fail(handle, VELA_ENOMEM, call.err);
        return 0;
    }
    int8 variant = 0;
    u_int32 position =
        VELA_CALL(_vela_instance_variant_unmarshal)(handle, call.mem_class, buffer, &variant, length, call.err);
    if (*call.err != 0) {
        return position;
    }
    header_of(instance)->variant = cap_variant(variant, type.latest);
    set_type(call, instance, type.type_info);
    position += VELA_CALL(u_int32_unmarshal)(handle, call.mem_class, buffer + position, value_of(instance),
                                             length - position, call.mode, call.err);
    if (*call.err == 0) {
        // The value is notified after the fact and stored once more; owners of checkpointed memory rely on it.
        const u_int32 value = *value_of(instance);
        notify(handle, call.mem_class, value_of(instance), sizeof value);
        *value_of(instance) = value;
    }
    return position;
}

wire_prefix read_prefix(unmarshal_call &call, input &in) {
    vela_handle *handle = call.handle;
    wire_prefix prefix;
    in.position += VELA_CALL(_vela_instance_variant_unmarshal)(handle, call.mem_class, in.here(), &prefix.variant,
                                                               in.left(), call.err);
    in.position += VELA_CALL(_vela_instance_obj_flag_unmarshal)(handle, call.mem_class, in.here(), &prefix.flags,
                                                                in.left(), call.err);
    prefix.flags &= wire_flags;  // a peer must not set a flag that makes destroy free something
    if ((prefix.flags & VELA_FLAG_EXTRA_DATA) != 0) {
        u_int8 kind = 0;
        u_int64 data = 0;
        in.position += VELA_CALL(_vela_instance_ra_data_unmarshal)(handle, call.mem_class, in.here(), &kind, &data,
                                                                   in.left(), call.err);
    }
    prefix.jump_position = in.position;
    in.position +=
        VELA_CALL(_vela_variant_jump_unmarshal)(handle, call.mem_class, in.here(), &prefix.jump, in.left(), call.err);
    return prefix;
}

/** Settles what becomes of the state flags, and which flags are to be stored in the instance. */
flag_target locate_flags(unmarshal_call &call, const structure_descriptor &type, void *instance, u_int8 *flags) {
    flag_target target;
    target.present = (*flags & VELA_FLAG_TRACKED) != 0;
    if (tracking_of(call.handle, type) != tracking::on) {
        *flags = static_cast<u_int8>(*flags & ~VELA_FLAG_TRACKED);
        return target;
    }
    target.block = state_block(call.handle, call.mem_class, type, instance);
    if (target.block == nullptr) {
        fatal(type.trace, trace::structure::tracking_mismatch);
    }
    *flags |= VELA_FLAG_TRACKED;
    return target;
}

void read_flags(input &in, const field_descriptor &field, const flag_target &target) {
    const u_int32 wanted = field.is_array ? 1u + field.capacity : 1u;
    const u_int32 count = wanted < in.left() ? wanted : in.left();
    if (target.block != nullptr) {
        memcpy(target.block + field.flag_position, in.here(), count);
    }
    in.skip(count);
}

u_int32 read_structure(unmarshal_call &call, const structure_descriptor &type, const u_int8 *buffer, void *instance,
                       u_int32 length);

/** Reads a text of the length that its companion just received. After a failure the text is empty, and says so. */
u_int32 read_text(unmarshal_call &call, const field_descriptor &field, void *instance, const input &in) {
    if (*call.err != 0) {
        return 0;  // the companion has not been read either
    }
    u_int8 *companion = at(instance, field.companion_offset);
    const u_int32 count =
        var_string_unmarshal(call.handle, call.mem_class, in.here(), as<var_string>(storage(field, instance)),
                             *companion, in.left(), call.mode, call.err);
    if (*call.err != 0) {
        *companion = 0;
    }
    return count;
}

u_int32 read_value(unmarshal_call &call, const field_descriptor &field, void *instance, u_int32 element,
                   const input &in) {
    u_int8 *value = storage(field, instance, element);
    switch (field.kind) {
        case field_kind::enumeration:
            return read_enumeration(call, *field.enumeration, in.here(), value, in.left());
        case field_kind::structure:
            return read_structure(call, *field.structure, in.here(), value, in.left());
        case field_kind::var_string:
            return read_text(call, field, instance, in);
        default:
            return visit_primitive(field.kind, [&](auto primitive) {
                using P = decltype(primitive);
                return P::unmarshal(call.handle, call.mem_class, in.here(), as<typename P::type>(value), in.left(),
                                    call.mode, call.err);
            });
    }
}

void read_fields(unmarshal_call &call, const structure_descriptor &type, void *instance, int8 variant, input &in,
                 const flag_target &target) {
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (static_cast<int>(field.since) > variant) {
            continue;
        }
        for (u_int32 element = 0; element < field.capacity; ++element) {
            in.position += read_value(call, field, instance, element, in);
        }
        if (target.present && field.flag_position != no_flag) {
            read_flags(in, field, target);
        }
    }
}

/**
 * Passes over what a newer peer wrote behind the fields that are known here, and over what an error left unread: an
 * instance's own end still holds then, and the flags of the instance around it follow there.
 */
void follow_jump(unmarshal_call &call, const structure_descriptor &type, const wire_prefix &prefix, input &in) {
    const u_int64 end = u_int64{prefix.jump_position} + prefix.jump;
    if (end <= in.position) {
        return;
    }
    emit(type.trace, trace::structure::offset_jump, in.position, prefix.jump_position, prefix.jump);
    if (end <= in.length) {
        in.position = static_cast<u_int32>(end);
    } else if (*call.err == 0) {
        fail(call.handle, VELA_EMSGSIZE, call.err, "a record claims more bytes than there are");
    }
}

u_int32 read_structure(unmarshal_call &call, const structure_descriptor &type, const u_int8 *buffer, void *instance,
                       u_int32 length) {
    if (*call.err != 0) {
        return 0;
    }
    if (length < 1) {
        fail(call.handle, VELA_ENOMEM, call.err);
        return 0;
    }
    input in{buffer, length};
    const wire_prefix prefix = read_prefix(call, in);
    const int8 variant = cap_variant(prefix.variant, type.latest);
    u_int8 flags = prefix.flags;
    const flag_target target = locate_flags(call, type, instance, &flags);
    if (*call.err != 0) {
        return in.position;
    }
    read_fields(call, type, instance, variant, in, target);
    follow_jump(call, type, prefix, in);
    vela_instance_header *header = header_of(instance);
    header->variant = variant;
    header->flags = static_cast<u_int8>(header->flags | flags);
    set_type(call, instance, type.type_info);
    return in.position;
}

u_int32 positive(int32 length) { return length < 0 ? 0 : static_cast<u_int32>(length); }

}  // namespace

u_int32 enumeration_unmarshal(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class,
                              const u_int8 *buffer, void *instance, int32 length, u_int32 mode, u_int32 *err) {
    operation_call operation({type.name, nullptr, "unmarshal"}, handle, err);
    if (!operation.open(type) || !operation.require(instance != nullptr, "an instance is null")) {
        return 0;
    }
    unmarshal_call call{handle, mem_class, mode, err};
    return read_enumeration(call, type, buffer, instance, positive(length));
}

u_int32 structure_unmarshal_reference(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class,
                                      const u_int8 *buffer, void *instance, int32 length, u_int32 mode, u_int32 *err) {
    operation_call operation({type.name, nullptr, "unmarshal"}, handle, err);
    if (!operation.open(type) || !operation.require(instance != nullptr, "the instance is null")) {
        return 0;
    }
    unmarshal_call call{handle, mem_class, mode, err};
    return read_structure(call, type, buffer, instance, positive(length));
}

}  // namespace ptp_cfg
