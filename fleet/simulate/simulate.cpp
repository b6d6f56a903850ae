// The simulated seconds, as fast as they are wanted.
#include "simulate.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include "base/clocks.h"
#include "network.h"
#include "report_maker.h"
#include "sinks.h"

namespace ptp_fleet {
namespace {

volatile std::sig_atomic_t is_stopped = 0;

void stop(int) { is_stopped = 1; }

std::unique_ptr<report_sink> make_sink(const simulation_options &options, std::uint64_t start_ns) {
    if (!options.record.empty()) {
        return make_recording(options.record);
    }
    char boot[40];
    std::snprintf(boot, sizeof boot, "%llx.%llx", static_cast<unsigned long long>(options.seed),
                  static_cast<unsigned long long>(start_ns));
    return make_stream(options.to, boot, options.elements);
}

}  // namespace

std::uint64_t simulate(const simulation_options &options) {
    std::signal(SIGINT, stop);
    std::signal(SIGTERM, stop);
    const std::uint64_t start_ns = options.start_ns != 0 ? options.start_ns : base::clock_ns(CLOCK_REALTIME);
    network clocks(options.seed, options.elements, options.grandmasters,
                   options.script.empty() ? std::vector<fault>() : read_faults(options.script, options.elements));
    report_maker reports(options.elements, options.full_every, start_ns);
    const std::unique_ptr<report_sink> sink = make_sink(options, start_ns);
    const auto began = std::chrono::steady_clock::now();
    std::uint64_t count = 0;
    while (is_stopped == 0 && (options.seconds == 0 || clocks.time() < options.seconds)) {
        clocks.run_second();
        const std::uint64_t now_ns = start_ns + static_cast<std::uint64_t>(clocks.time()) * 1'000'000'000;
        reports.report_second(clocks, [&](const report &one) {
            sink->take(one, now_ns);
            ++count;
        });
        if (options.speed > 0) {
            std::this_thread::sleep_until(began + std::chrono::duration<double>(clocks.time() / options.speed));
        }
    }
    sink->finish();
    return count;
}

}  // namespace ptp_fleet
