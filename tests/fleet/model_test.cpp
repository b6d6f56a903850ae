// Simulated clocks: plausible when nothing is wrong, and what faults make of them.
#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "fault_script.h"
#include "network.h"

using namespace ptp_fleet;
using testing::HasSubstr;

namespace {

constexpr std::uint32_t elements = 60;
constexpr std::uint32_t grandmasters = 2;
constexpr std::uint32_t leaf = elements - 1;

std::vector<fault> script(const std::string &text) {
    const std::string file = std::filesystem::temp_directory_path() / ("faults_" + std::to_string(getpid()) + ".toml");
    std::ofstream(file) << text;
    const std::vector<fault> result = [&] {
        struct removal {
            const std::string &file;
            ~removal() { std::filesystem::remove(file); }
        } const guard{file};
        return read_faults(file, elements);
    }();
    return result;
}

std::string refusal(const std::string &text) {
    try {
        script(text);
    } catch (const std::runtime_error &error) {
        return error.what();
    }
    return "taken";
}

network after(double seconds, std::vector<fault> faults = {}, std::uint64_t seed = 7) {
    network clocks(seed, elements, grandmasters, std::move(faults));
    while (clocks.time() < seconds) {
        clocks.run_second();
    }
    return clocks;
}

TEST(SimulatedClocks, LockToAGrandmasterAndStayWithinHundredsOfNanoseconds) {
    network clocks = after(300);
    for (int second = 0; second < 600; ++second) {
        clocks.run_second();
        for (const element &each : clocks.elements()) {
            ASSERT_EQ(each.state, lock::phase);
            ASSERT_LT(each.best.grandmaster, grandmasters);
            ASSERT_EQ(each.best.clock_class, 6);
            ASSERT_LT(std::abs(each.offset_ns), 200);
        }
    }
    EXPECT_GT(clocks.elements()[leaf].best.steps, 1u);
    EXPECT_NE(clocks.elements()[leaf].offset_ns, 0);
}

TEST(SimulatedClocks, AreTheSameForTheSameSeedAndOthersForAnother) {
    const network one = after(200), same = after(200), other = after(200, {}, 8);
    EXPECT_EQ(one.elements()[leaf].offset_ns, same.elements()[leaf].offset_ns);
    EXPECT_NE(one.elements()[leaf].offset_ns, other.elements()[leaf].offset_ns);
}

TEST(SimulatedFaults, CutLinksLeaveAClockInHoldoverThatDriftsAndComesBack) {
    const auto faults =
        script("[[fault]]\nkind = \"link_cut\"\nlink = \"both\"\nat = 300\nlasts = 1500\nelement = 59\n");
    const network cut = after(1700, faults);
    EXPECT_EQ(cut.elements()[leaf].state, lock::holdover);
    EXPECT_EQ(cut.elements()[leaf].best.clock_class, 140);
    EXPECT_EQ(cut.elements()[leaf].parent, leaf);
    EXPECT_GT(std::abs(cut.elements()[leaf].crystal.phase_ns()), 50) << "a crystal that nothing steers drifts";
    const network healed = after(1900, faults);
    EXPECT_EQ(healed.elements()[leaf].state, lock::phase);
    EXPECT_LT(std::abs(healed.elements()[leaf].crystal.phase_ns()), 300);
}

TEST(SimulatedFaults, OneCutLinkIsTheOthersTurn) {
    const auto faults = script("[[fault]]\nkind = \"link_cut\"\nat = 300\nelement = 59\n");
    const std::uint32_t before = after(290).elements()[leaf].parent;
    const network now = after(320, faults);
    EXPECT_NE(now.elements()[leaf].parent, before);
    EXPECT_NE(now.elements()[leaf].parent, leaf);
}

TEST(SimulatedFaults, AGrandmasterWithoutSatellitesLosesItsClocksToTheOther) {
    const auto faults = script("[[fault]]\nkind = \"grandmaster_loss\"\nat = 300\nelement = 0\n");
    const network clocks = after(330, faults);
    EXPECT_EQ(clocks.elements()[0].state, lock::holdover);
    EXPECT_EQ(clocks.elements()[0].own.clock_class, 7);
    EXPECT_EQ(clocks.elements()[1].own.clock_class, 6);
    const auto both = script("[[fault]]\nkind = \"grandmaster_loss\"\nat = 300\nelement = [0, 1]\n");
    const network holding = after(330, both);
    EXPECT_EQ(holding.elements()[leaf].best.clock_class, 7) << "holdover within specification is still followed";
    EXPECT_EQ(holding.elements()[leaf].state, lock::phase);
}

TEST(SimulatedFaults, AWrongPriorityMakesABadClockTheGrandmasterOfItsBranch) {
    const auto faults = script("[[fault]]\nkind = \"wrong_priority\"\npriority1 = 1\nat = 300\nelement = 2\n");
    const network clocks = after(310, faults);
    EXPECT_EQ(clocks.elements()[2].best.grandmaster, 2u);
    EXPECT_EQ(clocks.elements()[4].best.grandmaster, 2u) << "what follows it follows it there";
    EXPECT_NE(clocks.elements()[4].state, lock::phase);
}

TEST(SimulatedFaults, StepsFlappingAndSilenceHappenWhenTheScriptSaysSo) {
    const auto faults = script(
        "[[fault]]\nkind = \"clock_step\"\nstep_ns = -5e6\nat = 300\nelement = 10\n"
        "[[fault]]\nkind = \"flapping\"\nlink = \"both\"\nperiod = 10\nat = 300\nelement = 11\n"
        "[[fault]]\nkind = \"silent\"\nat = 300\nlasts = 5\nelement = 12\n");
    network clocks = after(300, faults);
    int steps = 0, silent = 0, changes = 0;
    for (int second = 0; second < 100; ++second) {
        clocks.run_second();
        steps += clocks.elements()[10].stepped_ns != 0 ? 1 : 0;
        silent += clocks.elements()[12].is_silent ? 1 : 0;
        changes += clocks.elements()[11].has_changed_master ? 1 : 0;
    }
    EXPECT_EQ(steps, 1);
    EXPECT_EQ(silent, 5);
    EXPECT_EQ(changes, 20);
    EXPECT_EQ(clocks.elements()[10].state, lock::phase) << "after a step it pulls in again";
}

TEST(FaultScript, RefusesWhatItDoesNotUnderstandWithItsLine) {
    EXPECT_THAT(refusal("[[fault]]\nkind = \"rain\"\nat = 1\nelement = 1\n"),
                HasSubstr(".toml:2: kind is one of link_cut"));
    EXPECT_THAT(refusal("[[fault]]\nkind = \"silent\"\nat = 1\n"), HasSubstr("a fault has kind, at and element"));
    EXPECT_THAT(refusal("[[fault]]\nkind = \"silent\"\nat = 1\nelement = 60\n"),
                HasSubstr(":4: give a number from 0 to 59"));
    EXPECT_THAT(refusal("[[fault]]\nkind = \"clock_step\"\nat = 1\nelement = 1\n"),
                HasSubstr("clock_step has step_ns"));
    EXPECT_THAT(refusal("[[fault]]\nkind = \"silent\"\nat = 1\nelement = 1\nlast = 3\n"),
                HasSubstr("'last' is no key"));
    EXPECT_THAT(refusal("[[faults]]\nkind = \"silent\"\n"), HasSubstr("[[fault]] tables alone"));
    EXPECT_THAT(refusal("[[fault]\n"), HasSubstr(".toml:1: "));
}

}  // namespace
