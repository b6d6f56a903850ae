// The options of each subcommand, and what calls it.
#include "command_line.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>

#include "bitlog.h"
#include "commands.h"
#include "failure.h"
#include "vela_recorder.h"

namespace ptpcfg {
namespace {

constexpr const char *exit_codes =
    "Exit codes: 0 done; 1 the input is wrong; 2 the command line is wrong; 3 a file, a pipe or the memory failed;\n"
    "4 the other end of a channel failed, or did not confirm every message. Faults are named on standard error, each\n"
    "in a line. A file is written whole or not at all; standard output may have what came before a fault. When its\n"
    "reader ends, as head does, ptpcfg ends as by SIGPIPE (141 in a shell).";

void trace_to_stderr(void *, const bitlog_record *record) {
    char text[512];
    bitlog_format(record, text, sizeof text);
    std::fprintf(stderr, "trace: %s: %s\n", record->points->subject, text);
}

/** What --trace says: "true" is the flag alone. */
void start_trace(const std::string &where) {
    if (where == "true") {
        bitlog_set_sink(trace_to_stderr, nullptr);
        return;
    }
    const uint32_t status = bitlog_ring_open(where.c_str(), 0);
    if (status != 0) {
        throw failure(exit_code::io, where + ": cannot trace there: " +
                                         (status == EEXIST ? "it, or its .old, is a link or another file than a trace"
                                                           : std::strerror(static_cast<int>(status))));
    }
}

/** Writes at its end, also after a fault, what the run created and destroyed. */
class final_statistics {
  public:
    final_statistics() = default;
    ~final_statistics() {
        try {
            if (wanted) {
                std::fputs(statistics_of_this_run().c_str(), stderr);
            }
        } catch (const std::bad_alloc &) {
            std::fputs("ptpcfg: there is no memory for --stats\n", stderr);
        }
    }
    final_statistics(const final_statistics &) = delete;
    final_statistics &operator=(const final_statistics &) = delete;

