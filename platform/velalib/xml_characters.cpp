// Tables of XML's characters, and reading names and references by them.
#include "xml_characters.h"

#include <strings.h>

#include <algorithm>
#include <array>

#include "base/characters.h"
#include "base/utf8.h"
#include "values/escapes.h"

namespace velalib {

namespace {

enum class name_use : u_int8 { none, start, part };

/** What each character of ASCII may be in a name. */
constexpr std::array<name_use, 128> ascii_uses = [] {
    std::array<name_use, 128> table = {};
    for (u_int32 c = 0; c < table.size(); ++c) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':') {
            table[c] = name_use::start;
        } else if ((c >= '0' && c <= '9') || c == '-' || c == '.') {
            table[c] = name_use::part;
        }
    }
    return table;
}();

struct character_range {
    u_int32 first, last;
    name_use use;
};

/** The same beyond ASCII. */
constexpr character_range wide_uses[] = {
    {0xB7, 0xB7, name_use::part},      {0xC0, 0xD6, name_use::start},     {0xD8, 0xF6, name_use::start},
    {0xF8, 0x2FF, name_use::start},    {0x300, 0x36F, name_use::part},    {0x370, 0x37D, name_use::start},
    {0x37F, 0x1FFF, name_use::start},  {0x200C, 0x200D, name_use::start}, {0x203F, 0x2040, name_use::part},
    {0x2070, 0x218F, name_use::start}, {0x2C00, 0x2FEF, name_use::start}, {0x3001, 0xD7FF, name_use::start},
    {0xF900, 0xFDCF, name_use::start}, {0xFDF0, 0xFFFD, name_use::start}, {0x10000, 0xEFFFF, name_use::start},
};

name_use use_of(u_int32 character) {
    if (character < ascii_uses.size()) {
        return ascii_uses[character];
    }
    for (const character_range &range : wide_uses) {
        if (character <= range.last) {
            return character >= range.first ? range.use : name_use::none;
        }
    }
    return name_use::none;
}

/** The character at a position and its length; {0, 1} for bytes that are none. */
std::pair<u_int32, size_t> decode(std::string_view text, size_t at) {
    if (static_cast<u_int8>(text[at]) < 0x80) {
        return {static_cast<u_int8>(text[at]), 1};
    }
    const char *bytes = text.data() + at;
    const size_t length = values::xml_character_length(bytes, text.size() - at);
    return length == 0 ? std::pair<u_int32, size_t>{0, 1} : std::pair{base::decode_utf8(bytes, length), length};
}

/** The number of a reference such as "#38" or "#x26"; false for anything else. */
bool parse_character_number(std::string_view text, u_int32 *number) {
    text.remove_prefix(1);
    const u_int32 radix = text.starts_with('x') ? 16 : 10;
    if (radix == 16) {
        text.remove_prefix(1);
    }
    if (text.empty()) {
        return false;
    }
    *number = 0;
    for (const char c : text) {
        const auto digit = static_cast<u_int32>(base::hex_digit_value(c));  // of what is none: very large
        if (digit >= radix || *number > 0x10FFFF) {
            return false;
        }
        *number = *number * radix + digit;
    }
    return true;
}

bool is_xml_character(u_int32 number) {
    if (number < 0x20) {
        return number == '\t' || number == '\n' || number == '\r';
    }
    return number <= 0x10FFFF && (number < 0xD800 || number > 0xDFFF) && number != 0xFFFE && number != 0xFFFF;
}

}  // namespace

size_t name_end(std::string_view text, size_t from) {
    size_t at = from;
    while (at < text.size()) {
        const auto [character, length] = decode(text, at);
        const name_use use = use_of(character);
        if (use == name_use::none || (use == name_use::part && at == from)) {
            break;
        }
        at += length;
    }
    return at;
}

size_t reference_length(std::string_view text) {
    constexpr size_t longest = 16;
    const size_t end = text.substr(0, longest).find(';');
    if (end == std::string_view::npos) {
        return 0;
    }
    const std::string_view name = text.substr(1, end - 1);
    u_int32 number = 0;
    const bool is_known = name.starts_with('#')
                              ? parse_character_number(name, &number) && is_xml_character(number)
                              : name == "lt" || name == "gt" || name == "amp" || name == "quot" || name == "apos";
    return is_known ? end + 1 : 0;
}

bool is_ascii_or_utf8(std::string_view name) {
    constexpr std::string_view known[] = {"UTF-8", "UTF8", "US-ASCII", "ASCII"};
    return std::any_of(std::begin(known), std::end(known), [name](std::string_view each) {
        return name.size() == each.size() && strncasecmp(name.data(), each.data(), each.size()) == 0;
    });
}

}  // namespace velalib
