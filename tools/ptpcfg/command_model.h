// The command line as data, from which the manual and the shells' completions are written.
#pragma once

#include <string>
#include <vector>

#include "command_options.h"

namespace ptpcfg {

/** What a shell can offer for a value. */
enum class value_kind { none, file, folder, word };

struct option_model {
    std::vector<std::string> names;  // with their dashes; of a positional what stands for it
    std::string value;               // what stands for the value, or empty
    std::string meaning;
    value_kind kind = value_kind::none;
    std::vector<std::string> words;  // of value_kind::word
    bool is_required = false;
    bool is_repeated = false;
};

struct command_model {
    std::string name;  // words behind ptpcfg: "encode", "agent status", "" for the tool itself
    std::string group;
    std::string meaning;
    std::vector<option_model> options;
    std::vector<option_model> positionals;
    std::vector<command_model> commands;
    help_end end;
};

/** @param app  the tool or a subcommand, with all its options */
command_model model_of(const CLI::App &app, const std::string &name = {});

/** The manual page, as roff. */
std::string manual_text(const command_model &tool);

std::string bash_completion(const command_model &tool);
std::string zsh_completion(const command_model &tool);
std::string fish_completion(const command_model &tool);

}  // namespace ptpcfg
