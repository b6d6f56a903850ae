// ptpcfg: reads, writes, describes, sends and receives the records of this library.

#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>

#include "bitlog.h"
#include "command.h"
#include "failure.h"

namespace {

constexpr const char *exit_codes =
    "Exit codes: 0 done; 1 the input is wrong; 2 the command line is wrong; 3 a file, a pipe or the memory failed;\n"
    "4 the other end of a channel failed. Faults are named on standard error, a line each; output appears whole or\n"
    "not at all.";

int report(const std::string &faults, ptpcfg::exit_code code) {
    for (size_t start = 0; start <= faults.size();) {
        const size_t end = std::min(faults.find('\n', start), faults.size());
        std::fprintf(stderr, "ptpcfg: %s\n", faults.substr(start, end - start).c_str());
        start = end + 1;
    }
    return static_cast<int>(code);
}

/** The tool says itself what was wrong; the library's trace is for --trace. */
void silent(void *, const bitlog_record *) {}

void to_stderr(void *, const bitlog_record *record) {
    char text[512];
    bitlog_format(record, text, sizeof text);
    std::fprintf(stderr, "trace: %s: %s\n", record->points->subject, text);
}

void add_global_options(CLI::App &app) {
    app.require_subcommand(1);
    app.fallthrough();
    app.set_version_flag("--version", std::string("ptpcfg ") + PTPCFG_VERSION);
    app.add_flag_callback(
           "--trace", [] { bitlog_set_sink(to_stderr, nullptr); },
           "show the library's trace messages on standard error")
        ->trigger_on_parse();
    app.footer(exit_codes);
    app.failure_message(CLI::FailureMessage::simple);
}

int run(int argc, char **argv) {
    CLI::App app("Configuration records of PTP clocks: encode, decode, print, describe, send and receive them.",
                 "ptpcfg");
    add_global_options(app);
    ptpcfg::add_encode(app);
    ptpcfg::add_decode(app);
    ptpcfg::add_print(app);
    ptpcfg::add_describe(app);
    ptpcfg::add_send(app);
    ptpcfg::add_listen(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        const int code = app.exit(error);
        return code == 0 ? 0 : static_cast<int>(ptpcfg::exit_code::usage);
    }
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    // A reader that went away is an error of write(), with a message, not a silent death.
    std::signal(SIGPIPE, SIG_IGN);
    bitlog_set_sink(silent, nullptr);
    try {
        return run(argc, argv);
    } catch (const ptpcfg::failure &error) {
        return report(error.what(), error.code());
    } catch (const std::bad_alloc &) {
        return report("there is not enough memory", ptpcfg::exit_code::io);
    } catch (const std::exception &error) {
        return report(error.what(), ptpcfg::exit_code::bad_input);
    }
}
