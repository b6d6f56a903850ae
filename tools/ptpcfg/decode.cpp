#include "command.h"

namespace ptpcfg {

void add_decode(CLI::App &app) {
    CLI::App *command = app.add_subcommand("decode", "Turn bytes into XML, or say what each of them means");
    auto options = std::make_shared<conversion>();
    auto explained = std::make_shared<bool>(false);
    add_conversion_options(*command, *options);
    command->add_flag("--explain", *explained, "list offset, bytes, field and value; also of damaged input")
        ->excludes("--to");
    command->callback([options, explained] {
        if (*explained) {
            explain(*options);
        } else {
            convert(*options, format::xml);
        }
    });
}

}  // namespace ptpcfg
