// Runs the suite: checks every contender, times them all in one process, writes the tables.
//
//     ptp_cfg_bench [--markdown=FILE] [--enforce] [options of Google Benchmark]
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>

#include "harness/contender.h"
#include "harness/report.h"

namespace {

/** Says of every contender that is wrong what is wrong; true when none is. */
bool all_sound() {
    bool sound = true;
    for (const bench::contender &one : bench::contenders()) {
        const std::string fault = one.check();
        if (!fault.empty()) {
            std::cerr << one.scenario << ", " << one.name << ": " << fault << "\n";
            sound = false;
        }
    }
    return sound;
}

void register_all() {
    for (const bench::contender &one : bench::contenders()) {
        for (const bench::work &piece : one.works) {
            benchmark::RegisterBenchmark(bench::benchmark_name(one.scenario, piece.name, one.name).c_str(), piece.run);
        }
    }
}

}  // namespace

int main(int argc, char **argv) {
    // Repetitions of all contenders are mixed, so that what else the machine does disturbs them alike.
    std::vector<std::string> arguments = {argv[0], "--benchmark_repetitions=15", "--benchmark_min_time=0.02",
                                          "--benchmark_enable_random_interleaving=true"};
    std::string markdown;
    bool enforce = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--markdown=", 11) == 0) {
            markdown = argv[i] + 11;
        } else if (std::strcmp(argv[i], "--enforce") == 0) {
            enforce = true;
        } else {
            arguments.emplace_back(argv[i]);
        }
    }
    std::vector<char *> pointers;
    for (std::string &argument : arguments) {
        pointers.push_back(argument.data());
    }
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) {
        return 2;
    }
    if (!all_sound()) {
        return 1;
    }
    register_all();
    bench::report report;
    benchmark::RunSpecifiedBenchmarks(&report);
    benchmark::Shutdown();
    if (markdown.empty()) {
        report.write(std::cout);
    } else {
        std::ofstream file(markdown);
        report.write(file);
        if (!file.flush()) {
            std::cerr << "cannot write " << markdown << "\n";
            return 1;
        }
    }
    return enforce && !report.limits_hold() ? 1 : 0;
}
