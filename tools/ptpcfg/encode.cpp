#include "command.h"

namespace ptpcfg {

void add_encode(CLI::App &app) {
    CLI::App *command = app.add_subcommand("encode", "Turn XML into the bytes that travel");
    auto options = std::make_shared<conversion>();
    add_conversion_options(*command, *options);
    command->add_flag("--tracked", options->session.tracked, "write state flags");
    command->callback([options] { convert(*options, format::bin); });
}

}  // namespace ptpcfg
