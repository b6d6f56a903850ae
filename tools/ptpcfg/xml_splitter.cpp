// Finds where elements begin and end without parsing them.
#include "xml_splitter.h"

#include <algorithm>
#include <cstring>

#include "failure.h"
#include "primitives.h"
#include "velalib.h"

namespace ptpcfg {
namespace {

constexpr std::string_view blanks = " \t\r\n";

/** What began does not end. */
struct input_ends : failure {
    using failure::failure;
};

bool ends_name(char c) { return c == '>' || c == '/' || blanks.find(c) != std::string_view::npos; }

}  // namespace

std::string xml_splitter::place() const {
    return input_.name() + ":" + std::to_string(line_) + ":" + std::to_string(column_);
}

void xml_splitter::refuse(const std::string &reason) const {
    throw failure(exit_code::bad_input, place() + ": " + reason);
}

/** Goes on behind bytes that are ahead. */
void xml_splitter::pass(size_t count) {
    const std::string_view passed = input_.ahead(count).substr(0, count);
    const size_t last_line = passed.rfind('\n');
    line_ += static_cast<size_t>(std::count(passed.begin(), passed.end(), '\n'));
    column_ = last_line == std::string_view::npos ? column_ + count : count - last_line;
    input_.skip(count);
}

/** Where a text ends that must come; `from` counts from what is ahead. */
size_t xml_splitter::find(std::string_view what, size_t from, const char *unclosed) {
    for (size_t wanted = from + what.size();; wanted *= 2) {
        const std::string_view text = input_.ahead(wanted);
        if (const size_t at = text.find(what, from); at != std::string_view::npos) {
            return at + what.size();
        }
        if (text.size() < wanted) {
            throw input_ends(exit_code::bad_input, place() + ": not well-formed XML: " + unclosed + " is not closed");
        }
        if (text.size() > longest_message) {
            refuse(std::string(unclosed) + " is longer than 64 MiB");
        }
        from = text.size() - std::min(text.size(), what.size() - 1);
    }
}

/** Where a tag ends that begins at `from`; a '>' in quotes does not end it. */
size_t xml_splitter::tag_end(size_t from) {
    size_t end = find(">", from, "an element's tag");
    for (size_t quote = from;;) {
        quote = input_.ahead(end).substr(0, end).find_first_of("\"'", quote);
        if (quote == std::string_view::npos) {
            return end;
        }
        const char mark[] = {input_.ahead(end)[quote], 0};
        quote = find(mark, quote + 1, "an attribute's value");
        if (quote > end) {
            end = find(">", quote, "an element's tag");
        }
    }
}

/** Where a comment or the like ends that begins at `from`; the same place when there is none. */
size_t xml_splitter::markup_end(size_t from) {
    const std::string_view text = input_.ahead(from + 9).substr(from);
    if (text.starts_with("<!--")) {
        return find("-->", from + 4, "a comment");
    }
    if (text.starts_with("<![CDATA[")) {
        return find("]]>", from + 9, "a CDATA section");
    }
    if (text.starts_with("<?")) {
        return find("?>", from + 2, "a processing instruction");
    }
    if (text.starts_with("<!")) {
        refuse("a document type declaration is not accepted");
    }
    return from;
}

/** Where the element ends that is ahead; the input's end when it does not, whose parser says what is not closed. */
size_t xml_splitter::element_end() try {
    size_t at = 0;
    size_t depth = 0;
    do {
        at = find("<", at, "an element") - 1;
        if (const size_t end = markup_end(at); end != at) {
            at = end;
            continue;
        }
        const bool is_end_tag = input_.ahead(at + 2).substr(at).starts_with("</");
        at = tag_end(at);
        const bool is_empty = input_.ahead(at)[at - 2] == '/';
        depth = is_end_tag ? depth - 1 : is_empty ? depth : depth + 1;
    } while (depth > 0);
    return at;
} catch (const input_ends &) {
    return input_.ahead(1).size();
}

void xml_splitter::pass_blanks() {
    for (;;) {
        const std::string_view text = input_.ahead(1);
        const size_t count = std::min(text.find_first_not_of(blanks), text.size());
        if (count == 0) {
            return;
        }
        pass(count);
    }
}

/** Refuses what stands between elements unless it is well-formed before one. */
void xml_splitter::check_markup(std::string_view text) const {
    const std::string document = std::string(text) + "<_/>";
    char reason[200];
    vela_xml_document *parsed = vela_xml_parse(document.data(), document.size(), reason, sizeof reason);
    vela_xml_destroy(parsed);
    if (parsed == nullptr) {
        const char *colon = std::strchr(reason, ':');
        refuse(std::string("not well-formed XML") + (colon != nullptr ? colon : ""));
    }
}

/** A comment or instruction between elements; a declaration says how the text is encoded. */
void xml_splitter::pass_markup() {
    has_markup_ = true;
    const size_t end = markup_end(0);
    const std::string_view text = input_.ahead(end).substr(0, end);
    if (text.starts_with("<![CDATA[")) {
        refuse("text has no place here, elements are wanted");
    }
    if (text.starts_with("<?xml") && text.size() > 5 && blanks.find(text[5]) != std::string_view::npos) {
        std::string lower(text);
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? c | 0x20 : c; });
        if (!is_empty_ || line_ != 1 || column_ != 1) {
            refuse("not well-formed XML: a declaration stands at the beginning only");
        }
        if (lower.find("encoding") != std::string::npos && lower.find("utf-8") == std::string::npos &&
            lower.find("us-ascii") == std::string::npos) {
            refuse("only UTF-8 is read, another encoding is declared; 'iconv -t UTF-8' converts");
        }
    }
    check_markup(input_.ahead(end).substr(0, end));
    pass(end);
}

