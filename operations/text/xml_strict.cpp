#include "operations/text/xml_strict.h"

#include <stdarg.h>
#include <stdio.h>

#include "operations/instance/field.h"
#include "operations/text/nearest_name.h"
#include "operations/text/xml_short_forms.h"

namespace ptp_cfg {

namespace {

constexpr size_t longest_reason = 384;
constexpr int most_shown = 40;  // characters of a text that has no place
constexpr const char *recorder_element = "ptp_cfg";

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

/** A text without the blanks around it. */
struct trimmed {
    const char *text;
    size_t length;

    explicit trimmed(const char *from) : text(from) {
        while (is_blank(*text)) {
            ++text;
        }
        length = strlen(text);
        while (length > 0 && is_blank(text[length - 1])) {
            --length;
        }
    }
    bool is_empty() const { return length == 0; }
    /** How much to show, not ending within a character. */
    int shown() const {
        size_t count = length < size_t{most_shown} ? length : size_t{most_shown};
        while (count < length && count > 0 && (static_cast<u_int8>(text[count]) & 0xC0) == 0x80) {
            --count;
        }
        return static_cast<int>(count);
    }
};

/** Goes over the elements of a record. After a fault it goes on when the document's reader wants to know more. */
class checker {
  public:
    explicit checker(const xml_source &source) : source_(source), rules_(xml_get_rules(source.document)) {}

    void enumeration(const enumeration_descriptor &type, const void *instance, u_int32 element);
    void structure(const structure_descriptor &type, const void *instance, u_int32 element);
    void message(const message_descriptor &type, const message_instance &message, u_int32 *payloads);
    /** False after a fault, whose code is then stored. */
    bool finish(vela_handle *handle, u_int32 *err) const;

  private:
    void fault(u_int32 element, u_int32 code, const char *format, ...) VELA_PRINTF(4, 5);
    void unknown(u_int32 element, const char *kind, const char *owner, const nearest_name &nearest);
    void attributes(u_int32 element, const char *allowed);
    bool no_text(u_int32 element);
    bool has_children(u_int32 element) const { return xml_first_child(source_.document, element) != 0; }
    const char *name_of(u_int32 element) const { return xml_element_name(source_.document, element); }
    const char *text_of(u_int32 element) const { return xml_element_text(source_.document, element); }

    void child(const structure_descriptor &type, const void *instance, u_int32 element, u_int32 index, u_int32 count);
    void value(field_kind kind, const char *name, u_int32 element, bool is_address);
    bool holds_byte_list(const structure_descriptor &type, u_int32 element);
    void missing(const structure_descriptor &type, const void *instance, u_int32 element, const u_int16 *counts);
    void number(const enumeration_descriptor &type, const void *instance, u_int32 element, const trimmed &text);
    void literal(const enumeration_descriptor &type, const void *instance, u_int32 element);
    void is_new(const enumeration_descriptor &type, const void *instance, u_int32 element, u_int32 value);
    u_int32 message_element(const message_descriptor &type);
    void payload(const message_descriptor &type, const message_instance &message, u_int32 element, u_int32 *payloads);

