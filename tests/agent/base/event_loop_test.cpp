#include "agent/base/event_loop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>

#include "base/clocks.h"
#include "base/file_descriptor.h"
#include "support/surroundings.h"

namespace ptp_agent {
namespace {

using test::run_until;

class Loop : public testing::Test {
  protected:
    void run_for(std::uint64_t duration_ms) {
        run_until(
            loop_, [] { return false; }, duration_ms);
    }

    EventLoop loop_;
};

TEST_F(Loop, SourcesMayEndThemselvesAndOthersFromWithinTheirCallbacks) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const base::file_descriptor reading(ends[0]), writing(ends[1]);
    ASSERT_EQ(write(writing.get(), "x", 1), 1);
    int calls = 0;
    EventSource one, other;
    // Both are due at once: whichever comes first is the only one. What it captured lives to its end.
    const auto end_both = [&, text = std::string(100, 'x')](std::uint32_t) {
        one.reset();
        other.reset();
        calls += text == std::string(100, 'x') ? 1 : 100;
    };
    one = loop_.watch(reading.get(), EPOLLIN, end_both);
    const base::file_descriptor again(dup(reading.get()));
    other = loop_.watch(again.get(), EPOLLIN, end_both);
    run_for(30);
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(one || other);
}

TEST_F(Loop, SourceIsMovedWithItsCallback) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const base::file_descriptor reading(ends[0]);
    base::file_descriptor writing(ends[1]);
    std::vector<EventSource> sources;
    int calls = 0;
    sources.push_back(loop_.watch(reading.get(), EPOLLIN, [&](std::uint32_t events) {
        calls += (events & EPOLLHUP) != 0 ? 1 : 0;
        sources.clear();
    }));
    for (int i = 0; i < 20; ++i) {
        sources.insert(sources.begin(), EventSource());
    }
    ASSERT_TRUE(writing.close());
    EXPECT_TRUE(run_until(loop_, [&] { return calls == 1; }));
}

TEST_F(Loop, TimersFireOnceEachTimeTheyAreStartedAndNeverEarly) {
    std::vector<std::uint64_t> times;
    const auto now = [] { return base::clock_ms(CLOCK_MONOTONIC); };
    Timer timer(loop_, [&] { times.push_back(now()); });
    run_for(20);
    EXPECT_TRUE(times.empty()) << "nobody started it";
    const std::uint64_t start = now();
    timer.start_ms(500);
    timer.start_ms(30);
    EXPECT_TRUE(timer.is_running());
    ASSERT_TRUE(run_until(loop_, [&] { return !times.empty(); }));
    EXPECT_GE(times[0], start + 29);
    EXPECT_LT(times[0], start + 400) << "the later start holds";
    EXPECT_FALSE(timer.is_running());
    timer.start_ms(10);
    timer.stop();
    run_for(40);
    EXPECT_EQ(times.size(), 1u);
}

TEST_F(Loop, TimerMayStartItselfAgainOrEndItself) {
    int fired = 0;
    Timer again(loop_, [&] {
        if (++fired < 5) {
            again.start_ms(0);
        }
    });
    again.start_ms(0);
    EXPECT_TRUE(run_until(loop_, [&] { return fired == 5; }));
    std::unique_ptr<Timer> last;
    last = std::make_unique<Timer>(loop_, [&] {
        last.reset();
        ++fired;
    });
    last->start_ms(0);
    EXPECT_TRUE(run_until(loop_, [&] { return fired == 6; }));
    EXPECT_EQ(last, nullptr);
}

TEST_F(Loop, TellsHowAChildEnded) {
    const auto end_of = [this](const std::function<void()> &child) {
        const pid_t process = fork();
        if (process == 0) {
            child();
            _exit(100);
        }
        std::optional<ChildEnd> end;
        const EventSource source = loop_.watch_child(process, [&](ChildEnd how) { end = how; });
        EXPECT_TRUE(run_until(loop_, [&] { return end.has_value(); }));
        EXPECT_EQ(waitpid(process, nullptr, WNOHANG), -1) << "it is reaped";
        return end.value_or(ChildEnd());
    };
    const ChildEnd exited = end_of([] { _exit(254); });
    EXPECT_FALSE(exited.signalled);
    EXPECT_EQ(exited.value, 254);
    const ChildEnd killed = end_of([] { raise(SIGKILL); });
    EXPECT_TRUE(killed.signalled);
    EXPECT_EQ(killed.value, SIGKILL);
}

TEST_F(Loop, GetsSignalsAsEventsAndEndsWithACode) {
    const EventSource source = loop_.watch_signal(SIGUSR1, [this] { loop_.exit(7); });
    raise(SIGUSR1);
    EXPECT_EQ(loop_.run(), 7);
    EXPECT_FALSE(loop_.run_once(0));
}

TEST_F(Loop, SaysWhatItCannotWatch) {
    try {
        loop_.watch(-1, EPOLLIN, [](std::uint32_t) {});
        FAIL() << "a descriptor that is none";
    } catch (const std::system_error &error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("watch a descriptor"));
    }
}

}  // namespace
}  // namespace ptp_agent
