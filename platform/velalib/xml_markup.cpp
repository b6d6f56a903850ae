#include <cstring>
#include <string_view>

#include "xml_document.h"

namespace velalib {

namespace {

constexpr std::string_view out_of_range_words = " value out of range";

/** Position after a section that opens with `open` at `text`, or npos when another thing stands there. */
size_t skip_section(std::string_view text, std::string_view open, std::string_view close) {
    if (!text.starts_with(open)) return std::string_view::npos;
    const size_t end = text.find(close, open.size());
    return end == std::string_view::npos ? text.size() : end + close.size();
}

/** Position after a comment, CDATA section or processing instruction at `text`; 0 when there is none. */
size_t skip_unparsed(std::string_view text) {
    for (const auto &[open, close] :
         {std::pair<std::string_view, std::string_view>{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}}) {
        const size_t end = skip_section(text, open, close);
        if (end != std::string_view::npos) return end;
    }
    return 0;
}

bool is_name_character(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
           c == '.';
}

/** Blanks the words of <NAME value out of range/> at `tag`; false when another thing stands there. */
bool blank_words(char *tag, size_t length) {
    size_t at = 1;
    while (at < length && is_name_character(tag[at])) ++at;
    const std::string_view rest(tag + at, length - at);
    if (at == 1 || !rest.starts_with(out_of_range_words) || !rest.substr(out_of_range_words.size()).starts_with("/>")) {
        return false;
    }
    memset(tag + at, ' ', out_of_range_words.size());
    return true;
}

/** The number of a reference such as "#38" or "#x26"; false for anything else. */
bool parse_character_number(std::string_view text, u_int32 *number) {
    text.remove_prefix(1);
    const u_int32 base = text.starts_with('x') ? 16 : 10;
    if (base == 16) text.remove_prefix(1);
    if (text.empty() || text.size() > 8) return false;
    *number = 0;
    for (const char c : text) {
        u_int32 digit = base;
        if (c >= '0' && c <= '9') digit = static_cast<u_int32>(c - '0');
        if (c >= 'a' && c <= 'f') digit = static_cast<u_int32>(c - 'a' + 10);
        if (c >= 'A' && c <= 'F') digit = static_cast<u_int32>(c - 'A' + 10);
        if (digit >= base || *number > 0x10FFFF) return false;
        *number = *number * base + digit;
    }
    return true;
}

bool is_xml_character(u_int32 number) {
    if (number < 0x20) return number == '\t' || number == '\n' || number == '\r';
    return number <= 0x10FFFF && (number < 0xD800 || number > 0xDFFF);
}

/** True when a reference that XML itself defines stands at `text`. */
bool is_reference(std::string_view text) {
    const size_t end = text.substr(0, 16).find(';');
    if (end == std::string_view::npos) return false;
    const std::string_view name = text.substr(1, end - 1);
    if (name.starts_with('#')) {
        u_int32 number = 0;
        return parse_character_number(name, &number) && is_xml_character(number);
    }
    return name == "lt" || name == "gt" || name == "amp" || name == "quot" || name == "apos";
}

}  // namespace

bool blank_values_out_of_range(char *text, size_t length) {
    const std::string_view whole(text, length);
    bool found = false;
    for (size_t at = whole.find('<'); at != std::string_view::npos; at = whole.find('<', at)) {
        const size_t skipped = skip_unparsed(whole.substr(at));
        if (skipped == 0 && blank_words(text + at, length - at)) found = true;
        at += skipped != 0 ? skipped : 1;
    }
    return found;
}

const char *find_bad_reference(const char *text, size_t length) {
    const std::string_view whole(text, length);
    if (whole.find('&') == std::string_view::npos) return nullptr;
    for (size_t at = whole.find_first_of("<&"); at != std::string_view::npos; at = whole.find_first_of("<&", at)) {
        if (text[at] == '&') {
            if (!is_reference(whole.substr(at))) return text + at;
            ++at;
            continue;
        }
        const size_t skipped = skip_unparsed(whole.substr(at));
        at += skipped != 0 ? skipped : 1;
    }
    return nullptr;
}

}  // namespace velalib
