#include "formats.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "failure.h"

namespace ptpcfg {
namespace {

constexpr std::pair<const char *, format> names[] = {
    {"xml", format::xml}, {"bin", format::bin}, {"hex", format::hex}, {"text", format::text}, {"rec", format::rec}};

constexpr std::pair<const char *, format> endings[] = {
    {".xml", format::xml}, {".bin", format::bin}, {".hex", format::hex}, {".txt", format::text}, {".rec", format::rec}};

int digit_value(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool is_separator(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0 || c == ',' || c == ':'; }

/** Line and column, from 1, of a position in a text. */
std::string place_of(std::string_view text, size_t position) {
    const std::string_view before = text.substr(0, position);
    const size_t line_start = before.rfind('\n');
    const size_t column = line_start == std::string_view::npos ? position : position - line_start - 1;
    return std::to_string(std::count(before.begin(), before.end(), '\n') + 1) + ":" + std::to_string(column + 1);
}

}  // namespace

format format_named(const std::string &name, const char *option, const char *allowed) {
    for (const auto &[known, value] : names) {
        if (name == known && std::string_view(allowed).find(known) != std::string_view::npos) {
            return value;
        }
    }
    throw failure(exit_code::usage, std::string(option) + " " + name + ": the formats here are " + allowed);
}

std::optional<format> format_of_ending(const std::string &path) {
    for (const auto &[ending, value] : endings) {
        if (path.ends_with(ending)) {
            return value;
        }
    }
    return std::nullopt;
}

format format_of_content(std::string_view content) {
    if (content.starts_with("\xEF\xBB\xBF")) {
        return format::xml;
    }
    const size_t first = content.find_first_not_of(" \t\r\n");
    if (first != std::string_view::npos && content[first] == '<') {
        return format::xml;
    }
    if (content.starts_with(std::string_view("VREC\1", 5))) {
        return format::rec;
    }
    // Records always hold bytes that are no characters, so a text can only be a hex dump.
    const bool is_text = std::all_of(content.begin(), content.end(), [](char c) {
        return std::isprint(static_cast<unsigned char>(c)) != 0 || std::isspace(static_cast<unsigned char>(c)) != 0;
    });
    return is_text && !content.empty() ? format::hex : format::bin;
}

std::string from_hex(const std::string &name, std::string_view text) {
    std::string bytes;
    for (size_t at = 0; at < text.size();) {
        if (is_separator(text[at])) {
            ++at;
        } else if (text[at] == '#') {
            at = std::min(text.find('\n', at), text.size());
        } else if (text[at] == '0' && at + 1 < text.size() && (text[at + 1] | 0x20) == 'x') {
            at += 2;
        } else {
            const int high = digit_value(text[at]);
            const int low = at + 1 < text.size() ? digit_value(text[at + 1]) : -1;
            if (high < 0 || low < 0) {
                throw failure(exit_code::bad_input,
                              name + ":" + place_of(text, at) + ": a pair of hexadecimal digits must stand here");
            }
            bytes.push_back(static_cast<char>(high << 4 | low));
            at += 2;
        }
    }
    return bytes;
}

std::string hex_pairs(std::string_view bytes, const char *separator) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        if (!text.empty()) {
            text += separator;
        }
        text += digits[static_cast<unsigned char>(byte) >> 4];
        text += digits[static_cast<unsigned char>(byte) & 15];
    }
    return text;
}

std::string to_hex(std::string_view bytes) {
    std::string text;
    for (size_t at = 0; at < bytes.size(); at += 16) {
        text += hex_pairs(bytes.substr(at, 16), " ") + "\n";
    }
    return text;
}

}  // namespace ptpcfg