    const xml_source &source_;
    u_int32 rules_;
    u_int32 err_ = 0;
    bool goes_on_ = true;
};

void checker::fault(u_int32 element, u_int32 code, const char *format, ...) {
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

bool checker::finish(vela_handle *handle, u_int32 *err) const {
    if (err_ == VELA_EEPOCH) {
        fail_epoch(handle, err_, err);
    } else if (err_ != 0) {
        fail(handle, err_, err);
    }
    return err_ == 0;
}

void checker::unknown(u_int32 element, const char *kind, const char *owner, const nearest_name &nearest) {
    if (nearest.found() != nullptr) {
        fault(element, VELA_EINVAL, "unknown %s %s; did you mean %s?", kind, owner, nearest.found());
    } else {
        fault(element, VELA_EINVAL, "unknown %s %s; leave it out", kind, owner);
    }
}

void checker::attributes(u_int32 element, const char *allowed) {
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

bool checker::no_text(u_int32 element) {
    const trimmed text(text_of(element));
    if (!text.is_empty()) {
        fault(element, VELA_EINVAL, "text '%.*s' has no place here; elements are wanted", text.shown(), text.text);
    }
    return text.is_empty();
}

// ---- enumerations ---------------------------------------------------------------------------------------------------

void checker::is_new(const enumeration_descriptor &type, const void *instance, u_int32 element, u_int32 value) {
    const int8 variant = VELA_CALL(vela_get_instance_variant)(instance, 1, 1);
    if (!variant_admits(type.thresholds, type.latest, variant, value)) {
        fault(element, VELA_EEPOCH, "needs variant %d of %s, but %d is in use",
              variant_needed(type.thresholds, type.latest, value), type.name, variant);
    }
}

void checker::number(const enumeration_descriptor &type, const void *instance, u_int32 element, const trimmed &text) {
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

void checker::literal(const enumeration_descriptor &type, const void *instance, u_int32 element) {
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

void checker::enumeration(const enumeration_descriptor &type, const void *instance, u_int32 element) {
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

// ---- structures -----------------------------------------------------------------------------------------------------

void checker::value(field_kind kind, const char *name, u_int32 element, bool is_address) {
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
    const char *type_name = is_primitive(kind) ? properties_of(kind).name : "var_string";
    const u_int32 result = xml_check_value(type_name, text_of(element), reason, sizeof reason);
    if (result != VELA_OK && may_be_dotted) {
        const trimmed text(text_of(element));
        fault(element, result, "value '%.*s' is not an IPv4 address: a number from 0 to 4294967295, or as 192.0.2.1",
              text.shown(), text.text);
    } else if (result != VELA_OK) {
        fault(element, result, "%s", reason);
    }
}

/** An element that is the count-th of a field, from 1. */
void checker::child(const structure_descriptor &type, const void *instance, u_int32 element, u_int32 index,
                    u_int32 count) {
    const field_descriptor &field = type.fields[index];
    if (!has_field(field, instance)) {
        fault(element, VELA_EEPOCH, "needs variant %u of %s, but %d is in use; leave it out", field.since, type.name,
              VELA_CALL(vela_get_instance_variant)(instance, 1, 0));
        return;
    }
    if (count > field.capacity) {
        if (!field.is_array) {
            fault(element, VELA_EINVAL, "stands here a second time; keep one");
        } else if (count == field.capacity + 1u) {
            fault(element, VELA_EINVAL, "one too many; at most %u are allowed", field.capacity);
        }
        return;
    }
    const void *stored = storage(field, instance, count - 1);
    if (field.kind == field_kind::structure) {
        structure(*field.structure, stored, element);
    } else if (field.kind == field_kind::enumeration) {
        enumeration(*field.enumeration, stored, element);
    } else {
        value(field.kind, field.name, element, is_ipv4_number(field));
    }
}

void checker::missing(const structure_descriptor &type, const void *instance, u_int32 element, const u_int16 *counts) {
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

/** Whether an element holds bytes in one text, or is meant to; what is wrong with them is told then. */
bool checker::holds_byte_list(const structure_descriptor &type, u_int32 element) {
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

void checker::structure(const structure_descriptor &type, const void *instance, u_int32 element) {
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
u_int32 checker::message_element(const message_descriptor &type) {
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

void checker::payload(const message_descriptor &type, const message_instance &message, u_int32 element,
                      u_int32 *payloads) {
    nearest_name nearest(name_of(element));
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        const payload_descriptor &payload = type.payloads[i];
        nearest.show(payload.name);
        if (strcmp(payload.name, name_of(element)) != 0) {
            continue;
        }
        if (payloads[i] != 0) {
            fault(element, VELA_EINVAL, "stands here a second time; keep one");
            return;
        }
        payloads[i] = element;
        if (payload.structure != nullptr) {
            structure(*payload.structure, message.payload[i], element);
        } else {
            value(payload.kind, payload.name, element, false);
        }
        return;
    }
    unknown(element, "element in", type.name, nearest);
}

void checker::message(const message_descriptor &type, const message_instance &message, u_int32 *payloads) {
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

}  // namespace

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

// Documents of another runtime are always read plainly: the rules are the library's own.

bool is_read_strictly(const vela_xml_document *document) {
    if constexpr (has_own_runtime) {
        return (xml_get_rules(document) & VELA_XML_STRICT) != 0;
    }
    return false;
}

bool admits_enumeration(const enumeration_descriptor &type, vela_handle *handle, const xml_source &source,
                        const void *instance, u_int32 element, u_int32 *err) {
    if constexpr (has_own_runtime) {
        checker check(source);
        check.enumeration(type, instance, element);
        return check.finish(handle, err);
    }
    return true;
}

bool admits_structure(const structure_descriptor &type, vela_handle *handle, const xml_source &source,
                      const void *instance, u_int32 element, u_int32 *err) {
    if constexpr (has_own_runtime) {
        checker check(source);
        check.structure(type, instance, element);
        return check.finish(handle, err);
    }
    return true;
}

bool admits_message(const message_descriptor &type, vela_handle *handle, const xml_source &source,
                    const message_instance &message, u_int32 *payloads, u_int32 *err) {
    if constexpr (has_own_runtime) {
        checker check(source);
        check.message(type, message, payloads);
        return check.finish(handle, err);
    }
    return true;
}

}  // namespace ptp_cfg