    bool wanted = false;
};

constexpr const char *domain_help =
    "what an older peer knows: a file, or the variant of one type, for example ptp_port=0; may be repeated. What is "
    "newer is refused in XML and left out of bytes";

void add_global_options(CLI::App &app, final_statistics &statistics) {
    app.require_subcommand(1);
    app.fallthrough();
    app.set_version_flag("--version", std::string("ptpcfg ") + PTPCFG_VERSION);
    auto where = std::make_shared<std::string>();
    app.add_flag("--trace", *where,
                 "show the library's trace messages on standard error; with --trace=FILE keep them there instead, for "
                 "ptpcfg trace")
        ->each([where](const std::string &value) { start_trace(value); })
        ->trigger_on_parse();
    app.add_flag("--stats", statistics.wanted,
                 "show at the end, on standard error, how many instances of each type the run created and destroyed");
    auto domain = std::make_shared<std::vector<std::string>>();
    app.add_option("--domain", *domain, domain_help)
        ->type_name("FILE|TYPE=VARIANT")
        ->allow_extra_args(false)
        ->each([domain](const std::string &) {});  // keeps it as long as the option
    app.footer(exit_codes);
}

/** --domain of a subcommand, which may also stand before the subcommand's name. */
CLI::Option *add_domain_option(CLI::App &command, session_options &options) {
    CLI::Option *before = command.get_parent()->get_option("--domain");
    command.parse_complete_callback([before, &options] {
        const std::vector<std::string> values = before->results();
        options.domain.insert(options.domain.begin(), values.begin(), values.end());
    });
    return command.add_option("--domain", options.domain, domain_help)
        ->type_name("FILE|TYPE=VARIANT")
        ->allow_extra_args(false);
}

/** For subcommands that only handle bytes. */
void refuse_domain(CLI::App &command) {
    CLI::Option *before = command.get_parent()->get_option("--domain");
    command.parse_complete_callback([before, name = command.get_name()] {
        if (before->count() > 0) {
            throw CLI::ExtrasError(name, {"--domain"});
        }
    });
}

void add_reading_options(CLI::App &command, session_options &options) {
    CLI::Option *plain =
        command.add_flag("--plain", options.plain,
                         "skip in text what is unknown, and in XML what is repeated or misplaced, as the library does "
                         "by itself; else that is a fault");
    command.add_flag("--complete", options.complete, "refuse text in which a field is missing")->excludes(plain);
}

void add_from_option(CLI::App &command, std::string &from) {
    command.add_option("--from", from, std::string("format of the input: ") + input_formats)->type_name("FORMAT");
}

CLI::Option *add_to_option(CLI::App &command, std::string &to) {
    return command.add_option("--to", to, std::string("format of the output: ") + output_formats)->type_name("FORMAT");
}

CLI::Option *add_conversion_options(CLI::App &command, conversion &options) {
    command.add_option("input", options.input, "file to read; - is standard input")->type_name("FILE");
    CLI::Option *output =
        command.add_option("-o,--output", options.output, "file to write; - is standard output")->type_name("FILE");
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
    command->callback([options] { convert(*options, format::text); });
}

void add_convert(CLI::App &app) {
    CLI::App *command = app.add_subcommand("convert", "Turn messages from any format into any other");
    auto options = std::make_shared<conversion>();
    add_conversion_options(*command, *options);
    command->add_flag("--tracked", options->session.tracked, "keep state flags, as text gives them");
    command->add_flag("--qualified", options->qualified,
                      "name messages in JSON and YAML with the YANG module in front, as its readers want it");
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
    command->add_option("-o,--output", options->output, "file to write; - is standard output")->type_name("FILE");
    command->callback([options] { write_schema(*options); });
}

void add_describe(CLI::App &app) {
    CLI::App *command = app.add_subcommand("describe", "List all types and messages, or say all about one");
    auto options = std::make_shared<describe_options>();
    CLI::Option *name = command->add_option("name", options->name, "type or message")->type_name("TYPE|MESSAGE");
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
    command->callback([options] { describe(*options); });
}

constexpr const char *outgoing_timeout_help =
    "longest time without a peer, or in which the peer takes or confirms nothing; default 5";

void add_channel_options(CLI::App &command, channel_options &options, const char *timeout_help) {
    command.add_option("uri", options.uri, "where the channel is, for example unix:/run/ptp.sock")
        ->type_name("URI")
        ->required();
    command.add_option("--channel", options.channel, "which of the transport's channels it is")
        ->check(CLI::IsMember(channel_names()))
        ->capture_default_str();
    command.add_option("--timeout", options.timeout, timeout_help)->type_name("SECONDS")->check(CLI::NonNegativeNumber);
}

void add_receiving_options(CLI::App &command, channel_options &options) {
    add_channel_options(command, options, "end after this time without a message; a fault when --count is not reached");
    command
        .add_option("--idle-limit", options.idle_limit,
                    "when all 64 places are taken, a new connection gets that of one from which no message came in "
                    "this time; default 3")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 4e6));
}

void add_send(CLI::App &app) {
    CLI::App *command = app.add_subcommand("send", "Send messages to the program that listens at a channel");
    auto options = std::make_shared<send_options>();
    options->channel.timeout = 5;
    add_channel_options(*command, options->channel, outgoing_timeout_help);
    command->add_option("files", options->files, "messages in any format; - is standard input")
        ->type_name("FILE")
        ->required();
    add_from_option(*command, options->from);
    add_domain_option(*command, options->session);
    add_reading_options(*command, options->session);
    command->add_flag("--tracked", options->session.tracked, "write state flags, as state attributes give them");
    command->footer(
        std::string("It ends when the peer has read every message, or fails with exit code 4 and the number "
                    "of those that it did\nnot confirm.\n\n") +
        exit_codes);
    command->callback([options] { send(*options); });
}

void add_listen(CLI::App &app) {
    CLI::App *command = app.add_subcommand("listen", "Receive messages at a channel and show or keep them");
    auto options = std::make_shared<listen_options>();
    add_receiving_options(*command, options->channel);
    add_to_option(*command, options->to);
    command->add_option("-o,--output", options->output, "file to add to; - is standard output")->type_name("FILE");
    command->add_option("--record", options->record, "file to add each message to, as XML with its time")
        ->type_name("FILE");
    command->add_option("--count", options->count, "end after this many messages")->type_name("N");
    add_domain_option(*command, options->session);
    command->callback([options] { listen(*options); });
}

