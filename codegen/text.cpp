// Expands placeholders, and wraps texts and code to the width of a line.
#include "text.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace codegen {
namespace {

bool is_word(char character) { return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_'; }

/** The length of the {name} that begins at `start`, braces included; 0 when there is none. */
std::size_t placeholder_length(std::string_view text, std::size_t start) {
    const std::size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_", start + 1);
    const bool is_name = end != std::string_view::npos && text[end] == '}' && end > start + 1 &&
                         std::isdigit(static_cast<unsigned char>(text[start + 1])) == 0;
    return is_name ? end + 1 - start : 0;
}

}  // namespace

std::string expand(std::string_view text, const placeholders &values, std::set<std::string> &unknown) {
    std::string result;
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t length = text[position] == '{' ? placeholder_length(text, position) : 0;
        if (length == 0) {
            result += text[position++];
            continue;
        }
        const std::string_view name = text.substr(position + 1, length - 2);
        if (const auto found = values.find(name); found != values.end()) {
            result += found->second;
        } else {
            unknown.emplace(name);
            result += text.substr(position, length);
        }
        position += length;
    }
    return result;
}

std::string fill(std::string_view text, const placeholders &values) {
    std::set<std::string> unknown;
    std::string result = expand(text, values, unknown);
    if (!unknown.empty()) {
        throw std::logic_error("no value for {" + *unknown.begin() + "} in: " + std::string(text));
    }
    return result;
}

std::string c_string(std::string_view text) {
    std::string result = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            result += '\\';
        }
        if (character == '\n') {
            result += "\\n";
        } else {
            result += character;
        }
    }
    return result + "\"";
}

std::string join(const std::vector<std::string> &parts, std::string_view separator) {
    std::string result;
    for (const std::string &part : parts) {
        if (&part != &parts.front()) {
            result += separator;
        }
        result += part;
    }
    return result;
}

std::string wrapped(std::string_view text, std::string_view first_prefix, std::string_view prefix) {
    std::string result;
    std::string line(first_prefix);
    bool has_word = false;
    std::size_t position = 0;
    while ((position = text.find_first_not_of(" \n", position)) != std::string_view::npos) {
        const std::size_t end = std::min(text.find_first_of(" \n", position), text.size());
        const std::string_view word = text.substr(position, end - position);
        if (has_word && line.size() + 1 + word.size() > line_width) {
            result += line + '\n';
            line = prefix;
            has_word = false;
        }
        if (has_word) {
            line += ' ';
        }
        line += word;
        has_word = true;
        position = end;
    }
    return result + line + '\n';
}

std::string wrapped_call(const std::string &first, const std::vector<std::string> &arguments, const std::string &end) {
    std::string result;
    std::string line = first + "(";
    std::size_t longest = 0;
    for (const std::string &argument : arguments) {
        longest = std::max(longest, argument.size() + 1 + end.size());
    }
    const bool aligns = line.size() + longest <= line_width;
    const std::string indent(aligns ? line.size() : 8, ' ');
    if (!aligns && !arguments.empty()) {
        result = line + '\n';
        line = indent;
    }
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const bool is_last = index + 1 == arguments.size();
        const std::string piece = arguments[index] + (is_last ? ")" + end : ",");
        const bool opens_line = line.back() == '(' || line == indent;
        if (!opens_line && line.size() + 1 + piece.size() > line_width) {
            result += line + '\n';
            line = indent;
        } else if (!opens_line) {
            line += ' ';
        }
        line += piece;
    }
    return result + line + (arguments.empty() ? "void)" + end : "");
}

std::vector<std::string> statements(std::string_view line) {
    std::vector<std::string> result(1);
    int depth = 0;
    bool in_text = false;
    for (const char character : line) {
        if (character == '"') {
            in_text = !in_text;
        } else if (!in_text && (character == '(' || character == '{')) {
            ++depth;
        } else if (!in_text && (character == ')' || character == '}')) {
            --depth;
        }
        if (character == ' ' && result.back().empty()) {
            continue;
        }
        result.back() += character;
        if (character == ';' && depth == 0 && !in_text) {
            result.emplace_back();
        }
    }
    if (result.back().empty()) {
        result.pop_back();
    }
    return result;
}

std::string wrapped_statement(const std::string &statement, const std::string &indent) {
    std::string result;
    std::string line = indent + statement;
    const std::string deeper = indent + "    ";
    while (line.size() > line_width && line.find('"') == std::string::npos) {
        std::size_t end = line.rfind(", ", line_width - 1);
        end = end == std::string::npos || end <= deeper.size() ? line.rfind('(', line_width - 1) : end;
        if (end == std::string::npos || end <= deeper.size()) {
            break;
        }
        result += line.substr(0, end + 1) + '\n';
        line = deeper + line.substr(line[end + 1] == ' ' ? end + 2 : end + 1);
    }
    return result + line;
}

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return text;
}

std::string capitalized(std::string text) {
    text.replace(0, 1, upper(text.substr(0, 1)));
    return text;
}

bool mentions(std::string_view text, std::string_view word) {
    for (std::size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1)) {
        const bool begins = at == 0 || !is_word(text[at - 1]);
        const bool ends = at + word.size() == text.size() || !is_word(text[at + word.size()]);
        if (begins && ends) {
            return true;
        }
    }
    return false;
}

}  // namespace codegen