std::string_view xml_splitter::name_at_tag() {
    const size_t end = tag_end(0);
    const std::string_view tag = input_.ahead(end).substr(1, end - 1);
    return tag.substr(0, static_cast<size_t>(std::find_if(tag.begin(), tag.end(), ends_name) - tag.begin()));
}

void xml_splitter::pass_frame_end() {
    const size_t end = tag_end(0);
    std::string_view name = input_.ahead(end).substr(2, end - 3);
    name = name.substr(0, std::min(name.find_last_not_of(blanks), name.size() - 1) + 1);
    if (!is_in_frame_ || name != frame_element) {
        refuse("not well-formed XML: </" + std::string(name) + "> ends nothing that began");
    }
    is_in_frame_ = false;
    pass(end);
}

/** Says what is wrong where there is neither an element nor what may stand between elements. */
void xml_splitter::refuse_text() {
    const std::string_view text = input_.ahead(1);
    const std::string quote = quoted(text.substr(0, std::min({text.find('<'), text.find('\n'), size_t{40}})));
    refuse(is_in_frame_ ? "text " + quote + " has no place here, elements are wanted"
                        : "not well-formed XML: text " + quote + " outside of an element");
}

void xml_splitter::check_end() const {
    if (is_in_frame_) {
        refuse(std::string("not well-formed XML: <") + frame_element + "> is not closed");
    }
    if (is_empty_) {
        throw failure(exit_code::bad_input, input_.name() + (has_markup_ ? ": holds no message" : ": is empty"));
    }
}

/** Passes what may stand before an element; false at the end. */
bool xml_splitter::go_to_element() {
    for (;;) {
        pass_blanks();
        if (input_.ahead(1).empty()) {
            return false;
        }
        if (begins_with("</")) {
            pass_frame_end();
        } else if (begins_with("<!") || begins_with("<?")) {
            pass_markup();
        } else if (begins_with("<")) {
            return true;
        } else {
            refuse_text();
        }
    }
}

std::optional<xml_piece> xml_splitter::next() {
    if (input_.offset() == 0 && begins_with("\xEF\xBB\xBF")) {
        input_.skip(3);
    }
    if (!go_to_element()) {
        check_end();
        return std::nullopt;
    }
    is_empty_ = false;
    const bool is_frame = !is_in_frame_ && name_at_tag() == frame_element;
    const size_t end = is_frame ? tag_end(0) : element_end();
    xml_piece piece{std::string(input_.ahead(end).substr(0, end)), line_, column_, is_frame};
    if (is_frame && !piece.text.ends_with("/>")) {
        piece.text += std::string("</") + frame_element + ">";
        is_in_frame_ = true;
    }
    pass(end);
    return piece;
}

}  // namespace ptpcfg
