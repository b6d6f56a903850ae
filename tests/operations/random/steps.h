// Random sequences of operations on a few instances, and the shortest sequence that still fails.
#pragma once

#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "recording_handle.h"

namespace ptp_cfg_test {

/** What can be done with one of the instances. */
enum class action : u_int8 { create, destroy, set_value, set_flag, set_whole_flag, copy, decode, switch_tracking };
constexpr u_int32 action_count = 8;

/** One operation. Its numbers are taken modulo what there is, so that every part of a sequence is a sequence. */
struct step {
    action what = action::create;
    u_int32 slot = 0;
    u_int32 other = 0;  // type to create, or slot to copy from
    u_int32 place = 0;  // value or flag among those of the instance
    u_int64 value = 0;
};
using steps = std::vector<step>;

inline steps random_steps(u_int64 seed, size_t count) {
    std::mt19937_64 random(seed);
    // Creating seldom, so that instances live through much.
    std::discrete_distribution<u_int32> what({6, 2, 40, 15, 8, 8, 8, 3});
    steps result(count);
    for (step &each : result) {
        const auto number = [&] { return static_cast<u_int32>(random()); };
        each = {static_cast<action>(what(random)), number(), number(), number(), random()};
    }
    return result;
}

/** Runs a sequence; tells what went wrong. */
using trial = std::function<std::optional<std::string>(const steps &)>;

/** Leaves out what the failure does not need: halves first, single steps at last. */
inline steps shortest_failing(steps failing, const trial &run) {
    for (size_t part = failing.size() / 2; part > 0;) {
        bool is_shorter = false;
        for (size_t first = 0; first + part <= failing.size();) {
            steps fewer = failing;
            const auto begin = fewer.begin() + static_cast<ptrdiff_t>(first);
            fewer.erase(begin, begin + static_cast<ptrdiff_t>(part));
            if (run(fewer).has_value()) {
                failing = fewer;
                is_shorter = true;
            } else {
                first += part;
            }
        }
        part = is_shorter && part == 1 ? 1 : part / 2;
    }
    return failing;
}

}  // namespace ptp_cfg_test
