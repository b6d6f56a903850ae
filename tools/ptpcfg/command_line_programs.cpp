// Options of the subcommands that look at running programs and judge what is meant for them.
#include "command_options.h"
#include "commands.h"

namespace ptpcfg {
namespace {

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
    set_help_end(*command, {{"ptpcfg trace ptpd.trace", "ptpcfg trace --level error --json ptpd.trace"}, {}});
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
    set_help_end(*command, {{"ptpcfg stats ptp.types", "ptpcfg stats --json ptp.types"}, {}});
    command->callback([options] { show_statistics(*options); });
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
#endif

void add_validate(CLI::App &app) {
    CLI::App *command = app.add_subcommand(
        "validate", "Judge a configuration by the rules of its PTP profile and what the agent can do");
    auto options = std::make_shared<validate_options>();
    command->add_option("files", options->files, "messages in any format, in the order in which they are sent")
        ->type_name("FILE")
        ->required();
#ifdef PTPCFG_WITH_AGENT
    command->add_option("--profile", options->profile, "judge by this profile, not by each clock's own")
        ->type_name("PROFILE")
        ->check(CLI::IsMember(validation_profiles()));
#endif
    command->add_flag("--json", options->json, "as JSON: {\"violations\": [{\"object\", \"field\", ...}, ...]}");
    add_from_option(*command, options->from);
    add_domain_option(*command, options->session);
    add_reading_options(*command, options->session);
    set_help_end(*command,
                 {{"ptpcfg validate clock.xml port.xml",
#ifdef PTPCFG_WITH_AGENT
                   "ptpcfg validate --profile g8275.1 --json clock.bin",
#endif
                   "ptpcfg validate --complete --json clock.bin"},
                  "Violations are lines on standard output, each with the object, the field, its value, what is "
                  "allowed, why, and the clause that says so; they are exit code 1."});
    command->callback([options] { validate(*options); });
}

}  // namespace

void add_program_commands(CLI::App &app) {
    add_trace(app);
    add_statistics(app);
#ifdef PTPCFG_WITH_AGENT
    add_agent(app);
#endif
    add_validate(app);
}

}  // namespace ptpcfg
