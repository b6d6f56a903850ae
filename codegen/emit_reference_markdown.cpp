// Markdown as the reference pages use it.
#include "emit_reference_markdown.h"

#include "text.h"

namespace codegen {

std::string page_of(const std::string &type_name) { return type_name + ".md"; }

std::string code(const std::string &text) { return "`" + text + "`"; }

std::string link(const std::string &type_name) { return "[" + code(type_name) + "](" + page_of(type_name) + ")"; }

std::string primitive_link(const std::string &name) {
    return "[" + code(name) + "](index.md#" + std::string(primitives_anchor) + ")";
}

std::string type_link(const field &row) {
    const bool has_page = row.category == field_category::enumeration || row.category == field_category::structure;
    const std::string element = has_page ? link(row.type_name) : primitive_link(row.type_name);
    return row.is_array() ? "array of " + std::to_string(*row.capacity) + " " + element : element;
}

std::string type_link(const payload &row) {
    return row.structure != nullptr ? link(row.type_name) : primitive_link(row.type_name);
}

std::string prose(std::string_view text) {
    constexpr std::string_view special = "\\`*[]<>|";
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        // An underscore inside a word means nothing.
        const bool opens_word = text[at] == '_' && (at == 0 || text[at - 1] == ' ' || text[at - 1] == '(');
        if (opens_word || special.find(text[at]) != std::string_view::npos) {
            result += '\\';
        }
        result += text[at] == '\n' ? ' ' : text[at];
    }
    return result;
}

std::string first_sentence(std::string_view text) {
    return prose(text.substr(0, text.find(". ")).substr(0, text.size() - (text.ends_with('.') ? 1 : 0)));
}

std::string variants_text(std::uint32_t latest) { return latest == 0 ? "0" : "0 to " + std::to_string(latest); }

std::string plural(std::size_t count, const std::string &noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

markdown_table::markdown_table(const std::vector<std::string> &headings) {
    row(headings);
    row(std::vector<std::string>(headings.size(), "---"));
}

void markdown_table::row(const std::vector<std::string> &cells) { text_ += "| " + join(cells, " | ") + " |\n"; }

}  // namespace codegen
