// Texts as elements of XML: var_string, and char arrays of a fixed size.
#include <cstdio>

#include "values/escapes.h"
#include "values/string.h"
#include "values/text.h"
#include "velalib/strings.h"

namespace {

using values::are_given;
using values::is_given;
using values::string;
using values::xml_source;

u_int32 write_text(vela_handle *handle, const char *name, char *buffer, const char *text, u_int32 count, u_int32 room,
                   u_int8 state_flag, u_int32 *err) {
    const size_t length = values::escaped_length(values::text_form::xml, text, count);
    const velalib::open_element element = velalib::write_tags(handle, name, buffer, length, room, state_flag, err);
    if (element.text != nullptr) {
        values::escape(values::text_form::xml, text, count, element.text);
    }
    return element.length;
}

/** Counts the bytes that a text stands for: 0; 22 or 28 with a reason. */
u_int32 count_bytes(const char *text, u_int32 limit, u_int32 *length, char *reason, u_int32 room) {
    const char *bad = nullptr;
    const size_t total = values::unescaped_length(text, &bad);
    if (bad != nullptr) {
        snprintf(reason, room, "'%.4s' is no escape; write a backslash as \\\\", bad);
        return VELA_EINVAL;
    }
    if (total > limit) {
        snprintf(reason, room, "%zu characters are more than the %u it can hold", total, limit);
        return VELA_ENOSPC;
    }
    *length = static_cast<u_int32>(total);
    return VELA_OK;
}

/** Finds an element's text and the number of bytes it stands for; false with *err set. */
bool read_bytes(vela_handle *handle, const xml_source &source, u_int32 limit, const char **text, u_int32 *length,
                u_int32 *err) {
    *text = velalib::read_text(handle, source, err);
    if (*text == nullptr) {
        return false;
    }
    char reason[96];
    const u_int32 result = count_bytes(*text, limit, length, reason, sizeof reason);
    if (result != VELA_OK) {
        velalib::refuse(handle, source, result, err, "%s", reason);
    }
    return result == VELA_OK;
}

}  // namespace

u_int32 string::check(const char *text, char *reason, u_int32 room) {
    u_int32 length = 0;
    return count_bytes(text, longest, &length, reason, room);
}

u_int32 var_string_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const var_string *value,
                          u_int32 count, u_int32 room, u_int8 state_flag, u_int32 *err) {
    if (!is_given(handle, value, err)) {
        return 0;
    }
    return write_text(handle, name, buffer, *value, *value == nullptr ? 0 : count, room, state_flag, err);
}

void var_string_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document,
                         var_string *value, u_int8 *count, u_int32 *err, char *error_text, u_int32 error_room) {
    const char *text = nullptr;
    u_int32 length = 0;
    if (!are_given(handle, value, count, err) ||
        !read_bytes(handle, {path, document, error_text, error_room}, string::longest, &text, &length, err)) {
        return;
    }
    char bytes[string::longest];
    values::unescape(text, bytes);
    var_string_set(handle, mem_class, value, bytes, length, err);
    if (*err != 0) {
        return;
    }
    values::notify(handle, mem_class, count, sizeof *count);
    *count = static_cast<u_int8>(length);
}

u_int32 char_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const char *value, u_int32 count,
                    u_int32 room, u_int8 state_flag, u_int32 *err) {
    if (!is_given(handle, value, err)) {
        return 0;
    }
    while (count > 0 && value[count - 1] == '\0') {
        --count;
    }
    return write_text(handle, name, buffer, value, count, room, state_flag, err);
}

void char_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document, char *value,
                   u_int32 count, u_int32 *err, char *error_text, u_int32 error_room) {
    const char *text = nullptr;
    u_int32 length = 0;
    if (!is_given(handle, value, err) ||
        !read_bytes(handle, {path, document, error_text, error_room}, count, &text, &length, err)) {
        return;
    }
    values::notify(handle, mem_class, value, count);
    values::unescape(text, value);
    memset(value + length, 0, count - length);
}
