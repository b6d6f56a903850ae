// replay: what was recorded is sent again when and as it is wanted.
#include <gmock/gmock.h>

#include <chrono>

#include "recording_fixture.h"

using testing::HasSubstr;

namespace {

class selecting : public recording {
  protected:
    /** Five messages, each known by its mark; one second apart, from noon. */
    void SetUp() override {
        recording::SetUp();
        std::vector<entry> entries;
        for (u_int8 i = 0; i < 5; ++i) {
            entries.push_back({noon + i * second, unknown_message(i), 0});
        }
        make("in.rec", entries);
    }
    /** The marks of what arrives at a recorder. */
    static std::string marks(const std::string &options, int count) {
        sh("rm -f out.rec");
        const outcome result = with_recorder("--timeout 20 --count " + std::to_string(count),
                                             "ptpcfg replay in.rec unix:$PWD/s --speed max " + options);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        std::string text;
        for (const entry &each : load("out.rec")) {
            text += static_cast<char>('0' + each.bytes.back());
        }
        return text;
    }
};

TEST_F(selecting, by_time) {
    EXPECT_EQ(marks("", 5), "01234");
    EXPECT_EQ(marks("--from 2", 3), "234");
    EXPECT_EQ(marks("--to 2", 2), "01") << "what is of that time is left out, so that ranges join";
    EXPECT_EQ(marks("--from 0.999999999 --to 3.000000001", 3), "123");
    EXPECT_EQ(marks("--from 2026-01-09T12:00:03Z", 2), "34");
    EXPECT_EQ(marks("--from 2026-01-09T13:00:01.5+01:00 --to 2026-01-09t06:30:04-05:30", 2), "23");
    EXPECT_EQ(marks("--from 1 --to 2026-01-09T12:00:02Z", 1), "1");

    const outcome nothing = sh("ptpcfg replay in.rec unix:$PWD/s --from 5");
    EXPECT_EQ(nothing.status, 1);
    EXPECT_THAT(nothing.err, HasSubstr("none of its 5 messages is selected"));
    for (const char *wrong : {"yesterday", "2026-02-29T00:00:00Z", "2026-01-09T12:00:00", "2026-01-09", "1.", "-1",
                              "1s", "2026-01-09T24:00:00Z", "2026-01-09T12:00:00+0100", "1969-12-31T23:59:59Z", "''",
                              "99999999999", "2600-01-01T00:00:00Z"}) {
        const outcome refused = sh(std::string("ptpcfg replay in.rec unix:$PWD/s --from=") + wrong);
        EXPECT_EQ(refused.status, 2) << wrong;
    }
}

TEST_F(selecting, by_message) {
    sh("ptpcfg encode $CLOCKS/delete_clock.xml -o a; ptpcfg encode $CLOCKS/modify_priority.xml -o b; rm in.rec");
    make("in.rec", {{1, read("a"), 0}, {2, read("b"), 0}, {3, unknown_message(9), 0}, {4, read("a"), 0}});
    EXPECT_EQ(replay("--filter ptp_clock_delete_cmd", "2").out, read("a") + read("a"));
    EXPECT_EQ(replay("--filter ptp_clock_modify_cmd_message --filter ptp_clock_delete_cmd", "3").out,
              read("a") + read("b") + read("a"));
    const outcome typing_error = sh("ptpcfg replay in.rec unix:$PWD/s --filter ptp_clock_deleted_cmd");
    EXPECT_EQ(typing_error.status, 2);
    EXPECT_THAT(typing_error.err, HasSubstr("did you mean ptp_clock_delete_cmd? 'ptpcfg describe' lists"));
    EXPECT_THAT(sh("ptpcfg replay in.rec unix:$PWD/s --filter ptp_clock").err, HasSubstr("no message 'ptp_clock'"));
}

TEST_F(selecting, at_a_speed) {
    const auto took = [](const std::string &options) {
        sh("rm -f out.rec");
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(with_recorder("--timeout 20 --count 3", "ptpcfg replay in.rec unix:$PWD/s --to 3 " + options).status,
                  0);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    EXPECT_GE(took(""), 2.0);
    EXPECT_GE(took("--speed 4"), 0.5);
    const std::vector<entry> got = load("out.rec");
    ASSERT_EQ(got.size(), 3u);
    EXPECT_NEAR(static_cast<double>(got[2].time_ns - got[0].time_ns) / second, 0.5, 0.25) << "two, four times as fast";
    EXPECT_LT(took("--speed 1e9"), 1.9);
    EXPECT_LT(took("--speed max"), 1.9);
    for (const char *wrong : {"0", "-1", "fast", "nan", "1x", "inf"}) {
        EXPECT_EQ(sh(std::string("ptpcfg replay in.rec unix:$PWD/s --speed=") + wrong).status, 2) << wrong;
    }
}

// ---- peers ----------------------------------------------------------------------------------------------------------

TEST_F(selecting, a_missing_peer_is_named) {
    const outcome nobody = sh("ptpcfg replay --timeout 0.3 in.rec unix:$PWD/s");
    EXPECT_EQ(nobody.status, 4);
    EXPECT_THAT(nobody.err, HasSubstr("/s: nobody listens there"));
    const outcome gone =
        sh("ptpcfg listen unix:$PWD/s --count 1 --timeout 20 -o /dev/null & listener=$!\n"
           "ptpcfg replay in.rec unix:$PWD/s --speed 2 --timeout 1.5; status=$?; exit $status");
    EXPECT_EQ(gone.status, 4);
    EXPECT_THAT(gone.err, HasSubstr("messages sent, then the peer was gone"));
    EXPECT_EQ(sh("ptpcfg replay none.rec unix:$PWD/s").status, 3);
    EXPECT_EQ(sh("ptpcfg replay in.rec nowhere:x").status, 2);
}

TEST_F(selecting, a_peer_that_stops_for_a_while_loses_nothing) {
    std::vector<entry> entries;
    for (u_int64 i = 0; i < 3000; ++i) {  // more than the queue and the sockets hold
        entries.push_back({noon, unknown_message(static_cast<u_int8>(i), 5000), 0});
    }
    sh("rm in.rec");
    make("in.rec", entries);
    const outcome result = with_recorder("--timeout 20 --count 3000 --max-size 1G",
                                         "while ! test -S s; do sleep 0.02; done; kill -STOP $recorder\n"
                                         "{ sleep 1; kill -CONT $recorder; } &\n"
                                         "ptpcfg replay in.rec unix:$PWD/s --speed max || exit 9");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(content("out.rec"), content("in.rec"));
}

TEST_F(selecting, a_signal_ends_a_replay_and_is_told) {
    const outcome result = with_recorder("--timeout 1",
                                         "ptpcfg replay in.rec unix:$PWD/s & replay=$!\n"
                                         "while ! test -s out.rec; do sleep 0.02; done\n"
                                         "kill -INT $replay; kill -TERM $replay; wait $replay; echo $?");
    EXPECT_THAT(result.out, testing::AnyOf("130\n", "143\n"));
    EXPECT_THAT(result.err, HasSubstr("ended by a signal after "));
    EXPECT_LT(load("out.rec").size(), 5u);
}

TEST_F(selecting, a_terminal_gets_a_bar) {
    if (sh("script -qec true /dev/null").status != 0) {
        GTEST_SKIP() << "no pseudo-terminal is to be had here";
    }
    const outcome result =
        with_recorder("--timeout 20 --count 5", "script -qec \"ptpcfg replay in.rec unix:$PWD/s --speed 8\" /dev/null");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("####...."));
    EXPECT_THAT(result.out, HasSubstr("[########################################] 100% 5 messages\r\n"));
}

}  // namespace
