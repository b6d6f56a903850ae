// Options of the subcommands that read, write and describe records.
#include "command_options.h"
#include "commands.h"

namespace ptpcfg {
namespace {

CLI::Option *add_conversion_options(CLI::App &command, conversion &options) {
    command.add_option("input", options.input, "file to read; - is standard input")->type_name("FILE");
    CLI::Option *output = add_output_option(command, options.output);
    command.add_option("--type", options.type, "the input is one record of this type, without a message around it")
        ->type_name("NAME");
    add_from_option(command, options.from);
    add_domain_option(command, options.session);
    add_reading_options(command, options.session);
    CLI::Option *to = add_to_option(command, options.to);
    command.add_flag("--check", options.check, "only tell whether the input is right; write nothing")
        ->excludes(to)
        ->excludes(output);
    return to;
}

void add_encode(CLI::App &app) {
    CLI::App *command = app.add_subcommand("encode", "Turn XML, JSON or YAML into the bytes that travel");
    auto options = std::make_shared<conversion>();
    add_conversion_options(*command, *options);
    command->add_flag("--tracked", options->session.tracked, "write state flags, as state attributes give them");
    set_help_end(*command,
                 {{"ptpcfg encode clock.xml -o clock.bin", "ptpcfg encode --tracked clock.json --to hex"}, {}});
    command->callback([options] { convert(*options, format::bin); });
}

void add_decode(CLI::App &app) {
    CLI::App *command = app.add_subcommand("decode", "Turn bytes into XML, or say what each of them means");
    auto options = std::make_shared<conversion>();
    CLI::Option *const to = add_conversion_options(*command, *options);
    auto explained = std::make_shared<bool>(false);
    command->add_flag("--explain", *explained, "list offset, bytes, field and value; also of damaged input")
        ->excludes(to)
        ->excludes(command->get_option("--check"));
    set_help_end(*command, {{"ptpcfg decode clock.bin", "ptpcfg decode --explain clock.bin"}, {}});
    command->callback([options, explained] {
        if (*explained) {
            explain(*options);
        } else {
            convert(*options, format::xml);
        }
    });
}

void add_print(CLI::App &app) {
    CLI::App *command = app.add_subcommand("print", "Show messages as indented text");
    auto options = std::make_shared<conversion>();
    add_conversion_options(*command, *options);
    set_help_end(*command, {{"ptpcfg print clock.bin", "ptpcfg print ptp.rec"}, {}});
    command->callback([options] { convert(*options, format::text); });
}

void add_convert(CLI::App &app) {
    CLI::App *command = app.add_subcommand("convert", "Turn messages from any format into any other");
    auto options = std::make_shared<conversion>();
    add_conversion_options(*command, *options);
    command->add_flag("--tracked", options->session.tracked, "keep state flags, as text gives them");
    command->add_flag("--qualified", options->qualified,
                      "name messages in JSON and YAML with the YANG module in front, as its readers want it");
    set_help_end(*command, {{"ptpcfg convert clock.bin -o clock.yaml", "ptpcfg convert --to json <clock.xml"}, {}});
    command->callback([options] { convert(*options, std::nullopt); });
}

void add_schema(CLI::App &app) {
    CLI::App *command = app.add_subcommand("schema", "Write what the JSON of messages is like, for validators");
    refuse_domain(*command);
    auto options = std::make_shared<schema_options>();
    CLI::Option *name =
        command->add_option("name", options->name, "type or message; default all messages")->type_name("TYPE|MESSAGE");
    CLI::Option_group *language = command->add_option_group("language");
    language->add_flag_callback(
        "--json-schema", [options] { options->language = schema_language::json_schema; },
        "as a JSON Schema, draft 2020-12");
    language
        ->add_flag_callback(
            "--yang", [options] { options->language = schema_language::yang; },
            "as a YANG module of all types, in which a message is a notification")
        ->excludes(name);
    language->require_option(1);
    add_output_option(*command, options->output);
    set_help_end(*command, {{"ptpcfg schema --json-schema ptp_clock_cfg -o clock.schema.json",
                             "ptpcfg schema --yang -o ptp_cfg.yang"},
                            {}});
    command->callback([options] { write_schema(*options); });
}

void add_describe(CLI::App &app) {
    CLI::App *command = app.add_subcommand("describe", "List all types and messages, or say all about a name");
    auto options = std::make_shared<describe_options>();
    CLI::Option *name = command->add_option("name", options->name, "type, message, value, primitive, or TYPE.FIELD")
                            ->type_name("TYPE|MESSAGE");
    CLI::Option *variant = command
                               ->add_option("--variant", options->variant,
                                            "show the bytes of this variant; records within it are at their newest")
                               ->type_name("N")
                               ->check(CLI::Range(0, 127))
                               ->needs(name);
    command->add_flag("--tracked", options->tracked, "with state flags")->needs(variant);
    CLI::Option *xml =
        command->add_flag("--xml", options->xml, "show it as XML with every field at its default, to start from")
            ->needs(name)
            ->excludes(variant);
    add_domain_option(*command, options->session)->needs(xml);
    set_help_end(*command, {{"ptpcfg describe", "ptpcfg describe ptp_clock", "ptpcfg describe ptp_clock.clk_profile",
                             "ptpcfg describe --xml ptp_clock_cfg", "ptpcfg describe ptp_port --variant 0"},
                            {}});
    command->callback([options] { describe(*options); });
}

void add_search(CLI::App &app) {
    CLI::App *command = app.add_subcommand("search", "List what has a word in its name or meaning");
    refuse_domain(*command);
    auto word = std::make_shared<std::string>();
    command->add_option("word", *word, "the word, or a part of one, in letters of either case")
        ->type_name("WORD")
        ->required();
    set_help_end(*command, {{"ptpcfg search holdover"}, "Exit code 1 when nothing has it."});
    command->callback([word] { search(*word); });
}

}  // namespace

void add_record_commands(CLI::App &app) {
    for (const auto add : {add_encode, add_decode, add_convert, add_print, add_describe, add_search, add_schema}) {
        add(app);
    }
}

}  // namespace ptpcfg
