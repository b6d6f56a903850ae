// Strict reading: what an element may hold that is a value.
#include "operations/text/xml_checker.h"
#include "operations/text/xml_short_forms.h"

namespace ptp_cfg {

// ---- enumerations ---------------------------------------------------------------------------------------------------

void xml_checker::is_new(const enumeration_descriptor &type, const void *instance, u_int32 element, u_int32 value) {
    const int8 variant = VELA_CALL(vela_get_instance_variant)(instance, 1, 1);
    if (!variant_admits(type.thresholds, type.latest, variant, value)) {
        fault(element, VELA_EEPOCH, needs_newer_variant, variant_needed(type.thresholds, type.latest, value), type.name,
              variant, give_older_value);
    }
}

void xml_checker::number(const enumeration_descriptor &type, const void *instance, u_int32 element,
                         const trimmed &text) {
    u_int32 value = 0;
    const bool may_be_number = (rules_ & VELA_XML_NUMBERS) != 0;
    if (!may_be_number || has_children(element) || !read_enumeration_number(text.text, &value)) {
        fault(element, VELA_EINVAL,
              "text '%.*s' has no place here; an empty element names the value%s, for example <%s/>", text.shown(),
              text.text, may_be_number ? ", or a number from 0 to 4294967295 is it" : "", type.values[0].literal);
    } else if (value < type.value_count) {
        is_new(type, instance, element, value);
    }
}

void xml_checker::literal(const enumeration_descriptor &type, const void *instance, u_int32 element) {
    const char *name = name_of(element);
    nearest_name nearest(name);
    for (u_int32 i = 0; i < type.value_count; ++i) {
        if (strcmp(type.values[i].literal, name) == 0) {
            attributes(element, "");
            if (has_children(element) || !trimmed(text_of(element)).is_empty()) {
                fault(element, VELA_EINVAL, "a literal is an empty element; leave out what it holds");
            }
            is_new(type, instance, element, type.values[i].number);
            return;
        }
    }
    if (strcmp(name, type.name) == 0) {
        fault(element, VELA_EINVAL, "the value had no literal when this was written, and is lost; write a value");
        return;
    }
    for (u_int32 i = 0; i < type.value_count; ++i) {
        nearest.show(type.values[i].literal);
    }
    unknown(element, "literal of", type.name, nearest);
}

void xml_checker::enumeration(const enumeration_descriptor &type, const void *instance, u_int32 element) {
    attributes(element, "state");
    const trimmed text(text_of(element));
    const u_int32 first = xml_first_child(source_.document, element);
    if (!text.is_empty()) {
        number(type, instance, element, text);
        return;
    }
    if (first == 0) {
        fault(element, VELA_EINVAL, "has no value; an empty element names it, for example <%s/>",
              type.values[0].literal);
        return;
    }
    literal(type, instance, first);
    if (const u_int32 second = xml_next_sibling(source_.document, first)) {
        fault(second, VELA_EINVAL, "is a second value of %.64s; keep one", name_of(element));
    }
}

// ---- values ---------------------------------------------------------------------------------------------------------

void xml_checker::value(const char *type_name, const char *name, u_int32 element, bool is_address) {
    attributes(element, "state");
    if (const u_int32 inner = xml_first_child(source_.document, element)) {
        fault(inner, VELA_EINVAL, "unknown element; a value is wanted in <%s>", name);
        return;
    }
    u_int32 address = 0;
    const bool may_be_dotted = is_address && (rules_ & VELA_XML_SHORT_FORMS) != 0;
    if (may_be_dotted && read_ipv4_number(text_of(element), &address)) {
        return;
    }
    char reason[longest_reason];
    const u_int32 result = xml_check_value(type_name, text_of(element), reason, sizeof reason);
    if (result != VELA_OK && may_be_dotted) {
        const trimmed text(text_of(element));
        fault(element, result, "value '%.*s' is not an IPv4 address: a number from 0 to 4294967295, or as 192.0.2.1",
              text.shown(), text.text);
    } else if (result != VELA_OK) {
        fault(element, result, "%s", reason);
    }
}

/** Whether an element holds bytes in one text, or is meant to; what is wrong with them is told then. */
bool xml_checker::holds_byte_list(const structure_descriptor &type, u_int32 element) {
    const trimmed text(text_of(element));
    if ((rules_ & VELA_XML_SHORT_FORMS) == 0 || !is_byte_list(type) || text.is_empty()) {
        return false;
    }
    u_int8 bytes[most_listed_bytes];
    if (has_children(element) || !read_byte_list(type, text.text, bytes)) {
        const field_descriptor &field = type.fields[0];
        fault(element, VELA_EINVAL, "'%.*s' is not %u bytes as %s, or an element <%s> for each", text.shown(),
              text.text, field.capacity, field.capacity == 8 ? "AA-BB-CC-FF-FE-00-03-30" : "AA-BB-...", field.name);
    }
    return true;
}

bool read_enumeration_number(const char *text, u_int32 *number) {
    const trimmed digits(text);
    u_int64 value = 0;
    for (size_t i = 0; i < digits.length; ++i) {
        if (digits.text[i] < '0' || digits.text[i] > '9') {
            return false;
        }
        value = value * 10 + static_cast<u_int64>(digits.text[i] - '0');
        if (value > 0xFFFFFFFFu) {
            return false;
        }
    }
    *number = static_cast<u_int32>(value);
    return !digits.is_empty();
}

}  // namespace ptp_cfg
