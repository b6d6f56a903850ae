#include "json.h"

#include <cstdio>

namespace ptpcfg {
namespace {

/** Length of the character that a text begins with, if it is well-formed UTF-8; 0 if not. */
size_t character_length(std::string_view text) {
    const auto byte = [&](size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char first = byte(0);
    const size_t length = first < 0x80   ? 1
                          : first < 0xC2 ? 0
                          : first < 0xE0 ? 2
                          : first < 0xF0 ? 3
                          : first < 0xF5 ? 4
                                         : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    // Longer than need be, a half of a pair, or beyond the last character.
    const bool is_none = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
                         (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F);
    return is_none ? 0 : length;
}

std::string escaped(char character) {
    switch (character) {
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        case '\n':
            return "\\n";
        case '\t':
            return "\\t";
        default:
            char code[8];
            std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(character)));
            return code;
    }
}

}  // namespace

std::string json_string(std::string_view text) {
    std::string result = "\"";
    while (!text.empty()) {
        const size_t length = character_length(text);
        const char first = text.front();
        if (length == 0) {
            result += "\\ufffd";
        } else if (length == 1 &&
                   (static_cast<unsigned char>(first) < 0x20 || first == '"' || first == '\\' || first == 0x7f)) {
            result += escaped(first);
        } else {
            result += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result + '"';
}

}  // namespace ptpcfg
