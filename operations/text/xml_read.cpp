// Reads XML: what is absent stays, what is unknown is skipped; strict documents are compared first.
#include "operations/core/operation_call.h"
#include "operations/core/visit.h"
#include "operations/instance/field.h"
#include "operations/text/xml.h"
#include "operations/text/xml_location.h"
#include "operations/text/xml_short_forms.h"
#include "operations/text/xml_strict.h"

namespace ptp_cfg {

namespace {

constexpr u_int32 value_size = 128;

struct xml_parse {
    vela_handle *handle;
    u_int32 mem_class;
    const xml_source &source;
    u_int32 *err;
    u_int32 rules;  // of the document: VELA_XML_...

    xml_parse(vela_handle *user, u_int32 memory_class, const xml_source &from, u_int32 *error)
        : handle(user), mem_class(memory_class), source(from), err(error), rules(rules_of(from.document)) {}
    /** A location's text, where its element may hold something that is not read otherwise; else nullptr. */
    const char *text_for(u_int32 rule, const xml_location &location) const {
        if constexpr (has_own_runtime) {
            if ((rules & rule) != 0 && location.number() != 0) {
                return xml_element_text(source.document, location.number());
            }
        }
        return nullptr;
    }

  private:
    static u_int32 rules_of(const vela_xml_document *document) {
        if constexpr (has_own_runtime) {
            return xml_get_rules(document);
        }
        return 0;
    }
};

void parse_enumeration(const xml_parse &parse, const enumeration_descriptor &type, const xml_location &location,
                       void *instance);
void parse_structure(const xml_parse &parse, const structure_descriptor &type, const xml_location &location,
                     void *instance);
bool parse_address(const xml_parse &parse, const field_descriptor &field, u_int8 *value, const xml_location &location);

/** Reads what a field, an element or a payload holds; `companion` of a text only. */
template <class Row>
void parse_value(const xml_parse &parse, const Row &row, u_int8 *value, u_int8 *companion,
                 const xml_location &location) {
    const xml_source &source = parse.source;
    visit_kind(
        row, [&](const enumeration_descriptor &type) { parse_enumeration(parse, type, location, value); },
        [&](const structure_descriptor &type) { parse_structure(parse, type, location, value); },
        [&](text_kind) {
            var_string_from_xml(parse.handle, parse.mem_class, location.path_to_read(), source.document,
                                as<var_string>(value), companion, parse.err, source.error_text, source.error_room);
        },
        [&](auto primitive) {
            using P = decltype(primitive);
            P::from_xml(parse.handle, parse.mem_class, location.path_to_read(), source.document,
                        as<typename P::type>(value), parse.err, source.error_text, source.error_room);
        });
}

void parse_element(const xml_parse &parse, const field_descriptor &field, void *instance, u_int32 element,
                   const xml_location &location) {
    u_int8 *value = storage(field, instance, element);
    if (!parse_address(parse, field, value, location)) {
        parse_value(parse, field, value, at(instance, field.companion_offset), location);
    }
}

/** One field of a structure. An element that is absent, or too deep to be named, leaves the field as it was. */
void parse_field(const xml_parse &parse, const field_descriptor &field, void *instance, xml_children &children) {
    xml_location location(children, field.name, field.name_length);
    if (!location.fits()) {
        return;
    }
    if (!has_field(field, instance)) {
        const u_int32 found = location.look();
        if (found == VELA_OK) {
            fail_epoch(parse.handle, instance, parse.err, "the instance's variant does not have it");
        } else if (found == VELA_ENOMEM) {
            fail(parse.handle, VELA_ENOMEM, parse.err);
        }
        return;
    }
    if (!field.is_array) {
        parse_element(parse, field, instance, 0, location);
    }
    for (u_int32 element = 0; field.is_array && element < field.capacity && *parse.err == 0; ++element) {
        location.go_to(element + 1);
        if (!location.fits()) {
            break;
        }
        parse_element(parse, field, instance, element, location);
    }
    if (*parse.err == VELA_ENOENT) {
        *parse.err = 0;
    }
}

/** Looks for the element of a literal; its text is of no interest, but must be one that can be read. */
u_int32 find_literal(const xml_parse &parse, xml_children &literals, const enumeration_value &wanted) {
    const xml_location literal(literals, wanted.literal, wanted.literal_length);
    char value[value_size];
    return literal.fits() ? xml_get_element_value(parse.source.document, literal.path_to_read(), value, value_size, 0)
                          : u_int32{VELA_ENOENT};
}

void name_failed_path(const xml_parse &parse, const char *path) {
    const xml_source &source = parse.source;
    if (source.error_text != nullptr && source.error_room > 0) {
        u_int32 ignored = 0;
        const u_int32 length = vela_snprintf(parse.handle, 0, source.error_text, source.error_room - 1, &ignored,
                                             "Failed xpath: %s", path);
        source.error_text[length] = '\0';
    }
}

/** A value may be a number where the document's reader allows it. */
void parse_number(const xml_parse &parse, const xml_location &location, void *instance) {
    const char *text = parse.text_for(VELA_XML_NUMBERS, location);
    if (text != nullptr && read_enumeration_number(text, value_of(instance))) {
        clear_last_error(parse.handle);
    }
}

/** Reads an address that is written as one; false when it is a number. */
bool parse_address(const xml_parse &parse, const field_descriptor &field, u_int8 *value, const xml_location &location) {
    const char *text = is_ipv4_number(field) ? parse.text_for(VELA_XML_SHORT_FORMS, location) : nullptr;
    u_int32 number = 0;
    if (text == nullptr || !read_ipv4_number(text, &number)) {
        return false;
    }
    using P = primitive_traits<field_kind::u_int32>;
    P::set_value(parse.handle, parse.mem_class, as<P::type>(value), number, parse.err);
    return true;
}

/** Reads bytes that are written as one text; false when they have elements of their own. */
bool parse_byte_list(const xml_parse &parse, const structure_descriptor &type, const xml_location &location,
                     void *instance) {
    const char *text = parse.text_for(VELA_XML_SHORT_FORMS, location);
    u_int8 bytes[most_listed_bytes];
    if (text == nullptr || !is_byte_list(type) || !read_byte_list(type, text, bytes)) {
        return false;
    }
    using P = primitive_traits<field_kind::u_int8>;
    for (u_int32 i = 0; i < type.fields[0].capacity; ++i) {
        P::set_value(parse.handle, parse.mem_class, as<P::type>(storage(type.fields[0], instance, i)), bytes[i],
                     parse.err);
    }
    return true;
}

void parse_enumeration(const xml_parse &parse, const enumeration_descriptor &type, const xml_location &location,
                       void *instance) {
    clear_last_error(parse.handle);
    if (location.lacks_memory()) {
        fail(parse.handle, VELA_ENOMEM, parse.err);
        name_failed_path(parse, location.path());
        VELA_CALL(vela_store_err)(parse.handle, VELA_ENOMEM);
        return;
    }
    xml_children literals(location);
    const char *only = literals.only_name();  // there is one as a rule, and then the others need no search
    const size_t only_length = only != nullptr ? strlen(only) : 0;
    for (u_int32 i = 0; i < type.value_count; ++i) {
        const enumeration_value &value = type.values[i];
        const bool is_absent =
            only != nullptr && (value.literal_length != only_length || memcmp(value.literal, only, only_length) != 0);
        *parse.err = is_absent ? u_int32{VELA_ENOENT} : find_literal(parse, literals, value);
        if (*parse.err == 0) {
            *value_of(instance) = value.number;  // without notice, nor tested against the variant
            return;
        }
        if (*parse.err != VELA_ENOENT) {
            fail(parse.handle, *parse.err, parse.err);
            name_failed_path(parse, location.path());
            VELA_CALL(vela_store_err)(parse.handle, *parse.err);  // last: a message that had to be cut is no cause
            return;
        }
        VELA_CALL(vela_store_err)(parse.handle, *parse.err);
        *parse.err = 0;
    }
    parse_number(parse, location, instance);
}

void parse_structure(const xml_parse &parse, const structure_descriptor &type, const xml_location &location,
                     void *instance) {
    clear_last_error(parse.handle);
    if (instance == nullptr) {
        fail(parse.handle, VELA_EINVAL, parse.err, "the instance is null");
        return;
    }
    if (const u_int32 found = location.look(); found != VELA_OK) {
        fail(parse.handle, found, parse.err,
             found == VELA_ENOENT ? "the document has no element of that path" : nullptr);
        return;
    }
    if (parse_byte_list(parse, type, location, instance)) {
        return;
    }
    xml_children children(location);
    u_int32 i = 0;
    for (; i < type.field_count && *parse.err == 0; ++i) {
        if (!type.fields[i].is_companion) {
            parse_field(parse, type.fields[i], instance, children);
        }
    }
    if (*parse.err != 0 && i != 0) {
        name_failure({type.name, type.fields[i - 1].name, "from_xml"}, parse.handle, parse.err);
    }
}

}  // namespace

void enumeration_from_xml(const enumeration_descriptor &type, vela_handle *handle, const char *path,
                          const xml_source &source, void *instance, u_int32 *err) {
    operation_call call({type.name, nullptr, "from_xml"}, handle, err);
    if (!call.open(type) || !call.require(instance != nullptr, "the instance is null")) {
        return;
    }
    xml_path steps(path);
    const xml_location location(source.document, path, steps);
    if (location.number() == 0 || !is_read_strictly(source.document) ||
        admits_enumeration(type, handle, source, instance, location.number(), err)) {
        parse_enumeration({handle, 0, source, err}, type, location, instance);
    }
}

void structure_from_xml(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, const char *path,
                        const xml_source &source, void *instance, u_int32 *err) {
    operation_call call({type.name, nullptr, "from_xml"}, handle, err);
    if (!call.open(type)) {
        return;
    }
    xml_path steps(path);
    const xml_location location(source.document, path, steps);
    if (location.number() == 0 || instance == nullptr || !is_read_strictly(source.document) ||
        admits_structure(type, handle, source, instance, location.number(), err)) {
        parse_structure({handle, mem_class, source, err}, type, location, instance);
    }
}

/** @param element  where the payload stands when that is known, else 0 */
static void parse_payload(const xml_parse &parse, const payload_descriptor &payload, void *value, u_int32 element) {
    char path[128] = "//";
    strncat(path, payload.name, sizeof path - 3);
    xml_path steps(path);
    const xml_location found = element != 0 ? xml_location(parse.source.document, element, steps)
                                            : xml_location(parse.source.document, path, steps);
    parse_value(parse, payload, static_cast<u_int8 *>(value), nullptr, found);
    if (*parse.err != 0 && payload.structure != nullptr) {
        name_failure({payload.structure->name, nullptr, "from_xml"}, parse.handle, parse.err);
    }
}

/** Reads what there is. A payload that is not in the document keeps its defaults. */
static void parse_payloads(const xml_parse &parse, const message_descriptor &type, message_instance &message) {
    for (u_int32 i = 0; i < type.payload_count && *parse.err == 0; ++i) {
        parse_payload(parse, type.payloads[i], message.payload[i], 0);
        if (*parse.err == VELA_ENOENT) {
            *parse.err = 0;
        }
    }
}

/** Reads a document that must fit the message as a whole. */
static void parse_payloads_strictly(const xml_parse &parse, const message_descriptor &type, message_instance &message) {
    u_int32 elements[sizeof message.payload / sizeof message.payload[0]] = {};
    if (!admits_message(type, parse.handle, parse.source, message, elements, parse.err)) {
        return;
    }
    for (u_int32 i = 0; i < type.payload_count && *parse.err == 0; ++i) {
        if (elements[i] != 0) {
            parse_payload(parse, type.payloads[i], message.payload[i], elements[i]);
        }
    }
}

void *message_from_xml(const message_descriptor &type, const payload_wire &wire, vela_handle *handle, u_int32 mem_class,
                       const xml_source &source, u_int32 *err) {
    operation_call call({type.type_name, nullptr, "from_xml"}, handle, err);
    if (!call.open(type, trace::message::from_xml_error)) {
        return nullptr;
    }
    message_instance *message = static_cast<message_instance *>(message_create(type, wire, handle, mem_class));
    if (message == nullptr) {
        call.refuse(nullptr, VELA_ENOMEM);
        return nullptr;
    }
    const xml_parse parse{handle, mem_class, source, err};
    if (is_read_strictly(source.document)) {
        parse_payloads_strictly(parse, type, *message);
        if (*err != 0) {
            message_destroy(type, wire, handle, mem_class, message);
        }
    } else {
        parse_payloads(parse, type, *message);
        // After a failure the message stays with the handle's allocator: callers of this operation never destroy it.
    }
    return *err == 0 ? message : nullptr;
}

}  // namespace ptp_cfg
