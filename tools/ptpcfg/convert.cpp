#include "commands.h"
#include "failure.h"
#include "files.h"
#include "recording.h"
#include "records.h"

namespace ptpcfg {

const ptp_cfg_type *bare_type_of(const std::string &name) { return name.empty() ? nullptr : type_named(name); }

format input_format(const std::string &from, const std::string &path, const std::string &content) {
    if (!from.empty()) {
        return format_named(from, "--from", input_formats);
    }
    const std::optional<format> ending = format_of_ending(path);
    return ending && *ending != format::text ? *ending : format_of_content(content);
}

format output_format(const std::string &to, const std::string &path, format fallback) {
    if (!to.empty()) {
        return format_named(to, "--to", output_formats);
    }
    const format chosen = format_of_ending(path).value_or(fallback);
    if (chosen == format::rec) {
        throw failure(exit_code::usage, path + ": only 'ptpcfg record' writes recordings; --to says another format");
    }
    // Nobody wants bytes on a terminal.
    return chosen == format::bin && output_is_terminal(path) ? format::hex : chosen;
}

namespace {

/** Whether a file is a recording without a look at its content, which may be too long to be read at once. */
bool is_recording(const conversion &options) {
    return options.from.empty() ? format_of_ending(options.input) == format::rec : options.from == "rec";
}

/** What can be read of a recording is written before what is damaged ends the work. */
void convert_recording(const conversion &options, const ptp_cfg_type *type, const session &session, format to) {
    recording input(options.input);
    write_output(options.output, render(decode_recording(input, type, session), to));
    input.finish();
}

}  // namespace

void convert(const conversion &options, format fallback) {
    const ptp_cfg_type *type = bare_type_of(options.type);
    const format to = output_format(options.to, options.output, fallback);
    if (!options.from.empty()) {
        format_named(options.from, "--from", input_formats);
    }
    const session session(options.session);
    if (is_recording(options)) {
        convert_recording(options, type, session, to);
        return;
    }
    const std::string name = input_name(options.input);
    const std::string content = read_input(options.input);
    const format from = input_format(options.from, options.input, content);
    if (from == format::rec) {
        convert_recording(options, type, session, to);
        return;
    }
    write_output(options.output, render(records_from_input(name, content, from, type, session), to));
}

}  // namespace ptpcfg
