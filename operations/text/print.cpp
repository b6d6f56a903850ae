// Prints enumerations, structures and messages by their rows.
#include "operations/text/print.h"

#include "operations/core/operation_call.h"
#include "operations/core/visit.h"

namespace ptp_cfg {

namespace {

constexpr u_int32 indent_step = 2;
constexpr size_t label_size = 80;

/** A text being written into the caller's characters; its runtime calls never pass the room. */
struct text {
    vela_handle *handle;
    u_int32 mem_class;
    char *buffer;
    u_int32 room;
    u_int32 *err;
    u_int32 position = 0;

    char *here() const { return buffer + position; }
    u_int32 left() const { return room - position; }

    void space(u_int32 depth) { position += vela_print_space(handle, mem_class, here(), depth, left(), err); }

    void words(const char *characters) {
        position += vela_snprintf(handle, mem_class, here(), left(), err, "%s", characters);
    }
    void line(const char *characters) {
        position += vela_snprintf(handle, mem_class, here(), left(), err, "%s\n", characters);
    }
    /** Opens what stands between braces. */
    void open(const char *label, const char *type) {
        position += vela_snprintf(handle, mem_class, here(), left(), err, "%s@%s: {\n", label, type);
    }
};

/** Prints what a field, an element or a payload holds; `companion` of a text only. */
template <class Row>
void print_value(text &out, const Row &row, const u_int8 *value, const u_int8 *companion, u_int32 depth,
                 const char *label) {
    out.position += visit_kind(
        row,
        [&](const enumeration_descriptor &type) {
            return enumeration_print(type, out.handle, out.mem_class, out.here(), depth, label, value, out.left(),
                                     out.err);
        },
        [&](const structure_descriptor &type) {
            return structure_print(type, out.handle, out.mem_class, out.here(), depth, label, value, out.left(),
                                   out.err);
        },
        [&](text_kind) {
            return var_string_print(out.handle, out.mem_class, out.here(), depth, label, as<var_string>(value),
                                    *companion, out.left(), out.err);
        },
        [&](auto primitive) {
            using P = decltype(primitive);
            return P::print(out.handle, out.mem_class, out.here(), depth, label, as<typename P::type>(value),
                            out.left(), out.err);
        });
}

void print_field(text &out, const field_descriptor &field, const void *instance, u_int32 depth) {
    if (!field.is_array) {
        print_value(out, field, storage(field, instance), at(instance, field.companion_offset), depth, field.name);
        return;
    }
    for (u_int32 element = 0; element < field.capacity && *out.err == 0; ++element) {
        char label[label_size];
        label[vela_snprintf(out.handle, out.mem_class, label, label_size - 1, out.err, "%s[%d]", field.name,
                            static_cast<int>(element))] = '\0';
        print_value(out, field, storage(field, instance, element), at(instance, field.companion_offset), depth, label);
    }
}

}  // namespace

u_int32 enumeration_print(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class, char *buffer,
                          u_int32 indent, const char *label, const void *instance, u_int32 room, u_int32 *err) {
    operation_call call({type.name, nullptr, "print", "print_cr"}, handle, err);
    if (!call.open(type)) {
        return 0;
    }
    text out{handle, mem_class, buffer, room, err};
    out.space(indent);
    out.position += vela_snprintf(handle, mem_class, out.here(), out.left(), err, "%s@%s:", label, type.name);
    const char *literal = instance == nullptr ? nullptr : enumeration_literal(type, *value_of(instance));
    if (literal != nullptr) {
        out.line(literal);
    } else {
        out.words("Enum value out of range");  // without a new line, which tells it from a literal
    }
    return out.position;
}

u_int32 structure_print(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, char *buffer,
                        u_int32 indent, const char *label, const void *instance, u_int32 room, u_int32 *err) {
    operation_call call({type.name, nullptr, "print", "print_cr"}, handle, err);
    if (!call.open(type)) {
        return 0;
    }
    const int8 variant = VELA_CALL(vela_get_instance_variant)(instance, 1, 0);
    text out{handle, mem_class, buffer, room, err};
    out.space(indent);
    out.open(label, type.name);
    if (variant < 0) {
        return out.position;  // an unknown variant has no fields, and no closing brace
    }
    u_int32 printed = 0;
    for (; printed < type.field_count && *err == 0; ++printed) {
        if (static_cast<int>(type.fields[printed].since) <= variant) {
            print_field(out, type.fields[printed], instance, indent + indent_step);
        }
    }
    if (*err != 0 && printed != 0) {
        name_failure({type.name, type.fields[printed - 1].name, "print", "print_cr"}, handle, err);
    }
    // The closing indentation is written over the opening one, yet counted here: the brace stands `indent`
    // characters on, behind whatever the caller's buffer holds there. The distance is part of the text's form.
    out.position += vela_print_space(handle, mem_class, buffer, indent, out.left(), err);
    out.line("}");
    return out.position;
}

u_int32 message_print(const message_descriptor &type, vela_handle *handle, u_int32 mem_class, char *buffer,
                      const void *message, u_int32 room, u_int32 *err) {
    operation_call call({type.type_name, nullptr, "print", "print_cr"}, handle, err);
    if (!call.open(type, trace::message::print_error)) {
        return 0;
    }
    if (message == nullptr) {
        call.refuse("the message is null");
        return 0;
    }
    text out{handle, mem_class, buffer, room, err};
    out.space(0);
    out.open("message", type.name);
    const message_instance *instance = static_cast<const message_instance *>(message);
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        if (*err != 0) {
            fail(handle, VELA_EMSGSIZE, err);
            break;
        }
        const payload_descriptor &payload = type.payloads[i];
        print_value(out, payload, static_cast<const u_int8 *>(instance->payload[i]), nullptr, indent_step,
                    payload.name);
    }
    out.space(0);
    out.line("}");
    return out.position;
}

}  // namespace ptp_cfg
