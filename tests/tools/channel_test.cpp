// send and listen: two processes at one socket.
#include <gmock/gmock.h>

#include <thread>

#include "shell.h"
#include "vela_transport.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

class channel : public shell_test {
  protected:
    /** Starts a listener, runs a script while it listens, waits for it; the status is the listener's. */
    static outcome with_listener(const std::string &options, const std::string &script) {
        return sh("ptpcfg listen unix:$PWD/s " + options + " & listener=$!\n" + script + "\nwait $listener");
    }
};

TEST_F(channel, what_is_sent_arrives_in_order_and_is_recorded) {
    const outcome result = with_listener("--count 3 --timeout 20 --to xml -o got.xml --record recorded.xml",
                                         "ptpcfg send unix:$PWD/s $CLOCKS/g8275_1_boundary_clock.xml "
                                         "$CLOCKS/modify_priority.xml $CLOCKS/delete_clock.xml");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(sh("for clock in g8275_1_boundary_clock modify_priority delete_clock; do "
                 "ptpcfg encode $CLOCKS/$clock.xml; done >sent.bin; "
                 "ptpcfg encode got.xml | cmp sent.bin - && ptpcfg encode recorded.xml | cmp sent.bin -")
                  .err,
              "");
    EXPECT_THAT(read("recorded.xml"), StartsWith("<ptp_cfg time=\"20"));
    EXPECT_EQ(sh("test -e s || echo gone").out, "gone\n");
}

TEST_F(channel, bytes_are_sent_as_they_are) {
    const outcome result = with_listener("--count 1 --timeout 20 --to bin -o got.bin",
                                         "ptpcfg encode --tracked $CLOCKS/delete_clock.xml -o sent.bin\n"
                                         "ptpcfg send unix:$PWD/s - <sent.bin && cmp sent.bin sent.bin");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(read("got.bin"), read("sent.bin"));
}

TEST_F(channel, a_missing_peer_is_named) {
    const outcome alone = sh("ptpcfg send --timeout 0.3 unix:$PWD/s $CLOCKS/delete_clock.xml");
    EXPECT_EQ(alone.status, 4);
    EXPECT_THAT(alone.err, HasSubstr("/s: 0 of 1 messages sent, nobody listens there"));
    const outcome lonely = sh("ptpcfg listen --count 1 --timeout 0.3 unix:$PWD/s");
    EXPECT_EQ(lonely.status, 4);
    EXPECT_THAT(lonely.err, HasSubstr("only 0 of 1 messages arrived"));
    EXPECT_EQ(sh("ptpcfg listen --timeout 0.1 unix:$PWD/s").status, 0);
    EXPECT_EQ(sh("ptpcfg send nowhere:x $CLOCKS/delete_clock.xml").status, 2);
    EXPECT_EQ(sh("ptpcfg listen --timeout 1 unix:$PWD/none/s").status, 4);
}

TEST_F(channel, a_listener_that_dies_and_is_replaced_is_named_with_what_it_took_along) {
    const outcome result = sh(R"(
        ptpcfg encode $CLOCKS/g8275_1_boundary_clock.xml -o one.bin
        for n in 1 2 3 4 5 6 7 8 9 10 11 12 13; do cat one.bin one.bin >two.bin; mv two.bin one.bin; done
        ptpcfg listen unix:$PWD/s -o first.txt & first=$!
        until test -S s; do sleep 0.02; done
        kill -STOP $first
        ptpcfg send --timeout 20 unix:$PWD/s one.bin & send=$!
        until test $(grep -c $PWD/s /proc/net/unix) -gt 1; do sleep 0.02; done  # it has connected
        sleep 1; kill -KILL $first
        ptpcfg listen unix:$PWD/s --timeout 20 -o second.txt & second=$!
        wait $send; echo $?
        kill -TERM $second; wait $second)");
    EXPECT_EQ(result.out, "4\n");
    EXPECT_THAT(result.err, HasSubstr(" of 8192 messages sent, of which up to "));
    EXPECT_THAT(result.err, HasSubstr("ended before it read everything"));
}

