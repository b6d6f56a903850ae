#include "yaml_splitter.h"

#include <algorithm>

#include "failure.h"

namespace ptpcfg {
namespace {

/** Whether a line begins with a mark between documents, which nothing within one does. */
bool has_mark(std::string_view line, std::string_view mark) {
    return line.starts_with(mark) &&
           (line.size() == 3 || std::string_view(" \t\r\n").find(line[3]) != std::string_view::npos);
}

/** Whether a line says nothing that a document would be made of. */
bool is_idle(std::string_view line) {
    const size_t first = line.find_first_not_of(" \t\r\n");
    return first == std::string_view::npos || line[first] == '#' || line[0] == '%';
}

}  // namespace

/** The next line with its end; empty at the end of the input. */
std::string_view yaml_splitter::line_ahead() {
    size_t searched = 0;
    for (;;) {
        const std::string_view ahead = input_.ahead(searched + 1);
        const size_t feed = ahead.find('\n', searched);
        if (feed != std::string_view::npos) {
            return ahead.substr(0, feed + 1);
        }
        if (ahead.size() == searched || ahead.size() > longest_message) {
            return ahead;
        }
        searched = ahead.size();
    }
}

std::optional<text_piece> yaml_splitter::next() {
    text_piece piece{"", line_, 1};
    bool has_content = false;
    for (std::string_view line = line_ahead(); !line.empty(); line = line_ahead()) {
        const bool begins = has_mark(line, "---");
        if (begins && has_content) {
            break;
        }
        piece.text += line;
        has_content = has_content || begins || !is_idle(line);
        const bool ends = has_mark(line, "...");
        line_ += line.ends_with('\n') ? 1 : 0;
        input_.skip(line.size());
        if (piece.text.size() > longest_message) {
            throw failure(exit_code::bad_input, input_.name() + ": a document is longer than 64 MiB");
        }
        if (ends) {
            break;
        }
    }
    return piece.text.empty() ? std::nullopt : std::optional(std::move(piece));
}

}  // namespace ptpcfg
