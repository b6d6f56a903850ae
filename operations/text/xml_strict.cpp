// Strict reading: which elements a document may have, and which it must.
#include "operations/text/xml_strict.h"

#include <stdarg.h>
#include <stdio.h>

#include "operations/text/xml_checker.h"
#include "operations/text/xml_short_forms.h"

namespace ptp_cfg {

static constexpr const char *recorder_element = "ptp_cfg";

void xml_checker::fault(u_int32 element, u_int32 code, const char *format, ...) {
    if (!goes_on_) {
        return;
    }
    char reason[longest_reason];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(reason, sizeof reason, format, arguments);
    va_end(arguments);
    goes_on_ = xml_tell_fault(source_.document, element, code, reason, source_.error_text, source_.error_room, &err_);
}

bool xml_checker::finish(vela_handle *handle, u_int32 *err) const {
    if (err_ != 0) {
        fail(handle, err_, err);
    }
    return err_ == 0;
}

void xml_checker::unknown(u_int32 element, const char *kind, const char *owner, const nearest_name &nearest) {
    if (nearest.found() != nullptr) {
        fault(element, VELA_EINVAL, "unknown %s %s; did you mean %s?", kind, owner, nearest.found());
    } else {
        fault(element, VELA_EINVAL, "unknown %s %s; leave it out", kind, owner);
    }
}

void xml_checker::attributes(u_int32 element, const char *allowed) {
    const char *name = nullptr;
    const char *value = nullptr;
    for (u_int32 i = 0; goes_on_ && xml_get_attribute(source_.document, element, i, &name, &value) != 0; ++i) {
        char reason[96];
        if (strcmp(name, allowed) != 0) {
            fault(element, VELA_EINVAL, "unknown attribute %.64s; leave it out", name);
        } else if (strcmp(name, "state") == 0 && xml_check_value("u_int8", value, reason, sizeof reason) != VELA_OK) {
            fault(element, VELA_EINVAL, "state '%.*s' is not a number from 0 to 255", most_shown, value);
        }
    }
}

bool xml_checker::no_text(u_int32 element) {
    const trimmed text(text_of(element));
    if (!text.is_empty()) {
        fault(element, VELA_EINVAL, "text '%.*s' has no place here; elements are wanted", text.shown(), text.text);
    }
    return text.is_empty();
}

// ---- structures -----------------------------------------------------------------------------------------------------

/** An element that is the count-th of a field, from 1. */
void xml_checker::child(const structure_descriptor &type, const void *instance, u_int32 element, u_int32 index,
                        u_int32 count) {
    const field_descriptor &field = type.fields[index];
    if (!has_field(field, instance)) {
        fault(element, VELA_EEPOCH, needs_newer_variant, field.since, type.name,
              VELA_CALL(vela_get_instance_variant)(instance, 1, 0), leave_it_out);
        return;
    }
    if (count > field.capacity) {
        if (!field.is_array) {
            fault(element, VELA_EINVAL, stands_twice);
        } else if (count == field.capacity + 1u) {
            fault(element, VELA_EINVAL, "one too many; at most %u are allowed", field.capacity);
        }
        return;
    }
    const void *stored = storage(field, instance, count - 1);
    visit_kind(
        field, [&](const structure_descriptor &of) { structure(of, stored, element); },
        [&](const enumeration_descriptor &of) { enumeration(of, stored, element); },
        [&](text_kind) { value("var_string", field.name, element, false); },
        [&](auto primitive) { value(properties_of(primitive.kind).name, field.name, element, is_ipv4_number(field)); });
}

void xml_checker::missing(const structure_descriptor &type, const void *instance, u_int32 element,
                          const u_int16 *counts) {
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (counts[i] >= field.capacity || field.is_companion || !has_field(field, instance)) {
            continue;
        }
        if (field.is_array) {
            fault(element, VELA_EINVAL, "holds %u of %u <%s>; add the others", counts[i], field.capacity, field.name);
        } else {
            fault(element, VELA_EINVAL, "<%s> is missing; add it", field.name);
        }
    }
}

