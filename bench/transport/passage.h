// What all contenders of the transport scenarios do: pass one clock message, or a bundle of them, from one end to the
// other, in one thread, so that no scheduler is measured.
#pragma once

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "harness/contender.h"
#include "velalib.h"

namespace bench {

/** Messages in a bundle. */
constexpr u_int32 bundle_messages = 64;

/** Times each call of `step` by itself and reports the usual one, and those that only few exceed, in nanoseconds. */
template <class Step>
void time_each(benchmark::State &state, Step &&step) {
    static std::vector<double> times;
    times.clear();
    times.reserve(1 << 20);
    for ([[maybe_unused]] auto _ : state) {
        const auto from = std::chrono::steady_clock::now();
        auto result = step();
        benchmark::DoNotOptimize(result);
        times.push_back(std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - from).count());
    }
    std::sort(times.begin(), times.end());
    for (const auto &[name, share] : {std::pair{"p50", 0.5}, {"p99", 0.99}, {"p99.9", 0.999}}) {
        state.counters[name] = times[static_cast<size_t>(static_cast<double>(times.size() - 1) * share)];
    }
}

/**
 * The works of a passage.
 * @param single  passes one message and returns what arrived
 * @param bundle  passes a bundle of bundle_messages
 */
template <class Single, class Bundle>
std::vector<work> passage_works(Single single, Bundle bundle) {
    return {
        {"single message", [single](benchmark::State &state) { repeat(state, single); }},
        {"message of a bundle", [bundle](benchmark::State &state) { repeat_batch(state, bundle_messages, bundle); }},
        {"single message, each timed", [single](benchmark::State &state) { time_each(state, single); }},
        {"bundle of 64, each timed", [bundle](benchmark::State &state) { time_each(state, bundle); }}};
}

}  // namespace bench
