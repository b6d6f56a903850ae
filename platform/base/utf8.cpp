// Finds and decodes characters of UTF-8.
#include "base/utf8.h"

namespace base {
namespace {

size_t length_by_first_byte(unsigned first) {
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xC2 || first > 0xF4) {
        return 0;
    }
    return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

}  // namespace

size_t utf8_length(const char *text, size_t left) {
    const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = left > 0 ? byte(0) : 0xFF;
    const size_t length = length_by_first_byte(first);
    if (length > left) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const bool is_overlong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
    const bool is_surrogate = first == 0xED && byte(1) > 0x9F;
    const bool is_beyond = first == 0xF4 && byte(1) > 0x8F;
    return is_overlong || is_surrogate || is_beyond ? 0 : length;
}

uint32_t decode_utf8(const char *text, size_t length) {
    const auto first = static_cast<unsigned char>(text[0]);
    uint32_t character = length == 1 ? first : first & (0x7Fu >> length);
    for (size_t i = 1; i < length; ++i) {
        character = character << 6 | (static_cast<unsigned char>(text[i]) & 0x3Fu);
    }
    return character;
}

}  // namespace base
