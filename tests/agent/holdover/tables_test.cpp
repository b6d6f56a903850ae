// The tables behind the states: which clock class a state announces, and for how long an oscillator keeps to its bound.
#include <gtest/gtest.h>

#include "agent/holdover/clock_classes.h"
#include "agent/holdover/holdover.h"

namespace ptp_agent::test {
namespace {

using enum LockState;

constexpr std::uint64_t second = 1'000'000'000;

TEST(ClockClasses, GrowWorseWithTheState) {
    for (const bool is_telecom : {false, true}) {
        for (const ClockRole role : {ClockRole::Grandmaster, ClockRole::Follower}) {
            int before = 0;
            for (const LockState state : {Locked, HoldoverInSpec, HoldoverOutOfSpec, Acquiring, FreeRun}) {
                for (const std::uint8_t category : {1, 2, 3}) {
                    const ClassRow *row = class_row(is_telecom, true, role, state, category);
                    EXPECT_GE(row == nullptr ? 248 : row->clock_class, row == nullptr ? 0 : before);
                    before = row == nullptr ? before : row->clock_class;
                }
            }
        }
    }
}

TEST(Oscillator, SaysWhenTheErrorLeavesTheSpecification) {
    HoldoverModel model;
    model.initial_error_ns = 0;
    model.drift_ppb = 1;
    model.aging_ppb_per_hour = 3.6;
    model.temperature_ppb_per_kelvin = 0.5;
    model.temperature_range_kelvin = 2;
    EXPECT_EQ(expected_error_ns(model, 100 * second), 205) << "2 ns a second, and aging of 1e-3 ns/s^2: 5 ns";
    const std::uint64_t inside = time_in_specification_ns(model);
    EXPECT_LE(expected_error_ns(model, inside), model.specification_ns);
    EXPECT_GT(expected_error_ns(model, inside + second), model.specification_ns);
    model.drift_ppb = model.aging_ppb_per_hour = model.temperature_range_kelvin = 0;
    EXPECT_EQ(time_in_specification_ns(model), UINT64_MAX);
}

}  // namespace
}  // namespace ptp_agent::test
