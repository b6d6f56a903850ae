// Breaks the lines of help texts.
#include "help_format.h"

#include <algorithm>

#include "terminal.h"

namespace ptpcfg {
namespace {

constexpr size_t meaning_column = 30;

size_t width() {
    constexpr size_t without_terminal = 100;
    return line_width() == 0 ? without_terminal : line_width();
}

/** A name and what it means, which begins a line of its own where the name is long. */
std::string entry(const std::string &name, const std::string &meaning) {
    std::string line = "  " + name;
    if (meaning.empty()) {
        return line + "\n";
    }
    const bool is_long = line.size() + 1 >= meaning_column;
    const std::string head = is_long ? line + "\n" : "";
    line = is_long ? "" : line;
    line.resize(meaning_column, ' ');
    return head + wrapped(line + meaning, width(), meaning_column) + "\n";
}

}  // namespace

help_format::help_format() { column_width(meaning_column); }

std::string help_format::make_option(const CLI::Option *option, bool is_positional) const {
    return entry(make_option_name(option, is_positional) + make_option_opts(option), make_option_desc(option));
}

std::string help_format::make_subcommand(const CLI::App *command) const {
    return entry(command->get_name(), command->get_description());
}

std::string help_format::make_description(const CLI::App *app) const {
    return wrapped(CLI::Formatter::make_description(app), width());
}

std::string help_format::make_footer(const CLI::App *app) const {
    return wrapped(CLI::Formatter::make_footer(app), width());
}

}  // namespace ptpcfg
