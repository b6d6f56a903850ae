// Options of the subcommands that look at single fields of messages, and change them.
#include "command_options.h"
#include "commands.h"

namespace ptpcfg {
namespace {

constexpr const char *field_help =
    "the field by its path, as in ptp_clock/default_data_set/priority1, or by the end of it; a full stop parts steps, "
    "too";

void add_input_options(CLI::App &command, input_options &input) {
    command.add_option("--type", input.type, "the input is one record of this type, without a message around it")
        ->type_name("TYPE");
    add_from_option(command, input.from);
}

void add_diff(CLI::App &app) {
    CLI::App *command = app.add_subcommand("diff", "Tell in which fields the messages of two files differ");
    auto options = std::make_shared<diff_options>();
    command->add_option("left", options->left, "file of any format; - is standard input")
        ->type_name("FILE")
        ->required();
    command->add_option("right", options->right, "file of any format, also of another")->type_name("FILE")->required();
    command->add_option("--ignore", options->ignore, "a field, with all within, that may differ; may be repeated")
        ->type_name("FIELD")
        ->allow_extra_args(false);
    command->add_flag("-q,--quiet", options->quiet, "only tell by the exit code");
    command->add_flag("--tracked", options->session.tracked, "compare state flags as well");
    command->add_option("--type", options->type, "both are one record of this type, without a message around it")
        ->type_name("TYPE");
    add_from_option(*command, options->from);
    add_domain_option(*command, options->session);
    add_reading_options(*command, options->session);
    set_help_end(
        *command,
        {{"ptpcfg diff clock.xml clock.yaml", "ptpcfg diff --ignore clk_id before.rec after.rec"},
         "Messages that both have in the same order stand for each other, of recordings too; a line begins with "
         "the numbers of both where they are not the same, with - or + where only the first or second file has "
         "the message. Exit codes, as of diff: 0 the same, 1 different, 2 trouble of any kind."});
    command->callback([options] { diff(*options); });
}

void add_get(CLI::App &app) {
    CLI::App *command = app.add_subcommand("get", "Write the value of a field");
    auto options = std::make_shared<get_options>();
    command->add_option("file", options->input.path, "file of any format; - is standard input")
        ->type_name("FILE")
        ->required();
    command->add_option("field", options->field, field_help)->type_name("FIELD")->required();
    command->add_option("--message", options->message, "only of the Nth message")
        ->type_name("N")
        ->check(CLI::Range(1, 1 << 30));
    command->add_flag("--json", options->json, "texts and literals in quotes");
    add_input_options(*command, options->input);
    add_domain_option(*command, options->session);
    add_reading_options(*command, options->session);
    set_help_end(*command,
                 {{"ptpcfg get clock.xml priority1", "ptpcfg get clock.bin ptp_clock.default_data_set"},
                  "Each message that has the field gives a line; a structure or an array is one line of JSON."});
    command->callback([options] { get(*options); });
}

void add_edit(CLI::App &app) {
    CLI::App *command = app.add_subcommand("edit", "Give fields other values, in the file's own format");
    auto options = std::make_shared<edit_options>();
    command->add_option("file", options->input.path, "file to change; - is from standard input to standard output")
        ->type_name("FILE")
        ->required();
    command
        ->add_option("assignments", options->assignments, "fields with their new values, as print and JSON show them")
        ->type_name("FIELD=VALUE")
        ->required();
    CLI::Option *message = command->add_option("--message", options->message, "only in the Nth message")
                               ->type_name("N")
                               ->check(CLI::Range(1, 1 << 30));
    command->add_flag("--all", options->all, "in each message that has the field")->excludes(message);
    add_output_option(*command, options->output);
    add_input_options(*command, options->input);
    add_domain_option(*command, options->session);
    add_reading_options(*command, options->session);
    set_help_end(*command, {{"ptpcfg edit clock.xml priority1=127 clk_domain=24",
                             "ptpcfg edit clock.bin clk_mode=VELA_PTP_CLOCK_MODE_BC -o changed.bin"},
                            "The file is replaced in one step, or left as it was. Comments of a text are lost."});
    command->callback([options] { edit(*options); });
}

}  // namespace

void add_field_commands(CLI::App &app) {
    add_diff(app);
    add_get(app);
    add_edit(app);
}

}  // namespace ptpcfg
