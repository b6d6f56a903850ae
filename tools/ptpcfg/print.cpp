#include "command.h"

namespace ptpcfg {

void add_print(CLI::App &app) {
    CLI::App *command = app.add_subcommand("print", "Show messages as indented text");
    auto options = std::make_shared<conversion>();
    add_conversion_options(*command, *options);
    command->callback([options] { convert(*options, format::text); });
}

}  // namespace ptpcfg
