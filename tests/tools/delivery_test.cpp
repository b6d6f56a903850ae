// What send says of its messages is true, whatever becomes of the receiver; and what receivers make of strangers.
#include <gmock/gmock.h>

#include <cstdio>
#include <vector>

#include "channel_end.h"
#include "shell.h"
#include "vela_recorder.h"

using testing::AnyOf;
using testing::HasSubstr;

namespace {

constexpr size_t number_offset = 8;  // the word of a message header that is the application's

class delivery : public shell_test {
  protected:
    void use(const std::string &mechanism) {
        std::string awaited = "test -S s";
        uri_ = "unix:" + std::filesystem::current_path().string() + "/s";
        if (mechanism == "tcp") {
            uri_ = test::free_tcp_uri();
            char port[5];
            std::snprintf(port, sizeof port, "%04X", std::stoi(uri_.substr(uri_.rfind(':') + 1)));
            awaited = std::string("grep -q ':") + port + " 00000000:0000 0A' /proc/net/tcp";
        }
        prelude_ = "set +m; uri=" + uri_ + "; await() { for n in $(seq 500); do " + awaited +
                   " && break; sleep 0.02; done; }\n";
    }
    /** Runs a script that knows $uri, where nobody listens yet, and `await`, which waits until somebody does. */
    outcome run(const std::string &script) const { return sh(prelude_ + script); }

    /** many.bin: messages that are numbered from 0. */
    static void make_messages(u_int32 count) {
        ASSERT_EQ(sh("ptpcfg encode $CLOCKS/delete_clock.xml -o one.bin").err, "");
        std::string message = read("one.bin");
        std::string all;
        for (u_int32 i = 0; i < count; ++i) {
            for (size_t byte = 0; byte < 4; ++byte) {
                message[number_offset + byte] = static_cast<char>(i >> (24 - 8 * byte));
            }
            all += message;
        }
        write("many.bin", all);
    }
    /** How many messages out.rec holds: those from 0 on, none left out. */
    static u_int32 recorded() {
        u_int32 err = 0;
        u_int32 count = 0;
        vela_recording *input = vela_recording_open("out.rec", nullptr, 0, &err);
        vela_recording_item item;
        while (input != nullptr && vela_recording_next(input, &item, &err) != 0) {
            if (item.kind == VELA_RECORDING_RECORD) {
                u_int32 number = 0;
                for (size_t byte = 0; byte < 4; ++byte) {
                    number = number << 8 | item.bytes[number_offset + byte];
                }
                EXPECT_EQ(number, count);
                ++count;
            }
        }
        vela_recording_close(input);
        EXPECT_EQ(err, 0u);
        return count;
    }

