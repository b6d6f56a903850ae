#include "families/field.h"
#include "families/xml.h"

namespace ptp_cfg {

namespace {

constexpr size_t path_size = 256;
constexpr u_int32 value_size = 128;

struct xml_parse {
    vela_handle *handle;
    u_int32 mem_class;
    const xml_source &source;
    u_int32 *err;
};

/** An element path. One that does not fit is not to be used: cut, it could name another element. */
struct element_path {
    char text[path_size];
    bool fits = true;

    element_path(const char *parent, const char *name) { end = append(append(0, parent), "/", name); }
    /** Adds a position, counted from 1. */
    void index(u_int32 position) {
        char digits[12];
        size_t at = sizeof digits;
        digits[--at] = '\0';
        digits[--at] = ']';
        do {
            digits[--at] = static_cast<char>('0' + position % 10);
            position /= 10;
        } while (position != 0);
        digits[--at] = '[';
        append(end, digits + at);
    }

  private:
    size_t end = 0;

    size_t append(size_t from, const char *part) {
        const size_t wanted = strlen(part);
        const size_t length = wanted < path_size - 1 - from ? wanted : path_size - 1 - from;
        memcpy(text + from, part, length);
        text[from + length] = '\0';
        fits = fits && length == wanted;
        return from + length;
    }
    size_t append(size_t from, const char *first, const char *second) { return append(append(from, first), second); }
};

u_int32 count_nodes(const xml_parse &parse, const char *path) {
    u_int32 count = 0;
    return xml_get_element_nodecount(parse.source.document, path, &count) == 0 ? count : 0;
}

/** Opens a structure: its element must be there. */
bool element_present(const xml_parse &parse, const char *path) {
    if (count_nodes(parse, path) > 0) {
        return true;
    }
    fail(parse.handle, VELA_ENOENT, parse.err);
    return false;
}

void parse_value(const xml_parse &parse, const field_descriptor &field, void *instance, u_int32 element,
                 const char *path) {
    u_int8 *value = storage(field, instance, element);
    switch (field.kind) {
        case field_kind::enumeration:
            enumeration_from_xml(*field.enumeration, parse.handle, path, parse.source, value, parse.err);
            break;
        case field_kind::structure:
            structure_from_xml(*field.structure, parse.handle, parse.mem_class, path, parse.source, value, parse.err);
            break;
        case field_kind::var_string:
            var_string_from_xml(parse.handle, parse.mem_class, path, parse.source.document, as<var_string>(value),
                                at(instance, field.companion_offset), parse.err, parse.source.error_text,
                                parse.source.error_room);
            break;
        default:
            visit_primitive(field.kind, [&](auto primitive) {
                using P = decltype(primitive);
                P::from_xml(parse.handle, parse.mem_class, path, parse.source.document, as<typename P::type>(value),
                            parse.err, parse.source.error_text, parse.source.error_room);
            });
    }
}

/** One field of a structure. An element that is absent, or too deep to be named, leaves the field as it was. */
void parse_field(const xml_parse &parse, const field_descriptor &field, void *instance, const char *parent) {
    const element_path path(parent, field.name);
    if (!path.fits) {
        return;
    }
    if (!has_field(field, instance)) {
        if (count_nodes(parse, path.text) > 0) {
            fail_epoch(parse.handle, VELA_EEPOCH, parse.err);
        }
        return;
    }
    if (!field.is_array) {
        parse_value(parse, field, instance, 0, path.text);
    }
    for (u_int32 element = 0; field.is_array && element < field.capacity && *parse.err == 0; ++element) {
        element_path position = path;
        position.index(element + 1);
        if (!position.fits) {
            break;
        }
        parse_value(parse, field, instance, element, position.text);
    }
    if (*parse.err == VELA_ENOENT) {
        *parse.err = 0;
    }
}

}  // namespace

void enumeration_from_xml(const enumeration_descriptor &type, vela_handle *handle, const char *path,
                          const xml_source &source, void *instance, u_int32 *err) {
    if (*err != 0) {
        return;
    }
    clear_last_error(handle);
    for (u_int32 i = 0; i < type.value_count; ++i) {
        const element_path literal(path, type.values[i].literal);
        char value[value_size];
        *err = literal.fits ? xml_get_element_value(source.document, literal.text, value, value_size, 0)
                            : u_int32{VELA_ENOENT};
        if (*err == 0) {
            *value_of(instance) = type.values[i].number;  // neither announced nor tested against the variant
            return;
        }
        VELA_CALL(vela_store_err)(handle, *err);
        if (*err != VELA_ENOENT) {
            if (source.error_text != nullptr && source.error_room > 0) {
                u_int32 ignored = 0;
                const u_int32 length = vela_snprintf(handle, 0, source.error_text, source.error_room - 1, &ignored,
                                                     "Failed xpath: %s", path);
                source.error_text[length] = '\0';
            }
            return;
        }
        *err = 0;
    }
}

void structure_from_xml(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, const char *path,
                        const xml_source &source, void *instance, u_int32 *err) {
    if (*err != 0) {
        return;
    }
    clear_last_error(handle);
    if (instance == nullptr) {
        fail(handle, VELA_EINVAL, err);
        return;
    }
    const xml_parse parse{handle, mem_class, source, err};
    if (!element_present(parse, path)) {
        return;
    }
    for (u_int32 i = 0; i < type.field_count && *err == 0; ++i) {
        if (!type.fields[i].is_companion) {
            parse_field(parse, type.fields[i], instance, path);
        }
    }
}

static void parse_payload(const xml_parse &parse, const payload_descriptor &payload, void *value) {
    char path[path_size] = "//";
    strncat(path, payload.name, path_size - 3);
    if (payload.structure != nullptr) {
        structure_from_xml(*payload.structure, parse.handle, parse.mem_class, path, parse.source, value, parse.err);
        return;
    }
    visit_primitive(payload.kind, [&](auto primitive) {
        using P = decltype(primitive);
        P::from_xml(parse.handle, parse.mem_class, path, parse.source.document, static_cast<typename P::type *>(value),
                    parse.err, parse.source.error_text, parse.source.error_room);
    });
}

void *message_from_xml(const message_descriptor &type, const payload_wire &wire, vela_handle *handle, u_int32 mem_class,
                       const xml_source &source, u_int32 *err) {
    if (*err != 0) {
        emit(type.trace, trace::message::from_xml_error, strerror(static_cast<int>(*err)));
        return nullptr;
    }
    clear_last_error(handle);
    message_instance *message = static_cast<message_instance *>(message_create(type, wire, handle, mem_class));
    if (message == nullptr) {
        fail(handle, VELA_ENOMEM, err);
        return nullptr;
    }
    const xml_parse parse{handle, mem_class, source, err};
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        if (*err == VELA_ENOENT) {
            *err = 0;  // the payload is not in the document: it keeps its defaults
        }
        if (*err == 0) {
            parse_payload(parse, type.payloads[i], message->payload[i]);
        }
    }
    if (*err == VELA_ENOENT) {
        *err = 0;
    }
    // After a failure the message stays with the handle's allocator: callers of this operation never destroy it.
    return *err == 0 ? message : nullptr;
}

}  // namespace ptp_cfg
