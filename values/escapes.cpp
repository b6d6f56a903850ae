// Escapes bytes for XML and for printed lines, and reads them back.
#include "values/escapes.h"

#include <cstring>

#include "base/characters.h"
#include "base/utf8.h"

namespace values {

namespace {

const char *xml_escape(char c) {
    switch (c) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '\r':
            return "&#13;";  // a plain one would be read back as a line feed
        case '\\':
            return "\\\\";
        default:
            return nullptr;
    }
}

const char *line_escape(char c) {
    switch (c) {
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            return nullptr;
    }
}

/** Calls emit(characters, length) for one piece after another. */
template <typename Emit>
void walk(text_form form, const char *bytes, size_t count, Emit emit) {
    constexpr char digits[] = "0123456789ABCDEF";
    for (size_t i = 0; i < count;) {
        const u_int8 byte = static_cast<u_int8>(bytes[i]);
        size_t plain = 1;
        const char *escape = form == text_form::xml ? xml_escape(bytes[i]) : line_escape(bytes[i]);
        if (escape != nullptr) {
            emit(escape, strlen(escape));
        } else {
            if (byte >= 0x80) {
                plain = xml_character_length(bytes + i, count - i);
            } else if ((byte < 0x20 && byte != '\t' && byte != '\n') || byte == 0x7F) {
                plain = 0;
            }
            const char hex[4] = {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
            emit(plain != 0 ? bytes + i : hex, plain != 0 ? plain : sizeof hex);
        }
        i += plain != 0 ? plain : 1;
    }
}

/** Length of the escape at a backslash, and what it stands for; 0 when it is none. */
size_t read_escape(const char *at, char *byte) {
    if (at[1] == '\\') {
        *byte = '\\';
        return 2;
    }
    if (at[1] != 'x') {
        return 0;
    }
    const int high = base::hex_digit_value(at[2]);
    const int low = high < 0 ? -1 : base::hex_digit_value(at[3]);
    if (low < 0) {
        return 0;
    }
    *byte = static_cast<char>(high * 16 + low);
    return 4;
}

}  // namespace

size_t xml_character_length(const char *bytes, size_t left) {
    const size_t length = base::utf8_length(bytes, left);
    const u_int32 character = length == 3 ? base::decode_utf8(bytes, length) : 0;
    return character == 0xFFFE || character == 0xFFFF ? 0 : length;
}

size_t escaped_length(text_form form, const char *bytes, size_t count) {
    size_t total = 0;
    walk(form, bytes, count, [&total](const char *, size_t length) { total += length; });
    return total;
}

void escape(text_form form, const char *bytes, size_t count, char *out) {
    walk(form, bytes, count, [&out](const char *piece, size_t length) {
        memcpy(out, piece, length);
        out += length;
    });
}

size_t unescaped_length(const char *text, const char **bad) {
    *bad = nullptr;
    size_t total = 0;
    for (; *text != '\0'; ++total) {
        char byte;
        const size_t length = *text == '\\' ? read_escape(text, &byte) : 1;
        if (length == 0) {
            *bad = text;
            return total;
        }
        text += length;
    }
    return total;
}

void unescape(const char *text, char *out) {
    while (*text != '\0') {
        size_t length = 1;
        *out = *text;
        if (*text == '\\') {
            length = read_escape(text, out);
        }
        if (length == 0) {
            return;
        }
        text += length;
        ++out;
    }
}

}  // namespace values
