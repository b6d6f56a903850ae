// Goes over the elements of a document before anything of it is stored. xml_strict.cpp has the rules of elements,
// xml_strict_values.cpp those of values.
#pragma once

#include "operations/core/visit.h"
#include "operations/instance/field.h"
#include "operations/text/faults.h"
#include "operations/text/nearest_name.h"
#include "operations/text/xml_strict.h"

namespace ptp_cfg {

constexpr size_t longest_reason = 384;
constexpr int most_shown = 40;  // characters of a text that does not belong there

inline bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

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

/** Goes over the elements of an instance. After a fault it goes on when the document's reader wants to know more. */
class xml_checker {
  public:
    explicit xml_checker(const xml_source &source) : source_(source), rules_(xml_get_rules(source.document)) {}

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
    void value(const char *type_name, const char *name, u_int32 element, bool is_address);
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

}  // namespace ptp_cfg
