// Tells formats by name, ending and content; hexadecimal both ways.
#include "formats.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <utility>

#include "failure.h"
#include "hex_reader.h"
#include "pcapng.h"
#include "text_encoding.h"

namespace ptpcfg {
namespace {

constexpr std::pair<const char *, format> names[] = {
    {"xml", format::xml}, {"json", format::json}, {"yaml", format::yaml}, {"bin", format::bin},
    {"hex", format::hex}, {"text", format::text}, {"rec", format::rec},   {"pcapng", format::rec}};

constexpr std::pair<const char *, format> endings[] = {
    {".xml", format::xml},  {".json", format::json}, {".yaml", format::yaml},
    {".yml", format::yaml}, {".bin", format::bin},   {".hex", format::hex},
    {".txt", format::text}, {".rec", format::rec},   {".pcapng", format::rec}};

/** Whether a line is one that YAML begins with: a mark, or a name with its colon, which digits of bytes do not have. */
bool begins_yaml(std::string_view line) {
    if (line.starts_with("---") || line.starts_with("%YAML") || line.starts_with("- ")) {
        return true;
    }
    const size_t end = line.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789\"'");
    const bool has_colon = end != std::string_view::npos && end > 2 && line[end] == ':';
    return has_colon && (end + 1 == line.size() || line[end + 1] == ' ' || line[end + 1] == '\r');
}

/** The first line of a text that is neither blank nor a comment. */
std::string_view first_line(std::string_view text) {
    while (!text.empty()) {
        const size_t length = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, length);
        const size_t first = line.find_first_not_of(" \t\r");
        if (first != std::string_view::npos && line[first] != '#') {
            return line;
        }
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return {};
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
    if (content.starts_with(byte_order_mark)) {
        const format behind = format_of_content(content.substr(byte_order_mark.size()));
        return is_written(behind) ? behind : format::xml;
    }
    if (is_wide_text(content) && content.find_first_not_of('\0') != std::string_view::npos) {
        std::string narrow;
        std::copy_if(content.begin(), content.end(), std::back_inserter(narrow),
                     [](char c) { return static_cast<signed char>(c) > 0; });
        const format meant = format_of_content(narrow);
        return is_written(meant) ? meant : format::bin;
    }
    const size_t first = content.find_first_not_of(" \t\r\n");
    const char character = first != std::string_view::npos ? content[first] : '\0';
    if (character == '<') {
        return format::xml;
    }
    if (character == '{' || character == '[' || character == '"') {
        return format::json;
    }
    if (content.starts_with(std::string_view("VREC\1", 5)) || begins_capture(content)) {
        return format::rec;
    }
    if (begins_yaml(first_line(content))) {
        return format::yaml;
    }
    // Records always hold bytes that are no characters, so a text can only be a hex dump.
    const bool is_text = std::all_of(content.begin(), content.end(), [](char c) {
        return std::isprint(static_cast<unsigned char>(c)) != 0 || std::isspace(static_cast<unsigned char>(c)) != 0;
    });
    return is_text && !content.empty() ? format::hex : format::bin;
}

std::string from_hex(const std::string &name, std::string_view text) {
    std::string bytes;
    hex_reader reader(name);
    reader.take(text, bytes);
    reader.finish();
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

std::string counted(uint64_t count, const char *noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace ptpcfg
