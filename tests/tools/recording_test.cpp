// record: what was received is kept as it came, however the recorder ends.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iterator>

#include "oracle_model.h"
#include "recording_fixture.h"

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

TEST_F(recording, all_messages_come_through_byte_for_byte) {
    const std::string count = std::to_string(std::size(oracle::messages));
    ASSERT_EQ(sh("for m in $(ptpcfg describe | awk '$2 == \"message\" { print $1 }'); do "
                 "ptpcfg describe --xml $m | ptpcfg encode --from xml - >$m.bin || exit 1; done; "
                 "cat *.bin >all; ls *.bin | wc -l")
                  .out,
              count + "\n");
    EXPECT_EQ(with_recorder("--count " + count + " --timeout 20 --channel skein",
                            "ptpcfg send --from bin --channel skein unix:$PWD/s all")
                  .status,
              0);
    EXPECT_EQ(content("out.rec"), read("all"));
    EXPECT_EQ(load("out.rec").front().source, 2u);
    sh("mv out.rec in.rec; rm *.bin");
    const outcome result = replay("--speed max", count);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "") << "no bar where there is no terminal";
    EXPECT_EQ(result.out, read("all"));
    EXPECT_EQ(sh("ptpcfg decode in.rec --to bin | cmp - all").status, 0);
    EXPECT_EQ(sh("ptpcfg decode in.rec | ptpcfg encode | cmp - all").status, 0);
    EXPECT_THAT(sh("ptpcfg print in.rec").out,
                MatchesRegex("20[0-9-]+T[0-9:]+[.][0-9]{9}Z skein\nmessage@ptp_(.|\n)*"));
}

TEST_F(recording, what_nobody_knows_is_kept_and_bundles_are_opened) {
    std::string bundle("VBND\1\0\0\0\0\0\0\2\0\0\0\x78\0\0\0\x30", 20);
    bundle += unknown_message(1) + std::string("\0\0\0\x30", 4) + unknown_message(2);
    make("in.rec", {{noon, bundle, 0}, {noon, unknown_message(3), 0}});
    EXPECT_EQ(with_recorder("--count 3 --timeout 20", "ptpcfg replay in.rec unix:$PWD/s").err, "");
    const std::vector<entry> got = load("out.rec");
    ASSERT_EQ(got.size(), 3u);
    for (u_int8 i = 0; i < 3; ++i) {
        EXPECT_EQ(got[i].bytes, unknown_message(static_cast<u_int8>(i + 1)));
    }
    const outcome decoded = sh("ptpcfg print out.rec");
    EXPECT_EQ(decoded.status, 1);
    EXPECT_THAT(decoded.err, HasSubstr("out.rec: offset 8: message: offset 27: identity: no message is known"));
}

TEST_F(recording, what_is_no_message_is_kept_with_a_mark) {
    const std::string cut = unknown_message(1).substr(0, 40);
    std::string bundle("VBND\1\0\0\0\0\0\0\2\0\0\0\x78\0\0\0\x30", 20);
    bundle += std::string(48, 'j') + std::string("\0\0\0\x30", 4) + unknown_message(2);
    std::string ends_early("VBND\1\0\0\0\0\0\0\1\0\0\0\x1e\0\0\0\xff", 20);
    ends_early += "0123456789";
    const std::vector<std::string> frames = {cut, "junk", bundle, ends_early, unknown_message(3)};
    pid_t recorder = fork();
    ASSERT_GE(recorder, 0);
    if (recorder == 0) {
        execlp("ptpcfg", "ptpcfg", "record", "unix:s", "out.rec", "--count", "4", "--timeout", "20", nullptr);
        _exit(127);
    }
    send_packets("s", frames);
    int status = 0;
    waitpid(recorder, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 4);
    const std::vector<entry> got = load("out.rec");
    ASSERT_EQ(got.size(), 6u);
    const std::string kept[] = {
        cut, "junk", std::string(48, 'j'), unknown_message(2), ends_early.substr(16), unknown_message(3)};
    for (size_t i = 0; i < got.size(); ++i) {
        const bool is_message = i == 3 || i == 5;
        EXPECT_EQ(got[i].bytes, kept[i]) << i;
        EXPECT_EQ(got[i].source, is_message ? 0 : VELA_RECORD_DAMAGED) << i;
    }
    sh("mv out.rec in.rec");
    EXPECT_EQ(sh("ptpcfg print in.rec 2>&1 | grep -c 'marked as no message'").out, "4\n");
    const outcome replayed = replay("--speed max", "2");
    EXPECT_EQ(replayed.out, "");
    EXPECT_EQ(replayed.status, 1);
    EXPECT_THAT(replayed.err, HasSubstr("this is no message; it is not sent"));
}

