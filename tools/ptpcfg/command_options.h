// What the options of several subcommands have in common, and where subcommands come from.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "session.h"

namespace ptpcfg {

/** Add the subcommands of a subject, each with its options and what does it. */
void add_record_commands(CLI::App &app);
void add_field_commands(CLI::App &app);
void add_channel_commands(CLI::App &app);
void add_program_commands(CLI::App &app);
void add_help_commands(CLI::App &app);

inline constexpr const char *domain_help =
    "what an older peer knows: a file, or the variant of one type, for example ptp_port=0; may be repeated. What is "
    "newer is refused in XML and left out of bytes";

/** --domain of a subcommand, which may also stand before the subcommand's name. */
CLI::Option *add_domain_option(CLI::App &command, session_options &options);
/** For subcommands that only handle bytes. */
void refuse_domain(CLI::App &command);
void add_reading_options(CLI::App &command, session_options &options);
void add_from_option(CLI::App &command, std::string &from);
CLI::Option *add_to_option(CLI::App &command, std::string &to);
CLI::Option *add_output_option(CLI::App &command, std::string &output);

/** What stands behind the options of a help text. */
struct help_end {
    std::vector<std::string> examples;  // command lines
    std::string note;                   // sentences
};

inline constexpr const char *exit_codes =
    "Exit codes: 0 done; 1 the input is wrong; 2 the command line is wrong; 3 a file, a pipe or the memory failed; 4 "
    "the "
    "other end of a channel failed, or did not confirm every message. Faults are named on standard error, each in a "
    "line. A file is written whole or not at all; standard output may have what came before a fault. When its reader "
    "ends, as head does, ptpcfg ends as by SIGPIPE (141 in a shell).";

void set_help_end(CLI::App &command, help_end end);
/** The end of a command's help; empty where nothing was set. */
const help_end &help_end_of(const CLI::App &command);

}  // namespace ptpcfg
