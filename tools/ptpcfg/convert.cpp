#include "commands.h"
#include "failure.h"
#include "files.h"
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
    // Nobody wants bytes on a terminal.
    return chosen == format::bin && output_is_terminal(path) ? format::hex : chosen;
}

void convert(const conversion &options, format fallback) {
    const ptp_cfg_type *type = bare_type_of(options.type);
    const format to = output_format(options.to, options.output, fallback);
    if (!options.from.empty()) {
        format_named(options.from, "--from", input_formats);
    }
    const session session(options.session);
    const std::string name = input_name(options.input);
    const std::string content = read_input(options.input);
    const format from = input_format(options.from, options.input, content);
    write_output(options.output, render(records_from_input(name, content, from, type, session), to));
}

}  // namespace ptpcfg
