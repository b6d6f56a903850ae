// Writes enumerations, structures and messages as XML by their rows.
#include "operations/core/operation_call.h"
#include "operations/core/visit.h"
#include "operations/instance/field.h"
#include "operations/text/xml.h"

namespace ptp_cfg {

namespace {

struct xml_output {
    vela_handle *handle;
    u_int32 mem_class;
    char *buffer;
    u_int32 room;
    u_int32 *err;
    u_int32 position = 0;

    char *here() const { return buffer + position; }
    u_int32 left() const { return room - position; }
    void start(const char *name, u_int8 state_flag) {
        position += start_tag(handle, mem_class, here(), name, left(), state_flag, err);
    }
    void end(const char *name) { position += end_tag(handle, mem_class, here(), name, left(), err); }
};

/** Renders what a field, an element or a payload holds; `companion` of a text only. */
template <class Row>
void render_value(xml_output &out, const Row &row, const u_int8 *value, const u_int8 *companion, u_int8 state_flag) {
    out.position += visit_kind(
        row,
        [&](const enumeration_descriptor &type) {
            // The state flag of an enumeration field is not written: its element always opens with flag 0.
            return enumeration_to_xml(type, out.handle, out.mem_class, row.name, out.here(), value, out.left(),
                                      out.err);
        },
        [&](const structure_descriptor &type) {
            return structure_to_xml(type, out.handle, out.mem_class, row.name, out.here(), value, out.left(),
                                    state_flag, out.err);
        },
        [&](text_kind) {
            return var_string_to_xml(out.handle, out.mem_class, row.name, out.here(), as<var_string>(value), *companion,
                                     out.left(), state_flag, out.err);
        },
        [&](auto primitive) {
            using P = decltype(primitive);
            return P::to_xml(out.handle, out.mem_class, row.name, out.here(), as<typename P::type>(value), out.left(),
                             state_flag, out.err);
        });
}

}  // namespace

u_int32 enumeration_to_xml(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class, const char *name,
                           char *buffer, const void *instance, u_int32 room, u_int32 *err) {
    operation_call call({type.name, nullptr, "to_xml", "toxml_cr"}, handle, err);
    if (!call.open(type)) {
        return 0;
    }
    xml_output out{handle, mem_class, buffer, room, err};
    out.start(name, 0);
    constexpr size_t text_size = 160;
    char text[text_size];
    const char *literal = instance == nullptr ? nullptr : enumeration_literal(type, *value_of(instance));
    const u_int32 length = literal != nullptr ? vela_snprintf(handle, mem_class, text, text_size, err, "<%s/>", literal)
                                              : vela_snprintf(handle, mem_class, text, text_size, err,
                                                              "<%s value out of range/>", type.name);
    out.position += xml_enum_print(handle, mem_class, out.here(), text, out.left(), length, err);
    out.end(name);
    return out.position;
}

u_int32 structure_to_xml(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, const char *name,
                         char *buffer, const void *instance, u_int32 room, u_int8 state_flag, u_int32 *err) {
    operation_call call({type.name, nullptr, "to_xml", "toxml_cr"}, handle, err);
    if (!call.open(type)) {
        return 0;
    }
    const int8 variant = VELA_CALL(vela_get_instance_variant)(instance, 1, 0);
    const bool tracked = tracking_of(handle, type) == tracking::on;
    xml_output out{handle, mem_class, buffer, room, err};
    out.start(name, state_flag);
    u_int32 i = 0;
    for (; i < type.field_count && *err == 0; ++i) {
        const field_descriptor &field = type.fields[i];
        if (static_cast<int>(field.since) > variant) {
            continue;
        }
        for (u_int32 element = 0; element < field.capacity && *err == 0; ++element) {
            const bool flagged = tracked && !field.is_companion;
            const u_int8 flag =
                flagged ? state_flag_get(type, i, handle, mem_class, instance, element, err) : u_int8{0};
            if (*err == 0) {
                render_value(out, field, storage(field, instance, element), at(instance, field.companion_offset), flag);
            }
        }
    }
    if (*err != 0) {
        name_failure({type.name, i == 0 ? nullptr : type.fields[i - 1].name, "to_xml", "toxml_cr"}, handle, err);
    }
    out.end(name);  // also after a failure
    return out.position;
}

u_int32 message_to_xml(const message_descriptor &type, vela_handle *handle, u_int32 mem_class, char *buffer,
                       const void *message, u_int32 room, u_int32 *err) {
    operation_call call({type.type_name, nullptr, "to_xml", "toxml_cr"}, handle, err);
    if (!call.open(type, trace::message::to_xml_error)) {
        return 0;
    }
    if (message == nullptr) {
        call.refuse("the message is null");
        return 0;
    }
    const message_instance *instance = static_cast<const message_instance *>(message);
    xml_output out{handle, mem_class, buffer, room, err};
    out.start(type.name, 0);
    for (u_int32 i = 0; i < type.payload_count && *err == 0; ++i) {
        const u_int8 *value = static_cast<const u_int8 *>(instance->payload[i]);
        if (value != nullptr || type.payloads[i].structure != nullptr) {
            render_value(out, type.payloads[i], value, nullptr, 0);
        }
    }
    out.end(type.name);
    return out.position;
}

}  // namespace ptp_cfg
