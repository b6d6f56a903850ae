// The subcommands, each in the file of its name, and the options that several share.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "formats.h"
#include "records.h"
#include "session.h"

namespace ptpcfg {

void add_encode(CLI::App &app);
void add_decode(CLI::App &app);
void add_print(CLI::App &app);
void add_describe(CLI::App &app);
void add_send(CLI::App &app);
void add_listen(CLI::App &app);

/** One input, one output: what encode, decode and print have in common. */
struct conversion {
    std::string input = "-";
    std::string output = "-";
    std::string from;
    std::string to;
    std::string type;
    session_options session;
};

void add_domain_option(CLI::App &command, session_options &options);
void add_conversion_options(CLI::App &command, conversion &options);

/** The type that --type names, or nullptr. */
const ptp_cfg_type *bare_type_of(const std::string &name);

/** The format of an input: --from, else its ending, else its content. */
format input_format(const std::string &from, const std::string &path, const std::string &content);

/** The format of an output: --to, else its ending, else `fallback`. */
format output_format(const std::string &to, const std::string &path, format fallback);

/** Reads the input, converts it, writes the output. */
void convert(const conversion &options, format fallback);

/** decode --explain: what every byte of the input means. */
void explain(const conversion &options);

}  // namespace ptpcfg
