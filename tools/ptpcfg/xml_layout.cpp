// Indents XML.
#include "xml_layout.h"

namespace ptpcfg {

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
