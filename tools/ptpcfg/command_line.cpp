// The command line as a whole: what holds for all subcommands, and what is said of a wrong one.
#include "command_line.h"

#include <cerrno>
#include <cstring>
#include <sstream>

#include "bitlog.h"
#include "command_options.h"
#include "commands.h"
#include "failure.h"
#include "files.h"
#include "help_format.h"
#include "no_such.h"

namespace ptpcfg {
namespace {

void trace_to_stderr(void *, const bitlog_record *record) {
    char text[512];
    bitlog_format(record, text, sizeof text);
    std::fprintf(stderr, "trace: %s: %s\n", record->points->subject, text);
}

/** What --trace says: "true" is the flag alone. */
void start_trace(const std::string &where) {
    if (where == "true") {
        bitlog_set_sink(trace_to_stderr, nullptr);
        return;
    }
    const uint32_t status = bitlog_ring_open(where.c_str(), 0);
    if (status != 0) {
        throw failure(exit_code::io, where + ": cannot trace there: " +
                                         (status == EEXIST ? "it, or its .old, is a link or another file than a trace"
                                                           : std::strerror(static_cast<int>(status))));
    }
}

/** Writes at its end, also after a fault, what the run created and destroyed. */
class final_statistics {
  public:
    final_statistics() = default;
    ~final_statistics() {
        try {
            if (wanted) {
                std::fputs(statistics_of_this_run().c_str(), stderr);
            }
        } catch (const std::bad_alloc &) {
            std::fputs("ptpcfg: there is no memory for --stats\n", stderr);
        }
    }
    final_statistics(const final_statistics &) = delete;
    final_statistics &operator=(const final_statistics &) = delete;

    bool wanted = false;
};

void add_global_options(CLI::App &app, final_statistics &statistics) {
    app.require_subcommand(1);
    app.formatter(std::make_shared<help_format>());
    app.fallthrough();
    app.set_version_flag("--version", std::string("ptpcfg ") + PTPCFG_VERSION);
    auto where = std::make_shared<std::string>();
    app.add_flag("--trace", *where,
                 "show the library's trace messages on standard error; with --trace=FILE keep them there instead, for "
                 "ptpcfg trace")
        ->each([where](const std::string &value) { start_trace(value); })
        ->trigger_on_parse();
    app.add_flag("--stats", statistics.wanted,
                 "show at the end, on standard error, how many instances of each type the run created and destroyed");
    auto domain = std::make_shared<std::vector<std::string>>();
    app.add_option("--domain", *domain, domain_help)
        ->type_name("FILE|TYPE=VARIANT")
        ->allow_extra_args(false)
        ->each([domain](const std::string &) {});  // keeps it as long as the option
    set_help_end(app, {{}, exit_codes});
}

/** Adds the subcommands of a subject, which help texts list together. */
void add_group(CLI::App &app, const char *name, void (*add)(CLI::App &)) {
    const size_t before = app.get_subcommands({}).size();
    add(app);
    const std::vector<CLI::App *> all = app.get_subcommands({});
    for (size_t index = before; index < all.size(); ++index) {
        all[index]->group(name);
    }
}

/** What CLI11 says, where that can be said better. */
std::string reason_of(const CLI::ParseError &error) {
    const std::string reason = error.what();
    constexpr std::string_view required = " is required";
    constexpr std::string_view one_of = "Exactly 1 option from [";
    constexpr std::string_view not_converted = "Could not convert: ";
    if (reason.starts_with(one_of)) {
        std::string names = reason.substr(one_of.size(), reason.find(']') - one_of.size());
        return "one of " + names.replace(names.find(','), 1, " and ") + " is wanted";
    }
    if (reason.ends_with(required) && !reason.starts_with("A subcommand")) {
        return "'" + reason.substr(0, reason.size() - required.size()) + "' is missing";
    }
    return reason.starts_with(not_converted) ? reason.substr(not_converted.size()) + " is no number that it takes"
                                             : reason;
}

/** What is wrong with a command line, and where more is said. */
std::string fault_of(const CLI::App &app, const CLI::ParseError &error) {
    if (const std::vector<CLI::App *> parsed = app.get_subcommands(); !parsed.empty()) {
        const std::string name = parsed.front()->get_name();
        return name + ": " + reason_of(error) + "; 'ptpcfg " + name + " --help' says more";
    }
    std::vector<std::string> names;
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; })) {
        names.push_back(command->get_name());
    }
    for (const std::string &word : app.remaining()) {
        if (word.starts_with('-')) {
            return "unknown option " + word + "; 'ptpcfg --help' lists them";
        }
        return no_such("subcommand", word, names) + " 'ptpcfg --help' lists the subcommands";
    }
    return error.what() + std::string("; 'ptpcfg --help' lists them");
}

}  // namespace

int run_command_line(int argc, char **argv) {
    CLI::App app(
        "Configuration records of PTP clocks: encode, decode, convert, print, describe, send, receive, record and "
        "replay them.",
        "ptpcfg");
    final_statistics statistics;
    add_global_options(app, statistics);
    add_group(app, "Messages", add_record_commands);
    add_group(app, "Fields", add_field_commands);
    add_group(app, "Channels", add_channel_commands);
    add_group(app, "Programs", add_program_commands);
    add_group(app, "Shells and manual", add_help_commands);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) {
            std::ostringstream help;
            app.exit(error, help, help);
            write_output("-", help.str());
            return 0;
        }
        throw failure(exit_code::usage, fault_of(app, error));
    }
    return 0;
}

}  // namespace ptpcfg
