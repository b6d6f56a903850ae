// Writes the manual page.
#include <algorithm>

#include "command_model.h"

namespace ptpcfg {
namespace {

/** A text that roff takes as it is. */
std::string roff(const std::string &text) {
    std::string result;
    for (const char character : text) {
        const bool begins_line = result.empty() || result.back() == '\n';
        if (begins_line && (character == '.' || character == '\'')) {
            result += "\\&";
        }
        if (character == '\\') {
            result += "\\e";
        } else if (character == '-') {
            result += "\\-";
        } else {
            result += character;
        }
    }
    return result;
}

/** A text of a quoted argument of a request. */
std::string quoted(const std::string &text) {
    std::string result = roff(text);
    std::replace(result.begin(), result.end(), '"', '\'');
    return '"' + result + '"';
}

void append_options(const std::vector<option_model> &options, std::string &page) {
    for (const option_model &option : options) {
        page += ".TP\n";
        std::string names;
        for (const std::string &name : option.names) {
            names += (names.empty() ? "\\fB" : "\\fR, \\fB") + roff(name);
        }
        page += names + "\\fR";
        const bool is_positional = option.names.front() == option.value;
        page += (option.value.empty() || is_positional ? "" : " \\fI" + roff(option.value) + "\\fR") + "\n";
        std::string words;
        if (option.kind == value_kind::word && option.value != "FORMAT" && option.words.size() < 12) {
            for (const std::string &word : option.words) {
                words += (words.empty() ? " (" : ", ") + word;
            }
            words += ")";
        }
        page += roff(option.meaning + words) + "\n";
    }
}

void append_end(const help_end &end, std::string &page) {
    if (!end.note.empty()) {
        page += ".PP\n" + roff(end.note) + "\n";
    }
    if (!end.examples.empty()) {
        page += ".PP\n.nf\n.RS\n";
        for (const std::string &example : end.examples) {
            page += roff(example) + "\n";
        }
        page += ".RE\n.fi\n";
    }
}

std::string usage_of(const command_model &command) {
    std::string text = "ptpcfg " + command.name;
    text += command.options.size() > 1 ? " [OPTIONS]" : "";
    for (const option_model &option : command.positionals) {
        const std::string name = option.names.front() + (option.is_repeated ? "..." : "");
        text += option.is_required ? " " + name : " [" + name + "]";
    }
    return text;
}

void append_command(const command_model &command, std::string &page) {
    if (command.commands.empty()) {
        page += ".SS " + quoted(usage_of(command)) + "\n" + roff(command.meaning) + ".\n";
        append_options(command.positionals, page);
        append_options(command.options, page);
        append_end(command.end, page);
    }
    for (const command_model &each : command.commands) {
        append_command(each, page);
    }
}

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char character) {
        return static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    });
    return text;
}

}  // namespace

std::string manual_text(const command_model &tool) {
    std::string page = ".TH PTPCFG 1 \"\" \"ptpcfg " PTPCFG_VERSION
                       "\" \"User Commands\"\n"
                       ".SH NAME\nptpcfg \\- configuration records of PTP clocks on the command line\n"
                       ".SH SYNOPSIS\n.B ptpcfg\n[\\fIOPTIONS\\fR] \\fISUBCOMMAND\\fR [\\fIOPTIONS\\fR] "
                       "[\\fIARGUMENTS\\fR]\n.SH DESCRIPTION\n";
    page += roff(tool.meaning) + "\n.SH OPTIONS\n";
    append_options(tool.options, page);
    std::string group;
    for (const command_model &command : tool.commands) {
        if (command.group != group) {
            group = command.group;
            page += ".SH " + quoted("SUBCOMMANDS: " + upper(group)) + "\n";
        }
        append_command(command, page);
    }
    return page + ".SH EXIT STATUS\n" + roff(tool.end.note) +
           "\n.SH ENVIRONMENT\n.TP\n.B NO_COLOR\nwithout colours, also on a terminal\n.TP\n.B COLUMNS\n"
           "the width at which lines of help and tables are broken, in place of the terminal's\n";
}

}  // namespace ptpcfg
