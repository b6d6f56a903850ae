#include "xml_source.h"

#include <algorithm>
#include <sstream>
#include <string_view>

#include "failure.h"

namespace ptpcfg {
namespace {

constexpr std::string_view lost_value = " value out of range/>";
const std::string lost_value_markup = std::string(" ") + lost_value_attribute + "=\"\"/>";

/** Blanks must survive where they are a value, and what is not understood must be seen. */
constexpr unsigned parse_flags = pugi::parse_default | pugi::parse_ws_pcdata_single | pugi::parse_doctype;

bool is_name_character(char c) {
    return c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

std::string replace_all(std::string text, std::string_view what, std::string_view with) {
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
    return text;
}

/** Makes `<NAME value out of range/>` well formed; everything else stays. */
std::string repair_lost_values(const std::string &text) {
    std::string result;
    size_t copied = 0;
    for (size_t at = text.find(lost_value); at != std::string::npos; at = text.find(lost_value, at + 1)) {
        size_t name = at;
        while (name > 0 && is_name_character(text[name - 1])) {
            --name;
        }
        if (name == at || name == 0 || text[name - 1] != '<') {
            continue;
        }
        result.append(text, copied, at - copied);
        result += lost_value_markup;
        copied = at + lost_value.size();
    }
    return result.append(text, copied);
}

std::string save(pugi::xml_node node, unsigned flags) {
    std::ostringstream stream;
    node.print(stream, "  ", flags | pugi::format_no_declaration, pugi::encoding_utf8);
    // A parser would turn a bare carriage return into a line feed.
    return replace_all(stream.str(), "\r", "&#13;");
}

}  // namespace

xml_source::xml_source(std::string name, const std::string &text, size_t line, size_t column)
    : name_(std::move(name)), line_(line), column_(column), text_(repair_lost_values(text)) {
    line_starts_.push_back(0);
    for (size_t at = 0; at < text_.size(); ++at) {
        if (text_[at] == '\n') {
            line_starts_.push_back(at + 1);
        }
    }
    if (text_.find_first_not_of(" \t\r\n") == std::string::npos) {
        throw failure(exit_code::bad_input, name_ + ": is empty");
    }
    const pugi::xml_parse_result result = document_.load_buffer(text_.data(), text_.size(), parse_flags);
    if (!result) {
        throw failure(exit_code::bad_input,
                      place(static_cast<size_t>(result.offset)) + ": not well-formed XML: " + result.description());
    }
    for (const pugi::xml_node node : document_.children()) {
        if (node.type() == pugi::node_doctype) {
            throw failure(exit_code::bad_input, name_ + ": a document type declaration is not accepted");
        }
    }
}

std::string xml_source::place(size_t offset) const {
    const auto next = std::upper_bound(line_starts_.begin(), line_starts_.end(), offset);
    const auto line = static_cast<size_t>(next - line_starts_.begin()) - 1;
    const size_t column = offset - line_starts_[line] + (line == 0 ? column_ : 1);
    return name_ + ":" + std::to_string(line_ + line) + ":" + std::to_string(column);
}

std::string xml_source::place(pugi::xml_node node) const {
    const auto offset = node.offset_debug();
    return offset < 0 ? name_ : place(static_cast<size_t>(offset));
}

std::string compact_text(pugi::xml_node node) { return save(node, pugi::format_raw); }

void append_indented(std::string_view rendered, size_t depth, std::string &text) {
    const auto begin_line = [&text](size_t at_depth) { text.append(at_depth * 2, ' '); };
    for (size_t at = 0; at < rendered.size();) {
        const size_t end = rendered.find('>', at) + 1;
        const std::string_view tag = rendered.substr(at, end - at);
        if (tag.starts_with("</")) {
            begin_line(--depth);
            text.append(tag) += '\n';
            at = end;
            continue;
        }
        begin_line(depth);
        text += tag;
        if (tag.ends_with("/>")) {
            at = end;
        } else if (rendered.substr(end).starts_with("</")) {
            text.insert(text.size() - 1, 1, '/');
            at = rendered.find('>', end) + 1;
        } else if (rendered[end] != '<') {
            at = rendered.find('>', end) + 1;
            text += rendered.substr(end, at - end);
        } else {
            ++depth;
            at = end;
        }
        text += '\n';
    }
}

}  // namespace ptpcfg
