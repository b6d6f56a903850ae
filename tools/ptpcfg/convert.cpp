// encode, decode and print: records from one format into another.
#include "commands.h"
#include "failure.h"
#include "files.h"
#include "record_stream.h"
#include "record_writer.h"
#include "recording.h"

namespace ptpcfg {

const ptp_cfg_type *bare_type_of(const std::string &name) { return name.empty() ? nullptr : type_named(name); }

format input_format(const std::string &from, const std::string &path, std::string_view content) {
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

/** Whether a file is a recording without a look at its content. */
bool is_recording(const conversion &options) {
    return options.from.empty() ? format_of_ending(options.input) == format::rec
                                : (options.from == "rec" || options.from == "pcapng");
}

/** Records on their way out, or nowhere. */
class destination {
  public:
    destination(const conversion &options, format to, frame frame)
        : output_(options.output),
          writer_(
              to, [this](std::string_view text) { output_.write(text); }, frame, options.qualified),
          is_nowhere_(options.check) {}

    void add(const record &record, std::string_view heading = {}) {
        if (!is_nowhere_) {
            writer_.add(record, heading);
        }
    }
    void finish() {
        if (!is_nowhere_) {
            writer_.finish();
            output_.finish();
        }
    }

  private:
    output_stream output_;
    record_writer writer_;
    bool is_nowhere_;
};

/** What can be read of a recording is written before what is damaged ends the work. */
void convert_recording(const conversion &options, const ptp_cfg_type *type, const session &session, format to) {
    recording input(options.input);
    destination output(options, to, frame::always);
    each_recorded(input, type, session,
                  [&output](const record &each, std::string_view heading) { output.add(each, heading); });
    output.finish();
    input.finish();
}

}  // namespace

void convert(const conversion &options, std::optional<format> fallback) {
    const ptp_cfg_type *type = bare_type_of(options.type);
    if (!fallback && options.to.empty() && !options.check && !format_of_ending(options.output)) {
        throw failure(exit_code::usage, std::string("convert: --to says the format of the output: ") + output_formats);
    }
    const format to = output_format(options.to, options.output, fallback.value_or(format::xml));
    if (!options.from.empty()) {
        format_named(options.from, "--from", input_formats);
    }
    const session session(options.session);
    if (is_recording(options)) {
        convert_recording(options, type, session, to);
        return;
    }
    input_stream input(options.input);
    const format from = input_format(options.from, options.input, input.ahead(format_lookahead));
    if (from == format::rec) {
        convert_recording(options, type, session, to);
        return;
    }
    destination output(options, to, frame::several);
    each_record(input, from, type, session, [&output](const record &each) { output.add(each); });
    output.finish();
}

}  // namespace ptpcfg
