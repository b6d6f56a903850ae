// Breaks the lines of help texts.
#include "help_format.h"

#include <algorithm>

#include "terminal.h"

namespace ptpcfg {
namespace {

constexpr size_t meaning_column = 30;
constexpr size_t narrow_column = 6;

size_t width() {
    constexpr size_t without_terminal = 100;
    return line_width() == 0 ? without_terminal : line_width();
}

/** A name and what it means, which begins a line of its own where the name is long or the terminal narrow. */
std::string entry(const std::string &name, const std::string &meaning) {
    const size_t column = width() < 2 * meaning_column ? narrow_column : meaning_column;
    std::string line = "  " + name;
    if (meaning.empty()) {
        return line + "\n";
    }
    const bool is_long = column == narrow_column || line.size() + 1 >= column;
    const std::string head = is_long ? wrapped(line, width(), narrow_column) + "\n" : "";
    line = is_long ? "" : line;
    line.resize(column, ' ');
    return head + wrapped(line + meaning, width(), column) + "\n";
}

}  // namespace

help_format::help_format() { column_width(meaning_column); }

std::string help_format::make_option(const CLI::Option *option, bool is_positional) const {
    return entry(make_option_name(option, is_positional) + make_option_opts(option), make_option_desc(option));
}

/** What stands for the value, or what it can be; of what checks a value the errors tell. */
std::string help_format::make_option_opts(const CLI::Option *option) const {
    if (option->get_positional() || option->get_type_size() == 0) {
        return "";
    }
    const std::string type = option->get_type_name();
    const size_t brace = type.find('{');
    const std::string chosen = option->get_default_str();
    return " " + (brace == std::string::npos ? type.substr(0, type.find(':')) : type.substr(brace)) +
           (chosen.empty() ? "" : " [" + chosen + "]") + (option->get_items_expected_max() > 1 ? " ..." : "");
}

std::string help_format::make_option_desc(const CLI::Option *option) const {
    std::string text = option->get_description();
    const char *before = "; not with ";
    for (const CLI::Option *other : option->get_excludes()) {
        text += before + other->get_name();
        before = " or ";
    }
    return text;
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