void xml_checker::structure(const structure_descriptor &type, const void *instance, u_int32 element) {
    constexpr u_int32 most_fields = 256;
    u_int16 counts[most_fields] = {};
    attributes(element, "state");
    if (holds_byte_list(type, element) || !no_text(element) || type.field_count > most_fields) {
        return;
    }
    u_int32 index = 0;  // fields nearly always stand in their order, so the search begins at the last
    for (u_int32 each = xml_first_child(source_.document, element); each != 0 && goes_on_;
         each = xml_next_sibling(source_.document, each)) {
        const char *name = name_of(each);
        u_int32 tried = 0;
        while (tried < type.field_count && strcmp(type.fields[index].name, name) != 0) {
            index = index + 1 < type.field_count ? index + 1 : 0;
            ++tried;
        }
        if (tried < type.field_count) {
            const u_int32 most = type.fields[index].capacity + 2u;  // what is more has been told of
            counts[index] = static_cast<u_int16>(counts[index] < most ? counts[index] + 1u : most);
            child(type, instance, each, index, counts[index]);
            continue;
        }
        nearest_name nearest(name);
        for (u_int32 i = 0; i < type.field_count; ++i) {
            nearest.show(type.fields[i].name);
        }
        unknown(each, "element in", type.name, nearest);
    }
    if ((rules_ & VELA_XML_ALL_FIELDS) != 0) {
        missing(type, instance, element, counts);
    }
}

// ---- messages -------------------------------------------------------------------------------------------------------

/** The element of a message: the root, or all that the root of a recorder holds; 0 after a fault. */
u_int32 xml_checker::message_element(const message_descriptor &type) {
    u_int32 element = xml_first_child(source_.document, 0);
    if (strcmp(name_of(element), recorder_element) == 0) {
        attributes(element, "time");
        const u_int32 inner = xml_first_child(source_.document, element);
        if (!no_text(element)) {
            return 0;
        }
        if (inner == 0 || xml_next_sibling(source_.document, inner) != 0) {
            fault(element, VELA_EINVAL, "a document holds one message, but here %s",
                  inner == 0 ? "is none" : "are more");
            return 0;
        }
        element = inner;
    }
    if (strcmp(name_of(element), type.name) != 0) {
        fault(element, VELA_EINVAL, "is not the message that is read here; <%s> is wanted", type.name);
        return 0;
    }
    return element;
}

void xml_checker::payload(const message_descriptor &type, const message_instance &message, u_int32 element,
                          u_int32 *payloads) {
    nearest_name nearest(name_of(element));
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        const payload_descriptor &payload = type.payloads[i];
        nearest.show(payload.name);
        if (strcmp(payload.name, name_of(element)) != 0) {
            continue;
        }
        if (payloads[i] != 0) {
            fault(element, VELA_EINVAL, stands_twice);
            return;
        }
        payloads[i] = element;
        visit_kind(
            payload, [&](const structure_descriptor &of) { structure(of, message.payload[i], element); },
            [&](auto primitive) { value(properties_of(primitive.kind).name, payload.name, element, false); });
        return;
    }
    unknown(element, "element in", type.name, nearest);
}

void xml_checker::message(const message_descriptor &type, const message_instance &message, u_int32 *payloads) {
    const u_int32 element = message_element(type);
    if (element == 0) {
        return;
    }
    attributes(element, "state");
    if (!no_text(element)) {
        return;
    }
    for (u_int32 each = xml_first_child(source_.document, element); each != 0 && goes_on_;
         each = xml_next_sibling(source_.document, each)) {
        payload(type, message, each, payloads);
    }
    for (u_int32 i = 0; i < type.payload_count && (rules_ & VELA_XML_ALL_PAYLOADS) != 0; ++i) {
        if (payloads[i] == 0) {
            fault(element, VELA_EINVAL, "<%s> is missing; add it", type.payloads[i].name);
        }
    }
}

// Documents of another runtime are always read plainly: the rules are the library's own.

bool is_read_strictly(const vela_xml_document *document) {
    if constexpr (has_own_runtime) {
        return (xml_get_rules(document) & VELA_XML_STRICT) != 0;
    }
    return false;
}

/** Whether check(checker) finds no fault. */
template <class Check>
static bool admits(const xml_source &source, vela_handle *handle, u_int32 *err, Check &&check) {
    if constexpr (has_own_runtime) {
        xml_checker checker(source);
        check(checker);
        return checker.finish(handle, err);
    }
    return true;
}

bool admits_enumeration(const enumeration_descriptor &type, vela_handle *handle, const xml_source &source,
                        const void *instance, u_int32 element, u_int32 *err) {
    return admits(source, handle, err, [&](auto &checker) { checker.enumeration(type, instance, element); });
}

bool admits_structure(const structure_descriptor &type, vela_handle *handle, const xml_source &source,
                      const void *instance, u_int32 element, u_int32 *err) {
    return admits(source, handle, err, [&](auto &checker) { checker.structure(type, instance, element); });
}

bool admits_message(const message_descriptor &type, vela_handle *handle, const xml_source &source,
                    const message_instance &message, u_int32 *payloads, u_int32 *err) {
    return admits(source, handle, err, [&](auto &checker) { checker.message(type, message, payloads); });
}

}  // namespace ptp_cfg
