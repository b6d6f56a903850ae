// Writes the completion of bash.
#include "command_model.h"

namespace ptpcfg {
namespace {

std::string joined(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

/** What completes a value; nothing where it is any text. */
std::string reply(const option_model &option) {
    switch (option.kind) {
        case value_kind::file:
            return "compgen -f -- \"$word\"";
        case value_kind::folder:
            return "compgen -d -- \"$word\"";
        case value_kind::word:
            return "compgen -W '" + joined(option.words) + "' -- \"$word\"";
        default:
            return ":";
    }
}

/** A case for each option that has a value, by the subcommand and the word before. */
void append_values(const command_model &command, std::string &text) {
    for (const option_model &option : command.options) {
        if (option.value.empty()) {
            continue;
        }
        std::string names;
        for (const std::string &name : option.names) {
            names += (names.empty() ? "'" : " | '") + command.name + ":" + name + "'";
        }
        text += "        " + names + ") " + reply(option) + " ;;\n";
    }
}

/** What can stand in any place: options, subcommands, files and words of positionals. */
void append_places(const command_model &command, std::string &text) {
    std::vector<std::string> words;
    bool has_files = false;
    for (const option_model &option : command.options) {
        words.insert(words.end(), option.names.begin(), option.names.end());
    }
    for (const command_model &each : command.commands) {
        words.push_back(each.name.substr(each.name.rfind(' ') + 1));
    }
    for (const option_model &option : command.positionals) {
        has_files = has_files || option.kind == value_kind::file;
        words.insert(words.end(), option.words.begin(), option.words.end());
    }
    text += "        '" + command.name + "') compgen -W '" + joined(words) + "' -- \"$word\"" +
            (has_files ? "; compgen -f -- \"$word\"" : "") + " ;;\n";
}

template <typename Append>
void each_command(const command_model &command, std::string &text, Append append) {
    append(command, text);
    for (const command_model &each : command.commands) {
        each_command(each, text, append);
    }
}

void append_names(const command_model &command, std::string &text) {
    text += command.name.empty() ? "" : " | '" + command.name + "'";
}

}  // namespace

std::string bash_completion(const command_model &tool) {
    std::string names;
    std::string values;
    std::string places;
    each_command(tool, names, append_names);
    each_command(tool, values, append_values);
    each_command(tool, places, append_places);
    return "# Completion of ptpcfg for bash, written by 'ptpcfg completion bash'.\n"
           "_ptpcfg_words() {\n"
           "    local word=$1 before=$2 command=$3\n"
           "    case \"$command:$before\" in\n" +
           values + "        *) case \"$command\" in\n" + places +
           "        esac ;;\n"
           "    esac\n"
           "}\n\n"
           "_ptpcfg() {\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command= next at\n"
           "    for ((at = 1; at < COMP_CWORD; ++at)); do\n"
           "        next=${command:+$command }${COMP_WORDS[at]}\n"
           "        case \"$next\" in\n"
           "        " +
           names.substr(3) +
           ") command=$next ;;\n"
           "        esac\n"
           "    done\n"
           "    mapfile -t COMPREPLY < <(_ptpcfg_words \"$word\" \"$before\" \"$command\")\n"
           "}\n\n"
           "complete -o filenames -F _ptpcfg ptpcfg\n";
}

}  // namespace ptpcfg