  private:
    std::string uri_;
    std::string prelude_;
};

class delivery_over : public delivery, public testing::WithParamInterface<const char *> {
  protected:
    void SetUp() override {
        delivery::SetUp();
        use(GetParam());
    }
};

INSTANTIATE_TEST_SUITE_P(mechanisms, delivery_over, testing::Values("unix", "tcp"),
                         [](const auto &info) { return std::string(info.param); });

TEST_P(delivery_over, a_slow_receiver_gets_all_before_send_ends) {
    constexpr u_int32 count = 6000;
    make_messages(count);
    for (const char *command : {"send $uri many.bin", "replay --speed max in.rec $uri"}) {
        const outcome result = run(std::string(R"(rm -f out.rec
            ptpcfg record $uri out.rec --timeout 20 --max-size 1G & recorder=$!
            await
            for turn in 1 2 3 4 5 6 7 8; do kill -STOP $recorder; sleep 0.1; kill -CONT $recorder; sleep 0.01; done 2>>ignored &
            ptpcfg )") + command + R"(; echo $?
            kill -KILL $recorder; wait %2)");
        EXPECT_EQ(result.out, "0\n") << command;
        EXPECT_EQ(result.err, "") << command;
        EXPECT_EQ(recorded(), count) << command << ": nothing is left to be read when it has ended";
        sh("cp out.rec in.rec");
    }
}

TEST_P(delivery_over, what_a_killed_receiver_took_along_is_counted) {
    constexpr u_int32 count = 60'000;
    make_messages(count);
    const outcome result = run(R"(
        ptpcfg record $uri out.rec --max-size 1G & recorder=$!
        ptpcfg send --timeout 1 $uri many.bin & sender=$!
        until test $(stat -c %s out.rec 2>>ignored || echo 0) -gt 8; do sleep 0.005; done
        kill -STOP $recorder; sleep 0.1; kill -KILL $recorder
        wait $sender; echo $?)");
    EXPECT_EQ(result.out, "4\n");
    unsigned sent = 0, total = 0, unconfirmed = 0;
    const size_t place = result.err.find(std::to_string(count) + " messages sent");
    ASSERT_NE(place, std::string::npos) << result.err;
    const std::string text = result.err.substr(result.err.rfind(": ", place) + 2);
    EXPECT_EQ(std::sscanf(text.c_str(), "%u of %u messages sent, of which up to %u were not confirmed", &sent, &total,
                          &unconfirmed),
              3)
        << result.err;
    EXPECT_EQ(total, count);
    EXPECT_LT(recorded(), count);
    EXPECT_GT(unconfirmed, 0u);
    EXPECT_GE(recorded() + 1, sent - unconfirmed) << "a Unix socket does not tell of the one that was being recorded";
}

TEST_P(delivery_over, a_receiver_that_never_confirms_is_waited_for_within_a_bound) {
    make_messages(60'000);
    sh("head -c $(($(stat -c %s one.bin) * 10)) many.bin >ten.bin");
    const outcome result = run(R"(
        ptpcfg record $uri out.rec & recorder=$!
        await; kill -STOP $recorder
        timeout 10 ptpcfg send --timeout 0.5 $uri ten.bin; echo $?
        timeout 10 ptpcfg send --timeout 0.5 $uri many.bin; echo $?
        kill -KILL $recorder)");
    EXPECT_EQ(result.out, "4\n4\n");
    EXPECT_THAT(result.err, HasSubstr("10 of 10 messages sent, of which up to 10 were not confirmed in time"));
    EXPECT_THAT(result.err, HasSubstr(" of 60000 messages sent, of which up to "));
}

TEST_P(delivery_over, messages_beyond_what_the_receiver_wants_are_not_confirmed) {
    make_messages(1000);
    const outcome result =
        run("ptpcfg record $uri out.rec --count 300 & ptpcfg send --timeout 1 $uri many.bin; echo $?");
    EXPECT_EQ(result.out, "4\n");
    // Where the receiver ends before the last is written, that is told instead.
    EXPECT_THAT(result.err,
                AnyOf(HasSubstr("were not confirmed"), HasSubstr(" of 1000 messages sent, then the peer was gone")));
    EXPECT_EQ(recorded(), 300u);
}

// ---- strangers ------------------------------------------------------------------------------------------------------

class strangers : public delivery {
  protected:
    void SetUp() override {
        delivery::SetUp();
        use("tcp");
        make_messages(10);
        if (sh("bash -c 'exec 3</dev/null'").status != 0) {
            GTEST_SKIP() << "bash, which opens connections here, is not to be had";
        }
    }
    /** Records while a bash script runs, which has $port; the outcome's status is the recorder's. */
    outcome record_while(const std::string &options, const std::string &script) const {
        write("script", "port=${uri##*:}\n" + script);
        return run("ptpcfg record $uri out.rec " + options +
                   " & recorder=$!\nawait; uri=$uri bash script; kill -TERM $recorder; wait $recorder");
    }
    static constexpr const char *fill_all_places = "for n in $(seq 64); do exec {fd}<>/dev/tcp/127.0.0.1/$port; done\n";
};

TEST_F(strangers, that_fill_all_places_turn_others_away_and_send_says_so) {
    const outcome result = record_while("--idle-limit 60", fill_all_places + std::string(R"(
        sleep 0.2
        for n in 1 2 3 4 5 6 7 8 9; do ptpcfg send --timeout 0.3 $uri many.bin 2>send.err; echo $?; done)"));
    EXPECT_EQ(result.out, "4\n4\n4\n4\n4\n4\n4\n4\n4\n");
    EXPECT_THAT(read("send.err"), testing::ContainsRegex("0 of 10 messages sent|up to 10 were not confirmed"));
    EXPECT_THAT(read("send.err"), HasSubstr("has no place left for another peer"));
    EXPECT_EQ(result.status, 0) << "the recorder has recorded all that came from peers";
    EXPECT_THAT(result.err, HasSubstr("turned away: too many peers"));
    EXPECT_LE(std::count(result.err.begin(), result.err.end(), '\n'), 8) << result.err;
}

TEST_F(strangers, that_are_silent_make_room) {
    const outcome result = record_while("--idle-limit 0.2", fill_all_places + std::string("sleep 0.5; ptpcfg send $uri "
                                                                                          "many.bin; echo $?"));
    EXPECT_EQ(result.out, "0\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(recorded(), 10u);
}

TEST_F(strangers, that_speak_something_else_are_named_and_no_fault) {
    const outcome result = record_while("", R"(
        for n in $(seq 50); do printf 'GET / HTTP/1.0\r\n\r\n' >/dev/tcp/127.0.0.1/$port; done
        ptpcfg send $uri many.bin; echo $?)");
    EXPECT_EQ(result.out, "0\n");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr(" bytes; at most "));
    EXPECT_LE(std::count(result.err.begin(), result.err.end(), '\n'), 8) << result.err;
    EXPECT_EQ(recorded(), 10u);
}

// ---- signals --------------------------------------------------------------------------------------------------------

TEST_F(delivery, a_signal_just_before_the_wait_ends_a_receiver) {
    use("unix");
    for (const char *command : {"record $uri out.rec", "listen $uri", "listen $uri --timeout 30"}) {
        const outcome result = run(std::string("export ASAN_OPTIONS=verify_asan_link_order=0:$ASAN_OPTIONS\n"
                                               "LATE_WAIT_SIGN=$PWD/sign LD_PRELOAD=") +
                                   LATE_WAIT + " ptpcfg " + command + R"( & receiver=$!
            for n in $(seq 500); do test -L sign && break; sleep 0.02; done; readlink sign
            kill -TERM $receiver
            { sleep 8; kill -KILL $receiver; } & killer=$!
            wait $receiver; echo $?
            kill $killer; rm -f sign s)");
        EXPECT_EQ(result.out, "it stands before a wait\n0\n") << command << ": 137 when it had to be killed";
    }
}

}  // namespace
