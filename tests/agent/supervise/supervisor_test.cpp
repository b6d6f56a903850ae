#include "agent/supervise/supervisor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <fstream>

#include "base/clocks.h"
#include "support/surroundings.h"

namespace ptp_agent {
namespace {

using test::run_until;

class Supervised : public testing::Test {
  protected:
    Supervised() {
        options_.stop_timeout_ms = 200;
        options_.first_wait_ms = 20;
        options_.longest_wait_ms = 80;
        options_.stable_ms = 300;
        options_.failing_after = 3;
    }

    std::unique_ptr<Supervisor> make() {
        return std::make_unique<Supervisor>(loop_, options_, [this](ProcessState state, const std::string &why) {
            states_.push_back(state);
            reasons_.push_back(why);
        });
    }

    static std::vector<std::string> shell(const std::string &script) { return {"/bin/sh", "-c", script}; }

    EventLoop loop_;
    SupervisorOptions options_;
    std::vector<ProcessState> states_;
    std::vector<std::string> reasons_;
};

TEST_F(Supervised, RunsAndEndsInOrder) {
    const auto supervisor = make();
    supervisor->start(shell("exec sleep 100"));
    const pid_t process = supervisor->process();
    ASSERT_GT(process, 0);
    supervisor->stop();
    EXPECT_TRUE(run_until(loop_, [&] { return supervisor->state() == ProcessState::Stopped; }));
    EXPECT_EQ(kill(process, 0), -1);
    EXPECT_THAT(states_, testing::ElementsAre(ProcessState::Running, ProcessState::Stopping, ProcessState::Stopped));
    EXPECT_EQ(supervisor->failures(), 0u);
}

TEST_F(Supervised, IsKilledWhenItDoesNotEndAlsoWhenItIsHalted) {
    const auto supervisor = make();
    supervisor->start(shell("trap '' TERM; while :; do sleep 0.01; done"));
    run_until(
        loop_, [] { return false; }, 100);
    kill(supervisor->process(), SIGSTOP);
    const std::uint64_t before = base::clock_ms(CLOCK_MONOTONIC);
    supervisor->stop();
    EXPECT_TRUE(run_until(
        loop_, [&] { return supervisor->state() == ProcessState::Stopped; }, 2000));
    EXPECT_GE(base::clock_ms(CLOCK_MONOTONIC) - before, options_.stop_timeout_ms);
    EXPECT_THAT(reasons_.back(), testing::HasSubstr("signal 9"));
}

TEST_F(Supervised, IsStartedAgainWhenItIsKilled) {
    const auto supervisor = make();
    supervisor->start(shell("exec sleep 100"));
    const pid_t first = supervisor->process();
    kill(first, SIGKILL);
    EXPECT_TRUE(run_until(loop_, [&] { return supervisor->starts() == 2; }));
    EXPECT_NE(supervisor->process(), first);
    EXPECT_EQ(supervisor->state(), ProcessState::Running);
    EXPECT_THAT(supervisor->last_end(), testing::HasSubstr("signal 9"));
}

TEST_F(Supervised, ThatCrashesAllTheTimeIsSaidToFailOnce) {
    const auto supervisor = make();
    supervisor->start(shell("exit 3"));
    EXPECT_TRUE(run_until(loop_, [&] { return supervisor->failures() >= 6; }));
    using enum ProcessState;
    EXPECT_THAT(states_, testing::ElementsAre(Running, Waiting, Running, Waiting, Running, Failing));
    EXPECT_EQ(reasons_.back(), "ended with status 3, 3 times in a row; is tried every 80 ms");
}

TEST_F(Supervised, SaysWhyItEndedInItsOwnLastWords) {
    const auto supervisor = make();
    const auto last_end_of = [&](const std::string &script) {
        const std::uint64_t failures = supervisor->failures();
        supervisor->start(shell(script));
        EXPECT_TRUE(run_until(loop_, [&] { return supervisor->failures() > failures; }));
        supervisor->stop();
        return supervisor->last_end();
    };
    EXPECT_EQ(last_end_of("echo much; echo; echo no such clock >&2; printf 'failed to start'; exit 3"),
              "ended with status 3: no such clock; failed to start");
    EXPECT_EQ(last_end_of("exit 4"), "ended with status 4") << "and not in those of the one before";
    EXPECT_EQ(last_end_of("echo offset 12; kill -9 $$"), "was ended by signal 9 (Killed)") << "which was no reason";
    const std::string flood = last_end_of("head -c 300000 /dev/zero | tr '\\0' x; exit 5");
    EXPECT_THAT(flood, testing::StartsWith("ended with status 5: xxx"));
    EXPECT_LT(flood.size(), 2000u);
}

TEST_F(Supervised, NeverWaitsForWhoReadsItsOutput) {
    const test::TemporaryDirectory directory;
    const std::string mark = directory.path() + "/written";
    const auto supervisor = make();
    supervisor->start(shell("head -c 300000 /dev/zero | tr '\\0' '\\n' 2>/dev/null; : >" + mark + "; exec sleep 100"));
    // The loop does not run: nobody reads.
    for (int i = 0; i < 300 && access(mark.c_str(), F_OK) != 0; ++i) {
        usleep(10'000);
    }
    EXPECT_EQ(access(mark.c_str(), F_OK), 0);
}

TEST_F(Supervised, ThatFailedIsSoundAfterAStableRun) {
    const test::TemporaryDirectory directory;
    const std::string mark = directory.path() + "/sound";
    const auto supervisor = make();
    supervisor->start(shell("[ -e " + mark + " ] || exit 1; exec sleep 100"));
    ASSERT_TRUE(run_until(loop_, [&] { return supervisor->state() == ProcessState::Failing; }));
    std::ofstream(mark) << "x";
    EXPECT_TRUE(run_until(loop_, [&] { return supervisor->state() == ProcessState::Running; }));
    EXPECT_EQ(reasons_.back(), "runs again");
}

TEST_F(Supervised, IsReplacedByAnotherCommand) {
    const auto supervisor = make();
    supervisor->start(shell("exec sleep 100"));
    const pid_t first = supervisor->process();
    supervisor->start(shell("exec sleep 200"));
    EXPECT_TRUE(run_until(loop_, [&] { return supervisor->state() == ProcessState::Running; }));
    EXPECT_NE(supervisor->process(), first);
    EXPECT_EQ(supervisor->failures(), 0u);
}

TEST_F(Supervised, ThatCannotBeRunSaysSo) {
    const auto supervisor = make();
    supervisor->start({"/nowhere/ptp4l"});
    EXPECT_TRUE(run_until(loop_, [&] { return supervisor->failures() > 0; }));
    EXPECT_EQ(supervisor->last_end(), "could not be run (status 127); is it installed, and in PATH?");
}

TEST_F(Supervised, EndsWithItsSupervisorEvenWhenThatIsKilled) {
    int ids[2];
    ASSERT_EQ(pipe(ids), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        EventLoop loop;
        Supervisor supervisor(loop, {}, [](ProcessState, const std::string &) {});
        supervisor.start(shell("exec sleep 100"));
        const pid_t child = supervisor.process();
        (void)!write(ids[1], &child, sizeof child);
        loop.run();
        _exit(0);
    }
    pid_t child = 0;
    ASSERT_EQ(read(ids[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    kill(parent, SIGKILL);
    waitpid(parent, nullptr, 0);
    EXPECT_TRUE(run_until(loop_, [&] {
        // An orphan that ended may stay a zombie until somebody reaps it.
        std::ifstream status("/proc/" + std::to_string(child) + "/stat");
        std::string text;
        std::getline(status, text);
        return text.empty() || text.find(") Z") != std::string::npos;
    }));
}

}  // namespace
}  // namespace ptp_agent
