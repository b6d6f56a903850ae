// How a benchmark enters the suite: each contender's file holds one file-scope `contender`.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/** One piece of work that is timed. Contenders that do the same work call it by the same name. */
struct work {
    std::string name;
    std::function<void(benchmark::State &)> run;
};

/** One way of doing a scenario's work. */
struct contender {
    /**
     * @param check  run once, before anything is timed: says what is wrong with the contender's results, or nothing.
     *               A contender that is wrong ends the suite.
     */
    contender(std::string scenario_name, std::string contender_name, std::function<std::string()> check_results,
              std::vector<work> works_to_time);

    std::string scenario;
    std::string name;
    std::function<std::string()> check;
    std::vector<work> works;
};

/** All contenders, in the order of the build. */
std::vector<contender> &contenders();

/** Times an expression that fills memory: the compiler may neither drop nor foresee any of it. */
template <class Step>
void repeat(benchmark::State &state, Step &&step) {
    for ([[maybe_unused]] auto _ : state) {
        auto result = step();
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
    }
}

/** The same where one step does the work of `batch` iterations. */
template <class Step>
void repeat_batch(benchmark::State &state, std::int64_t batch, Step &&step) {
    while (state.KeepRunningBatch(batch)) {
        auto result = step();
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
    }
}

/** A contender's own fixture, made when it is first asked for. */
template <class Fixture>
Fixture &own() {
    static Fixture it;
    return it;
}

/** Times `step` with a fixture. */
template <class Fixture, class Step>
work timed(std::string name, Fixture &(*fixture)(), Step step) {
    return {std::move(name), [fixture, step](benchmark::State &state) {
                Fixture &f = fixture();
                repeat(state, [&] { return step(f); });
            }};
}

inline std::vector<work> operator+(std::vector<work> first, const std::vector<work> &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

}  // namespace bench
