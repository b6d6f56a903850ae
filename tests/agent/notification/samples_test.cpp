// What a node with several clocks, some of them unknown, may say of itself.
#include "agent/notification/samples.h"

#include <gtest/gtest.h>

namespace notification_test {
namespace {

using namespace ptp_agent::notification;

ClockState clock_of(const std::string &name, std::optional<LockState> lock, std::optional<std::uint8_t> clock_class,
                    std::uint64_t wall_ns = 1) {
    ClockState clock{name, {}, {}, {}};
    if (lock) {
        clock.lock_state = Reading<LockState>{*lock, wall_ns};
    }
    if (clock_class) {
        clock.clock_class = Reading<std::uint8_t>{*clock_class, wall_ns};
    }
    return clock;
}

/** The values of a resource as CLOCK=TEXT; empty where it has no sample. */
std::string said_of(Resource resource, const NodeState &state) {
    const std::optional<Sample> sample = samples_of(state, ResourceSet().set())[static_cast<std::size_t>(resource)];
    std::string text;
    for (const Value &value : sample ? sample->values : std::vector<Value>()) {
        text.append(text.empty() ? "" : " ").append(value.clock).append("=").append(value.text);
    }
    return text;
}

TEST(Samples, GiveTheWorstOfSeveralClocksAndThenEach) {
    NodeState state{{clock_of("a", LockState::Locked, 6), clock_of("b", LockState::Holdover, 165, 9)}, {}, {}};
    state.clocks[0].offset_ns = Reading<double>{0.0004, 1};
    EXPECT_EQ(said_of(Resource::LockState, state), "=HOLDOVER a=LOCKED a=0 b=HOLDOVER");
    EXPECT_EQ(said_of(Resource::ClockClass, state), "=165 a=6 b=165");
    EXPECT_EQ(samples_of(state, ResourceSet().set())[2]->wall_ns, 9u) << "the latest of its readings";
}

TEST(Samples, ClaimNothingThatAnUnknownPartCouldMakeWrong) {
    const std::optional<Reading<OsClockState>> os_locked = Reading<OsClockState>{OsClockState::Locked, 1};
    const NodeState half_known{{clock_of("a", LockState::Locked, 6), clock_of("b", {}, {})}, os_locked, {}};
    EXPECT_EQ(said_of(Resource::LockState, half_known), "");
    EXPECT_EQ(said_of(Resource::ClockClass, half_known), "");
    EXPECT_EQ(said_of(Resource::SyncState, half_known), "");

    const NodeState surely_bad{{clock_of("a", LockState::Freerun, 248), clock_of("b", {}, {})}, {}, {}};
    EXPECT_EQ(said_of(Resource::LockState, surely_bad), "=FREERUN a=FREERUN");
    EXPECT_EQ(said_of(Resource::SyncState, surely_bad), "=FREERUN") << "whatever the operating system's clock does";

    const NodeState no_clock{{}, os_locked, {}};
    EXPECT_EQ(said_of(Resource::SyncState, no_clock) + said_of(Resource::LockState, no_clock), "");
}

}  // namespace
}  // namespace notification_test
