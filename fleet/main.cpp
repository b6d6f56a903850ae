// ptp_fleet: what there is for many elements at once.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "prepare.h"
#include "run/run.h"
#include "simulate/simulate.h"

namespace {

void add_simulate(CLI::App &app, ptp_fleet::simulation_options &options) {
    CLI::App *command = app.add_subcommand("simulate", "Simulate clocks and report as their elements would");
    command->add_option("--elements", options.elements, "how many")
        ->check(CLI::Range(1, 1'000'000))
        ->capture_default_str();
    command->add_option("--grandmasters", options.grandmasters, "those of them with a satellite receiver")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    command->add_option("--seed", options.seed, "the same seed and script give the same reports")
        ->capture_default_str();
    command->add_option("--script", options.script, "faults, a TOML file")->check(CLI::ExistingFile);
    command->add_option("--seconds", options.seconds, "simulated time; until a signal comes if not given")
        ->check(CLI::Range(0.0, 1e9));
    command->add_option("--speed", options.speed, "simulated seconds a second; 0: as fast as it goes")
        ->check(CLI::Range(0.0, 1e6))
        ->capture_default_str();
    command->add_option("--full-every", options.full_every, "seconds after which an element reports everything again")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    command->add_option("--start", options.start_ns, "time of the start, nanoseconds since 1970; now if not given");
    CLI::Option_group *where = command->add_option_group("where the reports go");
    where->add_option("--to", options.to, "nats://HOST:PORT/PREFIX: element N publishes on PREFIX.simN.0.MESSAGE");
    where->add_option("--record", options.record, "a recording, for ptpcfg; a record's source is its element");
    where->require_option(1);
    command->callback(
        [&options] { std::printf("%llu reports\n", static_cast<unsigned long long>(ptp_fleet::simulate(options))); });
}

void add_prepare(CLI::App &app, ptp_fleet::stream_options &options) {
    CLI::App *command = app.add_subcommand("prepare", "Make the stream that keeps what elements publish, or change it");
    command->add_option("uri", options.uri, "nats://HOST:PORT/PREFIX: it takes all subjects that begin with PREFIX")
        ->required();
    command->add_option("--name", options.name, "of the stream")->capture_default_str();
    command->add_option("--replicas", options.replicas, "servers that have each message")
        ->check(CLI::Range(1, 5))
        ->capture_default_str();
    command->add_option("--max-bytes", options.max_bytes, "of disk, after which the oldest messages go")
        ->transform(CLI::AsSizeValue(false))
        ->capture_default_str();
    command->add_option("--max-hours", options.max_hours, "after which a message goes")
        ->check(CLI::Range(0.1, 1e5))
        ->capture_default_str();
    command->add_option("--duplicate-minutes", options.duplicate_minutes, "for which an id is known, and taken once")
        ->check(CLI::Range(0.1, 1440.0))
        ->capture_default_str();
    command->callback([&options] { ptp_fleet::prepare_stream(options); });
}

void add_run(CLI::App &app, std::string &file) {
    CLI::App *command = app.add_subcommand("run", "Collect what elements say, keep it, judge it and show it");
    command->add_option("--config", file, "a TOML file")->check(CLI::ExistingFile);
    command->callback([&file] { ptp_fleet::run(ptp_fleet::read_configuration(file)); });
}

struct file_pair {
    std::string from, to;
};

void add_copies(CLI::App &app, file_pair &files) {
    CLI::App *backup = app.add_subcommand("backup", "Copy a store, also while it is written");
    backup->add_option("database", files.from, "the store")->required()->check(CLI::ExistingFile);
    backup->add_option("copy", files.to, "the file to make")->required();
    backup->callback([&files] { ptp_fleet::back_up(files.from, files.to); });
    CLI::App *restore = app.add_subcommand("restore", "Check a copy and make a store of it, with no collector running");
    restore->add_option("copy", files.from, "made by ptp_fleet backup")->required()->check(CLI::ExistingFile);
    restore->add_option("database", files.to, "the store to make")->required();
    restore->callback([&files] { ptp_fleet::restore(files.from, files.to); });
}

}  // namespace

int main(int argc, char **argv) try {
    CLI::App app("Clocks of many elements");
    app.require_subcommand(1);
    ptp_fleet::simulation_options simulation;
    add_simulate(app, simulation);
    ptp_fleet::stream_options stream;
    add_prepare(app, stream);
    std::string configuration;
    add_run(app, configuration);
    file_pair files;
    add_copies(app, files);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &wrong) {
        return app.exit(wrong) == 0 ? 0 : 2;
    }
    return 0;
} catch (const std::runtime_error &error) {
    std::fprintf(stderr, "ptp_fleet: %s\n", error.what());
    return 1;
}
