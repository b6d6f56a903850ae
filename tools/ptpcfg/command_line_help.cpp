// Options of the subcommands that write what packages install beside the tool.
#include "command_model.h"
#include "files.h"

namespace ptpcfg {
namespace {

void add_completion(CLI::App &app) {
    CLI::App *command =
        app.add_subcommand("completion", "Write what a shell needs to complete command lines of ptpcfg");
    refuse_domain(*command);
    auto shell = std::make_shared<std::string>();
    auto output = std::make_shared<std::string>("-");
    command->add_option("shell", *shell, "the shell")
        ->type_name("SHELL")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    add_output_option(*command, *output);
    set_help_end(*command, {{"ptpcfg completion bash -o ptpcfg.bash"}, {}});
    command->callback([&app, shell, output] {
        const auto write = *shell == "bash" ? bash_completion : *shell == "zsh" ? zsh_completion : fish_completion;
        write_output(*output, write(model_of(app)));
    });
}

void add_manual(CLI::App &app) {
    CLI::App *command = app.add_subcommand("manual", "Write the manual page, for man");
    refuse_domain(*command);
    auto output = std::make_shared<std::string>("-");
    add_output_option(*command, *output);
    set_help_end(*command, {{"ptpcfg manual -o ptpcfg.1"}, {}});
    command->callback([&app, output] { write_output(*output, manual_text(model_of(app))); });
}

}  // namespace

void add_help_commands(CLI::App &app) {
    add_completion(app);
    add_manual(app);
}

}  // namespace ptpcfg
