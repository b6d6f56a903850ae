// Options that several subcommands have.
#include "command_options.h"

#include <map>

#include "commands.h"

namespace ptpcfg {
namespace {

/** Of each command that has one. */
std::map<const CLI::App *, help_end> &help_ends() {
    static std::map<const CLI::App *, help_end> ends;
    return ends;
}

}  // namespace

CLI::Option *add_domain_option(CLI::App &command, session_options &options) {
    CLI::Option *before = command.get_parent()->get_option("--domain");
    command.parse_complete_callback([before, &options] {
        const std::vector<std::string> values = before->results();
        options.domain.insert(options.domain.begin(), values.begin(), values.end());
    });
    return command.add_option("--domain", options.domain, domain_help)
        ->type_name("FILE|TYPE=VARIANT")
        ->allow_extra_args(false);
}

void refuse_domain(CLI::App &command) {
    CLI::Option *before = command.get_parent()->get_option("--domain");
    command.parse_complete_callback([before, name = command.get_name()] {
        if (before->count() > 0) {
            throw CLI::ExtrasError(name, {"--domain"});
        }
    });
}

void add_reading_options(CLI::App &command, session_options &options) {
    CLI::Option *plain =
        command.add_flag("--plain", options.plain,
                         "skip in text what is unknown, and in XML what is repeated or misplaced, as the library does "
                         "by itself; else that is a fault");
    command.add_flag("--complete", options.complete, "refuse text in which a field is missing")->excludes(plain);
}

void add_from_option(CLI::App &command, std::string &from) {
    command.add_option("--from", from, std::string("format of the input: ") + input_formats)->type_name("FORMAT");
}

CLI::Option *add_to_option(CLI::App &command, std::string &to) {
    return command.add_option("--to", to, std::string("format of the output: ") + output_formats)->type_name("FORMAT");
}

CLI::Option *add_output_option(CLI::App &command, std::string &output) {
    return command.add_option("-o,--output", output, "file to write; - is standard output")->type_name("FILE");
}

void set_help_end(CLI::App &command, help_end end) {
    std::string text;
    for (const std::string &example : end.examples) {
        text += (text.empty() ? "Examples:\n  " : "  ") + example + "\n";
    }
    text += (text.empty() || end.note.empty() ? "" : "\n") + end.note;
    command.footer(text);
    help_ends()[&command] = std::move(end);
}

const help_end &help_end_of(const CLI::App &command) { return help_ends()[&command]; }

}  // namespace ptpcfg
