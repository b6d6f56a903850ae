// Operations on values as text, once for all kinds: printed lines, and elements of XML.
#pragma once

#include "text_io.h"
#include "values/operations.h"
#include "xml_characters.h"
#include "xml_write.h"

namespace values {

using velalib::xml_source;

/** True when an argument is there and nothing failed before; else *err is 22, unless it was set. */
inline bool is_given(vela_handle *handle, const void *value, u_int32 *err) {
    if (*err != 0) {
        return false;
    }
    if (value == nullptr) [[unlikely]] {
        fail(handle, err, VELA_EINVAL);
    }
    return value != nullptr;
}

/** The same of two arguments. */
inline bool are_given(vela_handle *handle, const void *a, const void *b, u_int32 *err) {
    return is_given(handle, a, err) && is_given(handle, b, err);
}

template <typename Value>
u_int32 print(vela_handle *handle, char *buffer, u_int32 indent, const char *label, const char *type_name,
              const typename Value::type *value, u_int32 room, u_int32 *err) {
    if (!is_given(handle, value, err)) {
        return 0;
    }
    bounded_text out(buffer, room);
    velalib::begin_line(out, indent, label, type_name);
    if constexpr (requires { Value::print(out, *value); }) {
        Value::print(out, *value);
    } else {
        Value::write(out, *value);
    }
    out.append('\n');
    return out.finish(handle, err);
}

template <typename Value>
u_int32 to_xml(vela_handle *handle, const char *name, char *buffer, const typename Value::type *value, u_int32 room,
               u_int8 state_flag, u_int32 *err) {
    if (!is_given(handle, value, err)) {
        return 0;
    }
    char text[longest_text];
    bounded_text out(text, sizeof text);
    Value::write(out, *value);
    return velalib::write_element(handle, name, buffer, text, out.length(), room, state_flag, err);
}

/** What the refusal of a text tells. */
using accepted_list = void (*)(bounded_text &out);

/** A text without the blanks around it. */
inline std::string_view trimmed(const char *text) {
    while (velalib::is_blank(*text)) {
        ++text;
    }
    size_t length = strlen(text);
    while (length > 0 && velalib::is_blank(text[length - 1])) {
        --length;
    }
    return {text, length};
}

void refuse_text(vela_handle *handle, const xml_source &source, std::string_view text, const char *type_name,
                 accepted_list list_accepted, u_int32 *err);

template <typename Value>
void from_xml(vela_handle *handle, u_int32 mem_class, const xml_source &source, const char *type_name,
              typename Value::type *value, u_int32 *err) {
    const char *whole = is_given(handle, value, err) ? velalib::read_text(handle, source, err) : nullptr;
    if (whole == nullptr) {
        return;
    }
    const std::string_view text = trimmed(whole);
    typename Value::type fresh = {};
    if (Value::read(text, &fresh)) {
        set(handle, mem_class, value, &fresh, err);
    } else {
        refuse_text(handle, source, text, type_name, Value::list_accepted, err);
    }
}

}  // namespace values
