// Tells recordings from other inputs, and reads either.
#include "inputs.h"

#include "commands.h"
#include "record_stream.h"
#include "recording.h"

namespace ptpcfg {
namespace {

/** Whether a file is a recording without a look at its content. */
bool is_named_recording(const input_options &input) {
    return input.from.empty() ? format_of_ending(input.path) == format::rec
                              : input.from == "rec" || input.from == "pcapng";
}

void each_of_recording(const input_options &input, const ptp_cfg_type *type, const session &session,
                       const take_record_fn &take) {
    recording source(input.path);
    each_recorded(source, type, session, take);
    source.finish();
}

}  // namespace

format each_record_of(const input_options &input, const session &session, const take_record_fn &take) {
    const ptp_cfg_type *type = bare_type_of(input.type);
    if (!input.from.empty()) {
        format_named(input.from, "--from", input_formats);
    }
    if (is_named_recording(input)) {
        each_of_recording(input, type, session, take);
        return format::rec;
    }
    input_stream stream(input.path);
    const format from = input_format(input.from, input.path, stream.ahead(format_lookahead));
    if (from == format::rec) {
        each_of_recording(input, type, session, take);
    } else {
        each_record(stream, from, type, session, [&take](const record &each) { take(each, {}); });
    }
    return from;
}

}  // namespace ptpcfg