// ---- ends in all manners --------------------------------------------------------------------------------------------

TEST_F(recording, a_signal_ends_a_recorder_in_order) {
    const outcome result = with_recorder("",
                                         "ptpcfg send unix:$PWD/s $CLOCKS/delete_clock.xml\n"
                                         "sleep 0.3; kill -TERM $recorder");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(load("out.rec").size(), 1u);
    EXPECT_EQ(listing(), "out.rec") << "the socket is gone";
}

TEST_F(recording, a_killed_recorder_leaves_whole_records) {
    std::vector<entry> entries;
    for (u_int64 i = 0; i < 4000; ++i) {
        entries.push_back({noon + i * second / 1000, unknown_message(static_cast<u_int8>(i), i % 1000), 0});
    }
    make("in.rec", entries);
    size_t before = 0;
    for (int life = 0; life < 4; ++life) {
        sh("size() { cat out.rec* 2>/dev/null | wc -c; }; before=$(size)\n"
           "ptpcfg record unix:$PWD/s out.rec --max-size 300K --files 100 & recorder=$!\n"
           "ptpcfg replay in.rec unix:$PWD/s --speed 4 --timeout 20 & replay=$!\n"
           "while test $(size) -le $before; do sleep 0.02; done; sleep 0." +
           std::to_string(1 + life) + "; kill -KILL $recorder; kill $replay; wait");
        const std::vector<entry> got = load("out.rec");
        ASSERT_GT(got.size(), before);
        for (size_t i = before; i < got.size(); ++i) {
            ASSERT_EQ(got[i].bytes, entries[i - before].bytes) << i;
        }
        before = got.size();
    }
}

TEST_F(recording, a_torn_end_is_a_warning_and_damage_a_fault) {
    sh("ptpcfg encode $CLOCKS/delete_clock.xml -o a");
    make("in.rec", {{noon, read("a"), 0}, {noon, read("a"), 0}, {noon, read("a"), 0}});
    const std::string whole = read("in.rec");
    const size_t record = (whole.size() - 8) / 3;

    write("in.rec", whole.substr(0, whole.size() - 1));
    const outcome torn = sh("ptpcfg decode in.rec --to bin | cmp -n 1000 - a; ptpcfg decode in.rec --to bin >b");
    EXPECT_THAT(torn.err, HasSubstr("warning: in.rec: offset " + std::to_string(8 + 2 * record)));
    EXPECT_EQ(torn.status, 0);
    EXPECT_EQ(read("b"), read("a") + read("a"));
    EXPECT_EQ(replay("", "2").status, 0);
    const outcome again = sh("ptpcfg record unix:$PWD/s in.rec --timeout 0.1");
    EXPECT_THAT(again.err, StartsWith("ptpcfg: warning: in.rec: the record is cut off at offset "));
    EXPECT_EQ(read("in.rec"), whole.substr(0, 8 + 2 * record));

    std::string damaged = whole;
    damaged[8 + record + 40] ^= 1;
    write("in.rec", damaged);
    const outcome printed = sh("ptpcfg decode in.rec --to bin -o b");
    EXPECT_EQ(printed.status, 1);
    EXPECT_THAT(printed.err, HasSubstr("in.rec: offset " + std::to_string(8 + record) + ": the record's bytes do not"));
    EXPECT_EQ(read("b"), read("a") + read("a"));
    const outcome replayed = replay("", "2");
    EXPECT_EQ(replayed.status, 1);
    EXPECT_EQ(replayed.out, read("a") + read("a"));
}

TEST_F(recording, a_full_disk_is_reported_and_outlasted) {
    std::vector<entry> entries;
    for (u_int8 i = 0; i < 8; ++i) {
        entries.push_back({noon, unknown_message(i, 1000), 0});
    }
    make("in.rec", entries);
    const outcome result =
        sh("( ulimit -S -f 8; exec ptpcfg record unix:$PWD/s out.rec --count 16 --timeout 20 ) & recorder=$!\n"
           "ptpcfg replay in.rec unix:$PWD/s --speed max\n"
           "while ! grep -q 'not recorded' .err; do sleep 0.02; done; stat -c %s out.rec\n"
           "prlimit --pid $recorder --fsize=unlimited: || exit 77\n"
           "ptpcfg replay in.rec unix:$PWD/s --speed max; wait $recorder");
    if (result.status == 77) {
        GTEST_SKIP() << "prlimit is not allowed here";
    }
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, HasSubstr("out.rec: messages are not recorded: File too large"));
    const std::string lost = std::to_string(16 - load("out.rec").size());
    EXPECT_THAT(result.err, HasSubstr("out.rec: recording again; " + lost + " messages were not recorded"));
    EXPECT_THAT(result.err, HasSubstr("out.rec: " + lost + " of 16 messages were not recorded"));
    EXPECT_EQ(result.out, std::to_string(8 + 3 * (28 + 1043)) + "\n") << "three records fit into 4 KiB";
}

