// Help texts that fit the terminal.
#pragma once

#include <CLI/CLI.hpp>

namespace ptpcfg {

/** Breaks lines at the terminal's width, or 100 characters where there is none. */
class help_format : public CLI::Formatter {
  public:
    help_format();
    std::string make_option(const CLI::Option *option, bool is_positional) const override;
    std::string make_option_opts(const CLI::Option *option) const override;
    std::string make_option_desc(const CLI::Option *option) const override;
    std::string make_subcommand(const CLI::App *command) const override;
    std::string make_description(const CLI::App *app) const override;
    std::string make_footer(const CLI::App *app) const override;
};

}  // namespace ptpcfg