void add_trace(CLI::App &app) {
    CLI::App *command = app.add_subcommand("trace", "Print what a process traced into a file, also after its crash");
    refuse_domain(*command);
    auto options = std::make_shared<trace_options>();
    command->add_option("file", options->file, "where the process keeps its trace")->type_name("FILE")->required();
    command->add_option("--level", options->level, "the least severe level to show")
        ->type_name("LEVEL")
        ->check(CLI::IsMember(trace_levels()))
        ->capture_default_str();
    command
        ->add_option("--libraries", options->libraries,
                     "where the libraries that traced are, if not where they were then")
        ->type_name("FOLDER")
        ->check(CLI::ExistingDirectory);
    command->add_flag("--follow", options->follow, "go on with what comes, until SIGINT or SIGTERM");
    command->add_flag("--json", options->json, "an object on each line");
    command->callback([options] { print_trace(*options); });
}

void add_statistics(CLI::App &app) {
    CLI::App *command = app.add_subcommand(
        "stats", "Show what the processes that share a file of types have created and destroyed, per type and variant");
    refuse_domain(*command);
    auto options = std::make_shared<statistics_options>();
    command->add_option("file", options->file, "the file, as their vela_shared_types_create() made it")
        ->type_name("FILE")
        ->required();
    command->add_flag("--all", options->all, "also types of which nothing was created");
    command->add_flag("--json", options->json, "as JSON: {\"types\": [{\"type\", \"variant\", ...}, ...]}");
    command->callback([options] { show_statistics(*options); });
}

void add_record(CLI::App &app) {
    CLI::App *command =
        app.add_subcommand("record", "Receive messages at a channel and keep their bytes with the time");
    refuse_domain(*command);
    auto options = std::make_shared<record_options>();
    add_receiving_options(*command, options->channel);
    command->add_option("file", options->file, "recording to add to; replay, decode and print read it")
        ->type_name("FILE")
        ->required();
    command
        ->add_option("--max-size", options->max_size, "size at which FILE becomes FILE.1, for example 64M; default 16M")
        ->type_name("SIZE")
        ->transform(CLI::AsSizeValue(false))
        ->check(CLI::Range(u_int64{VELA_RECORDER_LEAST_FILE}, u_int64{1} << 50));
    command->add_option("--files", options->files, "files to keep, FILE included; the oldest goes; default 8")
        ->type_name("N")
        ->check(CLI::Range(1, int{VELA_RECORDER_MOST_FILES}));
    command->add_flag("--allow-other-users", options->other_users, "add to files that belong to another user, too");
    command->add_flag("--allow-links", options->links, "add to the file that FILE leads to as a symbolic link");
    command->add_option("--count", options->count, "end after this many messages")->type_name("N");
    command->callback([options] { record_messages(*options); });
}

void add_replay(CLI::App &app) {
    CLI::App *command = app.add_subcommand("replay", "Send the messages of a recording again");
    refuse_domain(*command);
    auto options = std::make_shared<replay_options>();
    options->channel.timeout = 5;
    command->add_option("file", options->file, "recording; FILE.1 and so on are read before it")
        ->type_name("FILE")
        ->required();
    add_channel_options(*command, options->channel, outgoing_timeout_help);
    command->add_option("--speed", options->speed, "how many times as fast as recorded, or max; default 1")
        ->type_name("N|max");
    constexpr const char *times = "seconds from the recording's first message, or a time as in 2026-03-29T01:30:00Z";
    command->add_option("--from", options->from, std::string("leave out what is older: ") + times)->type_name("T");
    command->add_option("--to", options->to, std::string("leave out what is of this time or newer: ") + times)
        ->type_name("T");
    command->add_option("--filter", options->filter, "only this message; may be repeated")
        ->type_name("MESSAGE")
        ->allow_extra_args(false);
    command->footer(
        std::string("The messages keep their distances in time, divided by N. A bar shows on a terminal how "
                    "far it is.\nA torn end of the recording is a warning; damage is reported, and the rest "
                    "is sent. Messages that the peer did not confirm are exit code 4.\n\n") +
        exit_codes);
    command->callback([options] { replay(*options); });
}

