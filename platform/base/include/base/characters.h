// Single characters, whatever the locale, and texts from elsewhere made fit for a message.
#pragma once

#include <string>
#include <string_view>

namespace base {

/** Whether a byte is a control character of ASCII. */
constexpr bool is_control(char character) { return static_cast<unsigned char>(character) < 0x20 || character == 0x7f; }

/** The value of a hexadecimal digit; -1 for what is none. */
constexpr int hex_digit_value(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    const char lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/** The text with a '?' for each control character: a line stays one, and a terminal is told nothing. */
inline std::string printable(std::string_view text) {
    std::string result(text);
    for (char &character : result) {
        character = is_control(character) ? '?' : character;
    }
    return result;
}

}  // namespace base