TEST_F(recording, files_turn_over_by_size_and_count) {
    std::vector<entry> entries;
    for (u_int8 i = 0; i < 100; ++i) {
        entries.push_back({noon, unknown_message(i, 157), 0});
    }
    make("in.rec", entries);
    EXPECT_EQ(with_recorder("--count 100 --timeout 20 --max-size 2k --files 3",
                            "ptpcfg replay in.rec unix:$PWD/s --speed max; rm in.rec")
                  .status,
              0);
    EXPECT_EQ(listing(), "out.rec out.rec.1 out.rec.2");
    const std::vector<entry> got = load("out.rec");  // eight to a file
    ASSERT_EQ(got.size(), 20u);
    EXPECT_EQ(got.front().bytes.back(), 80);
    EXPECT_EQ(got.back().bytes.back(), 99);
}

TEST_F(recording, wrong_files_and_options_are_refused) {
    write("notes.rec", "these are notes");
    EXPECT_EQ(sh("ptpcfg record unix:$PWD/s notes.rec").status, 1);
    EXPECT_EQ(read("notes.rec"), "these are notes");
    EXPECT_EQ(sh("ptpcfg print notes.rec").status, 1);
    EXPECT_EQ(sh("ptpcfg record unix:$PWD/s /dev/full").status, 3);
    EXPECT_EQ(sh("ptpcfg record unix:$PWD/s none/out.rec").status, 3);
    EXPECT_EQ(sh("ptpcfg record unix:$PWD/s out.rec --max-size 12").status, 2);
    EXPECT_EQ(sh("ptpcfg record unix:$PWD/s out.rec --files 0").status, 2);
    make("in.rec", {{noon, "no message", 0}});
    EXPECT_THAT(sh("ptpcfg send unix:$PWD/s in.rec").err, HasSubstr("'ptpcfg replay' sends it"));
    EXPECT_THAT(sh("ptpcfg decode --explain in.rec").err, HasSubstr("--explain reads messages"));
    EXPECT_EQ(sh("ptpcfg encode $CLOCKS/delete_clock.xml -o new.rec").status, 2);
    EXPECT_EQ(sh("ptpcfg print --from rec - <in.rec").status, 2);
    const outcome sent =
        sh("ptpcfg record unix:$PWD/s out.rec --timeout 1 & recorder=$!\n"
           "ptpcfg replay in.rec unix:$PWD/s; status=$?; wait $recorder; exit $status");
    EXPECT_EQ(sent.status, 1);
    EXPECT_THAT(sent.err, HasSubstr("in.rec: offset 8: this is no message; it is not sent"));
}

TEST_F(recording, links_pipes_and_files_of_others_are_taken_when_allowed_only) {
    make("real.rec", {{noon, unknown_message(1), 0}});
    const std::string record = "ptpcfg record unix:$PWD/s out.rec --timeout 1 ";
    const outcome link = sh("ln -s real.rec out.rec; " + record);
    EXPECT_EQ(link.status, 3);
    EXPECT_THAT(link.err, HasSubstr("out.rec: cannot open: it is a symbolic link, which is not followed here; "
                                    "--allow-links follows it"));
    EXPECT_EQ(sh(record + "--allow-links").status, 0);
    const std::string pipe = "rm -f out.rec; mkfifo out.rec; ";
    for (const char *command : {"record unix:$PWD/s out.rec", "replay out.rec unix:$PWD/s", "stats out.rec",
                                "trace out.rec", "listen unix:$PWD/s --timeout 1 --domain out.rec"}) {
        const outcome refused = sh(pipe + "timeout 20 ptpcfg " + command);
        EXPECT_EQ(refused.status, 3) << command;
        EXPECT_THAT(refused.err, HasSubstr("no regular file")) << command;
    }
    if (geteuid() == 0) {  // only root can give files away
        const outcome foreign = sh("rm out.rec; cp real.rec out.rec; chown 12345 out.rec; " + record);
        EXPECT_EQ(foreign.status, 3);
        EXPECT_THAT(foreign.err, HasSubstr("it belongs to another user; --allow-other-users adds to it"));
        EXPECT_EQ(sh(record + "--allow-other-users").status, 0);
    }
}

}  // namespace