#ifdef PTPCFG_WITH_AGENT
CLI::App *add_agent_question(CLI::App &agent, const char *name, const char *description,
                             const std::shared_ptr<agent_options> &options) {
    CLI::App *command = agent.add_subcommand(name, description);
    command->add_option("--socket", options->socket, "where the agent answers")
        ->type_name("PATH")
        ->capture_default_str();
    command->callback([options, name] {
        options->question = name;
        ask_agent(*options);
    });
    return command;
}

void add_agent(CLI::App &app) {
    CLI::App *agent = app.add_subcommand("agent", "Ask a running ptp_agent; nothing is changed");
    agent->require_subcommand(1);
    auto options = std::make_shared<agent_options>();
    constexpr const char *json_help = "as JSON, with everything that the agent knows";
    for (const auto &[name, description] :
         {std::pair{"status", "What its clocks, daemons and control planes do"},
          {"events", "What happened last: messages and answers, states, ends of daemons"},
          {"config", "What was asked of it, as XML, and the daemons' files"}}) {
        add_agent_question(*agent, name, description, options)->add_flag("--json", options->json, json_help);
    }
    add_agent_question(*agent, "metrics", "Counters and states as Prometheus reads them", options);
    CLI::App *plan = add_agent_question(*agent, "plan", "What it would do if it were sent these messages", options);
    plan->add_option("files", options->files, "messages as XML or bytes, in the order in which they would be sent")
        ->type_name("FILE")
        ->required();
    add_from_option(*plan, options->from);
    add_reading_options(*plan, options->session);
}

void add_validate(CLI::App &app) {
    CLI::App *command = app.add_subcommand(
        "validate", "Judge a configuration by the rules of its PTP profile and what the agent can do");
    auto options = std::make_shared<validate_options>();
    command->add_option("files", options->files, "messages as XML or bytes, in the order in which they are sent")
        ->type_name("FILE")
        ->required();
    command->add_option("--profile", options->profile, "judge by this profile, not by each clock's own")
        ->type_name("PROFILE")
        ->check(CLI::IsMember(validation_profiles()));
    command->add_flag("--json", options->json, "as JSON: {\"violations\": [{\"object\", \"field\", ...}, ...]}");
    add_from_option(*command, options->from);
    add_domain_option(*command, options->session);
    add_reading_options(*command, options->session);
    command->footer(std::string("Violations are lines on standard output, each with the object, the field, its value, "
                                "what is allowed, why,\nand the clause that says so; they are exit code 1.\n\n") +
                    exit_codes);
    command->callback([options] { validate(*options); });
}
#endif

/** What is wrong with a command line, and where more is said. */
std::string fault_of(const CLI::App &app, const CLI::ParseError &error) {
    if (const std::vector<CLI::App *> parsed = app.get_subcommands(); !parsed.empty()) {
        const std::string name = parsed.front()->get_name();
        return name + ": " + error.what() + "; 'ptpcfg " + name + " --help' says more";
    }
    std::vector<std::string> names;
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; })) {
        names.push_back(command->get_name());
    }
    for (const std::string &word : app.remaining()) {
        if (word.starts_with('-')) {
            return "unknown option " + word + "; 'ptpcfg --help' lists them";
        }
        const std::string hint = suggestion(word, names);
        return "there is no subcommand '" + word + "'" + (hint.empty() ? ";" : hint) +
               " 'ptpcfg --help' lists the subcommands";
    }
    return error.what() + std::string("; 'ptpcfg --help' lists them");
}

}  // namespace

int run_command_line(int argc, char **argv) {
    CLI::App app(
        "Configuration records of PTP clocks: encode, decode, convert, print, describe, send, receive, record and "
        "replay them.",
        "ptpcfg");
    final_statistics statistics;
    add_global_options(app, statistics);
    for (const auto add : {add_encode, add_decode, add_convert, add_print, add_describe, add_schema, add_send,
                           add_listen, add_record, add_replay, add_trace, add_statistics}) {
        add(app);
    }
#ifdef PTPCFG_WITH_AGENT
    add_agent(app);
    add_validate(app);
#endif
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);  // help was asked for
        }
        throw failure(exit_code::usage, fault_of(app, error));
    }
    return 0;
}

}  // namespace ptpcfg
