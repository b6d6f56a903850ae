// trace: what processes leave behind that are killed, that abort, that are started again.
#include <gmock/gmock.h>

#include "shell.h"

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class trace : public shell_test {
  protected:
    /** Starts a process that traces into `ring`, lets it come so far, runs a script, kills it without warning. */
    static outcome with_process(const std::string &mode, const std::string &script) {
        return sh("traced_process " + mode + " ring >ready & pid=$!\n" + "until test -s ready; do sleep 0.01; done\n" +
                  script + "\nkill -KILL $pid; wait $pid 2>/dev/null; echo killed $?");
    }
};

TEST_F(trace, shows_the_last_records_of_a_process_that_was_killed) {
    EXPECT_THAT(with_process("wait", "").out, HasSubstr("killed 137"));
    const outcome all = sh("ptpcfg trace ring");
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(all.err, "ptpcfg: ring: the ring does not name a module that traced; its messages are shown by number\n");
    EXPECT_THAT(all.out, ContainsRegex("^# traced_process, process [0-9]+, since 20.*Z: 3 messages\n"
                                       "20..-..-..T..:..:..\\.[0-9]{9}Z [0-9]+ error vela_ptp_cfg: ptp_clock_quality: "
                                       "Invalid object pointer passed in to set instance flag\n"));
    EXPECT_THAT(all.out, HasSubstr("debug vela_ptp_cfg: ptp_clock_delete_cmd_message: Error present in call to "
                                   "ptp_clock_delete_cmd unmarshal: Invalid argument\n"));
    EXPECT_THAT(all.out, HasSubstr("informational module 0: message 9999: \"\\\\x0a\\x1b\xff\xc3\xa9\n"));
    const outcome errors = sh("ptpcfg trace --level error ring | grep -c Z");
    EXPECT_EQ(errors.out, "2\n") << "title and one message";
}

TEST_F(trace, is_whole_when_the_process_was_killed_while_it_wrote) {
    with_process("flood", "sleep 0.2");
    const outcome all = sh("ptpcfg trace ring");
    EXPECT_EQ(all.status, 0);
    EXPECT_THAT(all.out, HasSubstr(" messages, the last 64 kept"));
    // Three threads can have been at work on a record each, and have kept others out that came round again.
    const outcome counted =
        sh("ptpcfg trace ring | grep -c 'ptp_clock_quality: Invalid object pointer passed in to set "
           "instance flag$'");
    EXPECT_GE(std::stoi(counted.out), 50);
}

TEST_F(trace, shows_what_made_a_process_abort) {
    EXPECT_EQ(sh("traced_process abort ring 2>/dev/null; echo $?").out, "134\n");
    EXPECT_THAT(sh("ptpcfg trace ring | tail -n 1").out,
                HasSubstr(" emergency vela_ptp_cfg: ptp_clock_quality: Corrupted VELA Handle\n"));
}

TEST_F(trace, writes_json_that_others_can_read) {
    with_process("wait", "");
    const outcome all =
        sh("ptpcfg trace --json ring 2>/dev/null | tee lines | python3 -c '\n"
           "import json, sys\n"
           "rows = [json.loads(line) for line in sys.stdin]\n"
           "print([row[\"position\"] for row in rows], rows[1][\"arguments\"], rows[1][\"module\"],\n"
           "      rows[1][\"subject\"], rows[1][\"level\"], rows[2][\"module\"])\n"
           "print(ascii(rows[2][\"arguments\"][0]))'");
    EXPECT_EQ(all.out,
              "[0, 1, 2] ['ptp_clock_delete_cmd', 'Invalid argument'] vela_ptp_cfg "
              "ptp_clock_delete_cmd_message debug None\n"
              "'\"\\\\\\n\\x1b\\ufffd\\xe9'\n");
    EXPECT_THAT(read("lines"), StartsWith("{\"time\":\"20"));
}

TEST_F(trace, follows_a_process_and_the_one_started_after_it) {
    const outcome result = with_process("wait",
                                        "ptpcfg trace --follow ring >followed 2>/dev/null & follower=$!\n"
                                        "until grep -q unmarshal: followed; do sleep 0.01; done\n"
                                        "traced_process abort ring 2>/dev/null\n"
                                        "until grep -q Corrupted followed; do sleep 0.01; done\n"
                                        "kill -TERM $follower; wait $follower; echo ended $?");
    EXPECT_THAT(result.out, HasSubstr("ended 0\n"));
    EXPECT_EQ(sh("grep -c unmarshal: followed").out, "2\n");
    EXPECT_EQ(sh("grep -c '^#' followed").out, "2\n");
    EXPECT_THAT(sh("ptpcfg trace ring.old").out, Not(HasSubstr("Corrupted")));
}

TEST_F(trace, says_what_is_wrong_with_a_file) {
    with_process("wait", "");
    const outcome none = sh("ptpcfg trace nothing");
    EXPECT_EQ(none.status, 3);
    EXPECT_EQ(none.err, "ptpcfg: nothing: cannot open: No such file or directory\n");
    const outcome other = sh("ptpcfg trace $CLOCKS/delete_clock.xml");
    EXPECT_EQ(other.status, 1);
    EXPECT_THAT(other.err, HasSubstr("delete_clock.xml: not a trace: "));
    const outcome cut = sh("head -c 80000 ring >cut; ptpcfg trace cut");
    EXPECT_EQ(cut.status, 1);
    EXPECT_EQ(cut.err, "ptpcfg: cut: cut: it is shorter than its header says\n");
    EXPECT_EQ(sh("ptpcfg trace --level loud ring").status, 2);
    EXPECT_EQ(sh("ptpcfg trace ring >/dev/full 2>/dev/null").status, 3);
}

TEST_F(trace, of_ptpcfg_itself_can_be_kept) {
    EXPECT_EQ(sh("ptpcfg --trace=ring encode $CLOCKS/delete_clock.xml -o bytes").status, 0);
    EXPECT_THAT(sh("ptpcfg trace ring").out, StartsWith("# ptpcfg, process "));
    write("mine", "precious");
    const outcome refused = sh("ptpcfg listen --timeout 0.1 --trace=mine unix:$PWD/s");
    EXPECT_EQ(refused.status, 3);
    EXPECT_EQ(refused.err,
              "ptpcfg: mine: cannot trace there: it, or its .old, is a link or another file than a trace\n");
    EXPECT_EQ(read("mine"), "precious");
    EXPECT_EQ(sh("ptpcfg listen --timeout 0.1 --trace=listened unix:$PWD/s && ptpcfg trace listened | wc -l").out,
              "1\n");
}

}  // namespace
