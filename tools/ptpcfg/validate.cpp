// validate: reads configurations, and judges them by the rules of their profile where the build has the agent.
#include <algorithm>

#ifdef PTPCFG_WITH_AGENT
#include "agent/profiles/judged_set.h"
#endif
#include "commands.h"
#include "failure.h"
#include "files.h"
#include "inputs.h"
#include "json.h"

namespace ptpcfg {
namespace {

#ifdef PTPCFG_WITH_AGENT
using ptp_agent::JudgedSet;
using ptp_agent::Violation;
#else
/** Without rules nothing breaks one. */
struct Violation {
    std::string object, field, value, allowed, reason, reference, rule;
};
class JudgedSet {
  public:
    explicit JudgedSet(std::string_view) {}
    void add(const ptp_cfg_type *, void *, vela_handle *) {}
    std::vector<Violation> violations() const { return {}; }
};
std::string to_text(const Violation &) { return {}; }
#endif

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

/** Gives the messages of all files to the set; fails behind the last file with the faults of all. */
void read_files(const validate_options &options, JudgedSet &set) {
    const session session(options.session);
    std::string faults;
    exit_code worst = exit_code::ok;
    for (const std::string &file : options.files) {
        try {
            each_record_of({file, options.from, {}}, session, [&set](const record &each, std::string_view) {
                set.add(each.type(), each.instance(), each.handle());
            });
        } catch (const failure &error) {
            faults += (faults.empty() ? "" : "\n") + std::string(error.what());
            worst = std::max(worst, error.code());
        }
    }
    if (worst != exit_code::ok) {
        throw failure(worst, faults);
    }
}

}  // namespace

#ifdef PTPCFG_WITH_AGENT
std::vector<std::string> validation_profiles() { return ptp_agent::RuleBook::profiles(); }
#endif

void validate(const validate_options &options) {
    JudgedSet set(options.profile);
    read_files(options, set);
    const std::vector<Violation> violations = set.violations();
    write_output("-", options.json ? as_json(violations) : as_lines(violations));
    if (!violations.empty()) {
        throw failure(exit_code::bad_input,
                      "the configuration is not valid: " + counted(violations.size(), "violation"));
    }
}

}  // namespace ptpcfg
