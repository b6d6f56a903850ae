// Options of the subcommands that send and receive.
#include "command_options.h"
#include "commands.h"
#include "filter.h"
#include "vela_recorder.h"

namespace ptpcfg {
namespace {

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
    command.add_flag("--connect", options.connect, "connect to who listens there, and take what it sends");
    command
        .add_option("--idle-limit", options.idle_limit,
                    "when all 64 places are taken, a new connection gets that of one from which no message came in "
                    "this time; default 3")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 4e6));
}

constexpr const char *outgoing_timeout_help =
    "longest time without a peer, or in which the peer takes or confirms nothing; default 5";

void add_damage_options(CLI::App &command, damage_options &options) {
    const auto repeated = [&](const char *name, std::vector<std::string> &values, const char *form, const char *help) {
        command.add_option(name, values, help)
            ->type_name(form)
            ->allow_extra_args(false)
            ->group("Damage, for tests of what receives");
    };
    repeated("--byte", options.bytes, "OFFSET=VALUE", "put this byte in each message; may be repeated");
    repeated("--flip", options.flips, "OFFSET.BIT", "turn this bit of each message round; may be repeated");
    command.add_option("--truncate", options.truncate, "leave so many bytes of each message, or cut off -N")
        ->type_name("N")
        ->group("Damage, for tests of what receives");
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
    add_damage_options(*command, options->damage);
    command->add_flag("--tracked", options->session.tracked, "write state flags, as state attributes give them");
    set_help_end(*command, {{"ptpcfg send unix:/run/ptp.sock clock.xml port.json",
                             "ptpcfg send --domain ptp_port=0 unix:/run/ptp.sock port.xml",
                             "ptpcfg send --truncate -4 --flip 50.7 unix:/run/ptp.sock clock.bin"},
                            "It ends when the peer has read every message, or fails with exit code 4 and the number of "
                            "those that it did not confirm."});
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
    CLI::Option *json = command->add_flag("--json", options->json,
                                          "an object on each line: {\"time\", \"peer\", \"channel\", \"message\"}");
    json->excludes(command->get_option("--to"));
    command->add_option("--filter", options->filter, filter_help)->type_name("EXPRESSION");
    command->add_option("--count", options->count, "end after this many messages")->type_name("N");
    add_domain_option(*command, options->session);
    set_help_end(*command, {{"ptpcfg listen unix:/run/ptp.sock",
                             "ptpcfg listen unix:/run/ptp.sock --json --filter 'ptp_clock_cfg and priority1<129'",
                             "ptpcfg listen unix:/run/ptp.sock --record log.xml --count 2"},
                            {}});
    command->callback([options] { listen(*options); });
}

void add_record(CLI::App &app) {
    CLI::App *command =
        app.add_subcommand("record", "Receive messages at a channel and keep their bytes with the time");
    refuse_domain(*command);
    auto options = std::make_shared<record_options>();
    add_receiving_options(*command, options->channel);
    command
        ->add_option("file", options->file,
                     "recording, or capture (.pcapng), to add to; replay, decode, print, diff and get read it")
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
    set_help_end(*command,
                 {{"ptpcfg record unix:/run/ptp.sock ptp.rec", "ptpcfg record unix:/run/ptp.sock ptp.pcapng --count 10",
                   "ptpcfg record unix:/run/ptp.sock ptp.rec --max-size 64M --files 4"},
                  {}});
    command->callback([options] { record_messages(*options); });
}

void add_replay(CLI::App &app) {
    CLI::App *command = app.add_subcommand("replay", "Send the messages of a recording again");
    refuse_domain(*command);
    auto options = std::make_shared<replay_options>();
    options->channel.timeout = 5;
    command
        ->add_option("file", options->file,
                     "recording, of which FILE.1 and so on are read before it, or capture (pcapng)")
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
    set_help_end(*command, {{"ptpcfg replay ptp.rec unix:/run/ptp.sock",
                             "ptpcfg replay ptp.rec unix:/run/ptp.sock --from 10 --speed max --filter ptp_clock_cfg"},
                            "The messages keep their distances in time, divided by N. A bar shows on a terminal how "
                            "far it is. A torn end of the recording is a warning; damage is reported, and the rest is "
                            "sent. Messages that the peer did not confirm are exit code 4."});
    command->callback([options] { replay(*options); });
}

void add_top(CLI::App &app) {
    CLI::App *command = app.add_subcommand("top", "Show what arrives at a channel, how often, and the last values");
    refuse_domain(*command);
    auto options = std::make_shared<top_options>();
    add_receiving_options(*command, options->channel);
    command->add_option("--interval", options->interval, "time between two pictures; default 1")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.05, 3600.0));
    command->add_option("--filter", options->filter, filter_help)->type_name("EXPRESSION");
    command->add_option("--count", options->count, "end after this many messages")->type_name("N");
    set_help_end(*command, {{"ptpcfg top unix:/run/ptp.sock", "ptpcfg top unix:/run/ptp.sock --interval 0.5 --count 3"},
                            "On a terminal the picture is drawn again and again; elsewhere each interval gives a line "
                            "for each message that came. Values that changed last stand first."});
    command->callback([options] { top(*options); });
}

void add_shell(CLI::App &app) {
    CLI::App *command = app.add_subcommand("shell", "Make, send and receive messages, command by command");
    refuse_domain(*command);
    auto options = std::make_shared<shell_options>();
    options->channel.timeout = 5;
    add_channel_options(*command, options->channel, outgoing_timeout_help);
    set_help_end(
        *command,
        {{"ptpcfg shell unix:/run/ptp.sock",
          "printf 'load clock.xml\\nset priority1=1\\nsend\\n' | ptpcfg shell unix:/run/ptp.sock"},
         "The command help lists the commands. On a terminal lines can be edited, and the tabulator key completes "
         "them. Elsewhere the first command that fails ends it, with that fault's exit code."});
    command->callback([options] { shell(*options); });
}

}  // namespace

void add_channel_commands(CLI::App &app) {
    for (const auto add : {add_send, add_listen, add_record, add_replay, add_top, add_shell}) {
        add(app);
    }
}

}  // namespace ptpcfg