TEST_F(channel, nothing_is_sent_when_one_file_is_bad) {
    write("bad.xml", "<ptp_clock_cfg>");
    const outcome result =
        with_listener("--timeout 1 -o got.txt", "ptpcfg send unix:$PWD/s $CLOCKS/delete_clock.xml bad.xml; echo $?");
    EXPECT_EQ(result.out, "1\n");
    EXPECT_EQ(read("got.txt"), "");
}

TEST_F(channel, a_bad_message_in_a_bundle_is_named_and_the_others_are_taken) {
    ASSERT_EQ(sh("ptpcfg encode $CLOCKS/delete_clock.xml -o one.bin").err, "");
    const std::string message = read("one.bin");
    const auto number = [](size_t value) {
        return std::string{static_cast<char>(value >> 24), static_cast<char>(value >> 16),
                           static_cast<char>(value >> 8), static_cast<char>(value)};
    };
    std::string places;
    for (const std::string &each : {message, std::string(message.size(), 'x'), message}) {
        places += number(each.size()) + each;
    }
    const std::string bundle = std::string("VBND\1\0\0\0", 8) + number(3) + number(16 + places.size()) + places;
    const std::string uri = "unix:" + std::filesystem::current_path().string() + "/s";
    u_int32 err = 0;
    vela_channel *sender = vela_channel_connect("gable", uri.c_str(), nullptr, nullptr, 0, &err);
    vela_channel_send(sender, reinterpret_cast<const u_int8 *>(bundle.data()), static_cast<u_int32>(bundle.size()),
                      &err);
    std::thread listener([] {
        const outcome result = sh("ptpcfg listen unix:$PWD/s --count 3 --timeout 20 --to bin -o got.bin");
        EXPECT_EQ(result.status, 4);
        EXPECT_THAT(result.err, HasSubstr("message 2: place 2 of its bundle, offset "));
    });
    vela_channel_statistics sent = {};
    while (sent.sent == 0 && err == 0) {
        vela_channel_wait(sender, 1000);
        vela_channel_process(sender, nullptr, 0, nullptr, 0, &err);
        vela_channel_get_statistics(sender, &sent);
    }
    listener.join();
    EXPECT_EQ(err, 0u);
    vela_channel_close(sender, nullptr);
    EXPECT_EQ(read("got.bin"), message + message);
}

TEST_F(channel, a_full_disk_ends_the_listener_with_whole_records) {
    const std::string send_twice =
        "for n in 1 2 3 4 5 6; do ptpcfg send --timeout 0.5 unix:$PWD/s "
        "$CLOCKS/g8275_1_boundary_clock.xml 2>/dev/null; done";
    // Blocks of 512 bytes: room for a record or two, not for six.
    const outcome result =
        sh("( trap '' XFSZ; ulimit -f 8; exec ptpcfg listen unix:$PWD/s --count 6 --timeout 20 "
           "-o /dev/null --record recorded.xml ) & listener=$!\n" +
           send_twice + "\nwait $listener");
    EXPECT_EQ(result.status, 3) << result.err;
    EXPECT_THAT(result.err, HasSubstr("recorded.xml: cannot write: File too large"));
    EXPECT_EQ(sh("ptpcfg encode recorded.xml -o again.bin").status, 0);
}

TEST_F(channel, a_signal_ends_a_listener_in_order) {
    const outcome result = with_listener("--to xml -o got.xml",
                                         "ptpcfg send unix:$PWD/s $CLOCKS/delete_clock.xml\n"
                                         "sleep 0.3; kill -TERM $listener");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(read("got.xml"), StartsWith("<ptp_clock_delete_cmd>"));
    EXPECT_EQ(sh("test -e s || echo gone").out, "gone\n");
}

}  // namespace
