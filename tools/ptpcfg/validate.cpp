// validate: judges configurations by the rules of their profile, where the build has the agent.
#ifdef PTPCFG_WITH_AGENT

#include <stdexcept>

#include "agent/profiles/judged_set.h"
#include "commands.h"
#include "failure.h"
#include "files.h"
#include "json.h"
#include "record_stream.h"
#include "recording.h"

namespace ptpcfg {
namespace {

using ptp_agent::Violation;

std::string as_json(const std::vector<Violation> &violations) {
    std::string text = "{\"violations\": [";
    for (const Violation &each : violations) {
        const std::pair<const char *, std::string> members[] = {
            {"object", each.object}, {"field", each.field},         {"value", each.value}, {"allowed", each.allowed},
            {"reason", each.reason}, {"reference", each.reference}, {"rule", each.rule}};
        text += &each == violations.data() ? "\n" : ",\n";
        std::string separator = "  {";
        for (const auto &[name, value] : members) {
            text += separator + json_string(name) + ": " + json_string(value);
            separator = ", ";
        }
        text += "}";
    }
    return text + (violations.empty() ? "]}\n" : "\n]}\n");
}

std::string as_lines(const std::vector<Violation> &violations) {
    std::string text;
    for (const Violation &each : violations) {
        text += to_text(each) + "\n";
    }
    return text;
}

}  // namespace

std::vector<std::string> validation_profiles() { return ptp_agent::RuleBook::profiles(); }

void validate(const validate_options &options) {
    ptp_agent::JudgedSet set(options.profile);
    const session session(options.session);
    for (const std::string &file : options.files) {
        input_stream input(file);
        const format from = input_format(options.from, file, input.ahead(format_lookahead));
        if (from == format::rec) {
            throw failure(exit_code::usage, file + ": a recording is no configuration; decode it first");
        }
        each_record(input, from, nullptr, session,
                    [&set](const record &each) { set.add(each.type(), each.instance(), each.handle()); });
    }
    const std::vector<Violation> violations = set.violations();
    write_output("-", options.json ? as_json(violations) : as_lines(violations));
    if (!violations.empty()) {
        throw failure(exit_code::bad_input,
                      "the configuration is not valid: " + counted(violations.size(), "violation"));
    }
}

}  // namespace ptpcfg

#endif
