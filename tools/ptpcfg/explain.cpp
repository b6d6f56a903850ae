// decode --explain: each byte of an input with its field and value.
#include <algorithm>

#include "commands.h"
#include "failure.h"
#include "input_stream.h"
#include "vela_bundle.h"
#include "wire.h"

namespace ptpcfg {
namespace {

constexpr size_t bytes_per_line = 8;
constexpr size_t first_look = 65536;
constexpr size_t byte_column = bytes_per_line * 3 + 1;

std::string right_aligned(u_int64 number, size_t width) {
    const std::string text = std::to_string(number);
    return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
}

std::string padded(const std::string &text, size_t width) {
    return text + std::string(width > text.size() ? width - text.size() : 0, ' ');
}

/** Lines of at most eight bytes; path and value stand in the first. */
std::string lines(std::string_view bytes, u_int64 base, const wire_item &item, size_t path_width) {
    std::string text;
    size_t done = 0;
    do {
        const size_t count = std::min(item.width - done, bytes_per_line);
        std::string line = right_aligned(base + item.offset + done, 6) + "  " +
                           padded(hex_pairs(bytes.substr(item.offset + done, count), " "), byte_column);
        if (done == 0) {
            line += padded(item.path, path_width) + "  " + item.value;
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
        done += count;
    } while (done < item.width);
    return text;
}

/** Writes the items of one message after the other. The column of values only moves to the right. */
class explanation {
  public:
    explicit explanation(const std::string &output) : output_(output) {}

    /** @param base  where `bytes` begin in the input */
    void add(std::string_view bytes, u_int64 base, const wire_walk &walk) {
        for (const wire_item &item : walk.items) {
            path_width_ = std::max(path_width_, item.path.size());
        }
        for (const wire_item &item : walk.items) {
            output_.write(lines(bytes, base, item, path_width_));
        }
        if (!walk.problem.empty() && problem_.empty()) {
            problem_ = "offset " + std::to_string(base + walk.problem_offset) + ": " + walk.problem;
        }
    }
    void add_stretch(std::string_view bytes, u_int64 base, const char *meaning) {
        if (!bytes.empty()) {
            output_.write(lines(bytes, base, {0, bytes.size(), meaning, ""}, path_width_));
        }
    }
    const std::string &problem() const { return problem_; }
    void finish() { output_.finish(); }

  private:
    output_stream output_;
    size_t path_width_ = 0;
    std::string problem_;
};

/** Messages one after the other, up to the first that makes no sense. */
void explain_messages(input_stream &input, explanation &result) {
    for (size_t wanted = first_look; !input.ahead(1).empty() && result.problem().empty();) {
        // A header may claim what is not there: what is read ahead grows only with what is found.
        const std::string_view bytes = input.ahead(wanted);
        const bool is_all = bytes.size() < wanted || wanted > longest_message;
        const wire_walk walk = walk_message(bytes, 0, bytes.size(), walk_result::items);
        if (!walk.problem.empty() && !is_all) {
            wanted *= 4;
            continue;
        }
        result.add(bytes, input.offset(), walk);
        input.skip(walk.end);
        wanted = first_look;
    }
    while (!input.ahead(1).empty()) {
        const std::string_view rest = input.ahead(bytes_per_line * 1024);
        const std::string_view part = rest.substr(0, std::min(rest.size(), bytes_per_line * 1024));
        result.add_stretch(part, input.offset(), "(not understood)");
        input.skip(part.size());
    }
}

void explain_bundle(input_stream &input, explanation &result) {
    const std::string_view bytes = input.ahead(longest_message + 1);
    size_t position = 0;
    for (const message_span &span : split_messages(input.name(), bytes)) {
        // What frames the messages of a bundle: its header, and a length before each.
        result.add_stretch(bytes.substr(position, span.offset - position), position, "bundle");
        result.add(bytes, 0, walk_message(bytes, span.offset, span.offset + span.length, walk_result::items));
        position = span.offset + span.length;
    }
    result.add_stretch(bytes.substr(position), position, "bundle");
}

}  // namespace

void explain(const conversion &options) {
    const ptp_cfg_type *type = bare_type_of(options.type);
    const session session(options.session);  // refuses options that make none
    input_stream input(options.input);
    const std::string &name = input.name();
    const format from = input_format(options.from, options.input, input.ahead(format_lookahead));
    if (is_written(from)) {
        const char *what = from == format::xml ? "XML" : from == format::json ? "JSON" : "YAML";
        throw failure(exit_code::bad_input, name + ": --explain reads bytes, not " + what + "; encode it first");
    }
    if (from == format::rec) {
        throw failure(exit_code::bad_input, name + ": --explain reads messages, not a recording; decode it --to bin");
    }
    if (from == format::hex) {
        input.read_as_hex();
    }
    if (input.ahead(1).empty()) {
        throw failure(exit_code::bad_input, name + ": is empty");
    }
    explanation result(options.output);
    if (type != nullptr && describe(type).kind != PTP_CFG_MESSAGE) {
        const std::string_view bytes = input.ahead(longest_message + 1);
        const wire_walk walk = walk_type(bytes, type, walk_result::items);
        result.add(bytes, 0, walk);
        result.add_stretch(bytes.substr(walk.end), walk.end, "(not understood)");
    } else if (is_bundle(input.ahead(VELA_BUNDLE_PREFIX))) {
        explain_bundle(input, result);
    } else {
        explain_messages(input, result);
    }
    result.finish();
    if (!result.problem().empty()) {
        throw failure(exit_code::bad_input, name + ": " + result.problem());
    }
}

}  // namespace ptpcfg
