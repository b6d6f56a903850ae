// Writes the completions of zsh and fish.
#include <algorithm>

#include "command_model.h"

namespace ptpcfg {
namespace {

std::string last_word(const command_model &command) { return command.name.substr(command.name.rfind(' ') + 1); }

std::string replaced(std::string text, std::string_view characters, const char *before) {
    for (size_t at = text.find_first_of(characters); at != std::string::npos;
         at = text.find_first_of(characters, at + 2)) {
        text.insert(at, before);
    }
    return text;
}

/** A text between single quotes. */
std::string plain(std::string text) {
    std::replace(text.begin(), text.end(), '\'', '"');
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

// ---- zsh ------------------------------------------------------------------------------------------------------------

std::string zsh_action(const option_model &option) {
    if (option.kind == value_kind::word) {
        std::string words;
        for (const std::string &word : option.words) {
            words += (words.empty() ? "" : " ") + replaced(word, ":", "\\");
        }
        return "(" + words + ")";
    }
    return option.kind == value_kind::file ? "_files" : option.kind == value_kind::folder ? "_files -/" : " ";
}

void append_zsh_arguments(const command_model &command, std::string &text) {
    for (const option_model &option : command.options) {
        const std::string meaning = replaced(plain(option.meaning), "[]:", "\\");
        for (const std::string &name : option.names) {
            text += " \\\n            '*" + name + "[" + meaning + "]" +
                    (option.value.empty() ? "" : ":" + plain(option.value) + ":" + zsh_action(option)) + "'";
        }
    }
    for (const option_model &option : command.positionals) {
        text += std::string(" \\\n            '") +
                (option.is_repeated   ? "*"
                 : option.is_required ? ""
                                      : ":") +
                ":" + replaced(plain(option.value.empty() ? option.names.front() : option.value), ":", "\\") + ":" +
                zsh_action(option) + "'";
    }
}

/** A function for each command; one with subcommands calls theirs. */
void append_zsh(const command_model &command, const std::string &function, std::string &text) {
    text += function + "() {\n    local -a commands\n    local context state line\n    commands=(\n";
    for (const command_model &each : command.commands) {
        text += "        '" + last_word(each) + ":" + plain(each.meaning) + "'\n";
    }
    text += "    )\n    _arguments -C";
    append_zsh_arguments(command, text);
    if (command.commands.empty()) {
        text += "\n}\n\n";
        return;
    }
    text +=
        " \\\n            '1: :->command' '*:: :->arguments'\n"
        "    case $state in\n"
        "        command) _describe subcommand commands ;;\n"
        "        arguments) (( $+functions[" +
        function + "_$line[1]] )) && " + function +
        "_$line[1] ;;\n"
        "    esac\n}\n\n";
    for (const command_model &each : command.commands) {
        append_zsh(each, function + "_" + last_word(each), text);
    }
}

// ---- fish -----------------------------------------------------------------------------------------------------------

/** The condition under which a command's own options are offered. */
std::string fish_condition(const command_model &tool, const std::string &name) {
    if (name.empty()) {
        std::string names;
        for (const command_model &each : tool.commands) {
            names += " " + each.name;
        }
        return "not __fish_seen_subcommand_from" + names;
    }
    std::string text;
    for (size_t at = 0; at < name.size();) {
        const size_t end = std::min(name.find(' ', at), name.size());
        text += (text.empty() ? "" : "; and ") + ("__fish_seen_subcommand_from " + name.substr(at, end - at));
        at = end + 1;
    }
    return text;
}

std::string fish_values(const option_model &option) {
    switch (option.kind) {
        case value_kind::file:
            return " -r -F";
        case value_kind::folder:
            return " -x -a '(__fish_complete_directories)'";
        case value_kind::word: {
            std::string words;
            for (const std::string &word : option.words) {
                words += (words.empty() ? "" : " ") + word;
            }
            return " -x -a '" + words + "'";
        }
        default:
            return option.value.empty() ? "" : " -x";
    }
}

void append_fish(const command_model &tool, const command_model &command, std::string &text) {
    const std::string begin = "complete -c ptpcfg -n '" + fish_condition(tool, command.name) + "'";
    for (const command_model &each : command.commands) {
        text += begin + " -f -a " + last_word(each) + " -d '" + plain(each.meaning) + "'\n";
    }
    for (const option_model &option : command.options) {
        text += begin;
        for (const std::string &name : option.names) {
            text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
        }
        text += fish_values(option) + " -d '" + plain(option.meaning) + "'\n";
    }
    const bool has_files = std::any_of(command.positionals.begin(), command.positionals.end(),
                                       [](const option_model &each) { return each.kind == value_kind::file; });
    for (const option_model &option : command.positionals) {
        if (option.kind == value_kind::word) {
            text += begin + (has_files ? "" : " -f") + fish_values(option).substr(3) + "\n";
        }
    }
    if (!has_files && command.commands.empty()) {
        text += begin + " -f\n";
    }
    for (const command_model &each : command.commands) {
        append_fish(tool, each, text);
    }
}

}  // namespace

std::string zsh_completion(const command_model &tool) {
    std::string text = "#compdef ptpcfg\n# Completion of ptpcfg for zsh, written by 'ptpcfg completion zsh'.\n\n";
    append_zsh(tool, "_ptpcfg", text);
    return text + "_ptpcfg \"$@\"\n";
}

std::string fish_completion(const command_model &tool) {
    std::string text = "# Completion of ptpcfg for fish, written by 'ptpcfg completion fish'.\n";
    append_fish(tool, tool, text);
    return text;
}

}  // namespace ptpcfg
