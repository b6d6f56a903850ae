#include <algorithm>

#include "commands.h"
#include "failure.h"
#include "files.h"
#include "vela_bundle.h"
#include "wire.h"

namespace ptpcfg {
namespace {

constexpr size_t bytes_per_line = 8;
constexpr size_t byte_column = bytes_per_line * 3 + 1;

std::string right_aligned(size_t number, size_t width) {
    const std::string text = std::to_string(number);
    return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
}

std::string padded(const std::string &text, size_t width) {
    return text + std::string(width > text.size() ? width - text.size() : 0, ' ');
}

/** Lines of at most eight bytes; path and value stand in the first. */
std::string lines(std::string_view bytes, const wire_item &item, size_t path_width) {
    std::string text;
    size_t done = 0;
    do {
        const size_t count = std::min(item.width - done, bytes_per_line);
        std::string line = right_aligned(item.offset + done, 6) + "  " +
                           padded(hex_pairs(bytes.substr(item.offset + done, count), " "), byte_column);
        if (done == 0) {
            line += padded(item.path, path_width) + "  " + item.value;
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
        done += count;
    } while (done < item.width);
    return text;
}

struct explanation {
    std::vector<wire_item> items;
    std::string problem;

    void add(const wire_walk &walk) {
        items.insert(items.end(), walk.items.begin(), walk.items.end());
        if (!walk.problem.empty()) {
            problem = "offset " + std::to_string(walk.problem_offset) + ": " + walk.problem;
        }
    }
    void add_stretch(size_t begin, size_t end, const std::string &meaning) {
        if (begin < end) {
            items.push_back({begin, end - begin, meaning, ""});
        }
    }
    std::string text(std::string_view bytes) const {
        size_t path_width = 0;
        for (const wire_item &item : items) {
            path_width = std::max(path_width, item.path.size());
        }
        std::string text;
        for (const wire_item &item : items) {
            text += lines(bytes, item, path_width);
        }
        return text;
    }
};

/** Messages one after the other, up to the first that makes no sense. */
void explain_messages(std::string_view bytes, size_t offset, vela_handle *handle, explanation &result) {
    while (offset < bytes.size() && result.problem.empty()) {
        const wire_walk walk = walk_message(bytes, offset, bytes.size(), handle);
        result.add(walk);
        offset = walk.end;
    }
    result.add_stretch(offset, bytes.size(), "(not understood)");
}

void explain_bundle(const std::string &name, std::string_view bytes, vela_handle *handle, explanation &result) {
    size_t position = 0;
    for (const message_span &span : split_messages(name, bytes)) {
        // What frames the messages of a bundle: its header, and a length before each.
        result.add_stretch(position, span.offset, "bundle");
        result.add(walk_message(bytes, span.offset, span.offset + span.length, handle));
        position = span.offset + span.length;
    }
    result.add_stretch(position, bytes.size(), "bundle");
}

}  // namespace

void explain(const conversion &options) {
    const ptp_cfg_type *type = bare_type_of(options.type);
    const session session(options.session);
    vela_handle *handle = session.handle(false);
    const std::string name = input_name(options.input);
    const std::string content = read_input(options.input);
    const format from = input_format(options.from, options.input, content);
    if (from == format::xml) {
        throw failure(exit_code::bad_input, name + ": --explain reads bytes, not XML; encode it first");
    }
    if (from == format::rec) {
        throw failure(exit_code::bad_input, name + ": --explain reads messages, not a recording; decode it --to bin");
    }
    const std::string bytes = from == format::hex ? from_hex(name, content) : content;
    if (bytes.empty()) {
        throw failure(exit_code::bad_input, name + ": is empty");
    }
    explanation result;
    if (type != nullptr && describe(type).kind != PTP_CFG_MESSAGE) {
        const wire_walk walk = walk_type(bytes, type, handle);
        result.add(walk);
        result.add_stretch(walk.end, bytes.size(), "(not understood)");
    } else if (is_bundle(bytes)) {
        explain_bundle(name, bytes, handle, result);
    } else {
        explain_messages(bytes, 0, handle, result);
    }
    write_output(options.output, result.text(bytes));
    if (!result.problem.empty()) {
        throw failure(exit_code::bad_input, name + ": " + result.problem);
    }
}

}  // namespace ptpcfg
