// top and shell: what they show and send, with a script and on a terminal.
#include <gmock/gmock.h>

#include "shell.h"

using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

class interactive : public shell_test {
  protected:
    void SetUp() override {
        shell_test::SetUp();
        ASSERT_EQ(
            sh("cp $CLOCKS/g8275_1_boundary_clock.xml clock.xml && cp $CLOCKS/delete_clock.xml delete.xml").status, 0);
    }
    static outcome with_listener(const std::string &options, const std::string &script) {
        return sh("ptpcfg listen unix:$PWD/s --timeout 20 -o got.txt " + options + " & listener=$!\n" + script +
                  "; status=$?\nkill -INT $listener 2>/dev/null; wait $listener; exit $status");
    }
};

TEST_F(interactive, top_writes_lines_where_there_is_no_terminal) {
    const outcome result =
        sh("ptpcfg top unix:$PWD/s --interval 0.2 --count 4 --timeout 20 & top=$!\n"
           "ptpcfg send unix:$PWD/s clock.xml delete.xml clock.xml\nsleep 0.5\n"
           "ptpcfg edit clock.xml priority1=77; ptpcfg send unix:$PWD/s clock.xml; wait $top");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out,
                ContainsRegex("Z ptp_clock_delete_cmd count=1 rate=[0-9.]+ peer=\"process [0-9]+ of user [0-9]+\" "
                              "clock_id=1"));
    // What changed stands first.
    EXPECT_THAT(result.out, ContainsRegex("ptp_clock_cfg count=3 rate=[0-9.]+ peer=\"[^\"]*\" priority1=77 "));
    EXPECT_THAT(sh("ptpcfg top unix:$PWD/s --filter nothing").err, HasSubstr("there is no message 'nothing'"));
}

TEST_F(interactive, top_draws_a_picture_of_the_terminals_size) {
    const outcome result =
        sh("script -qec 'stty rows 12 columns 90; TERM=xterm ptpcfg top unix:$PWD/s --interval 0.1 --count 2 --timeout "
           "20' "
           "/dev/null </dev/null >screen & top=$!\nptpcfg send unix:$PWD/s clock.xml clock.xml; wait $top; cat screen");
    EXPECT_THAT(result.out, HasSubstr("\033[H"));
    EXPECT_THAT(result.out, ContainsRegex("MESSAGE +COUNT +PER SECOND +BYTES +AGE +LAST VALUES"));
    EXPECT_THAT(result.out, ContainsRegex("ptp_clock_cfg +2 "));
}

TEST_F(interactive, shell_takes_a_script_from_standard_input) {
    write("script",
          "# what a tester types\n"
          "new ptp_clock_delete_cmd\nset clock_id=7\nget clock_id\nsend\n"
          "load clock.xml\nset priority1=3 clk_domain=25\nshow json\nsend\nsend delete.xml\nquit\nnot read\n");
    const outcome result = with_listener("--to yaml --count 3", "ptpcfg shell unix:$PWD/s <script");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, testing::StartsWith("7\n1 message sent\n{\n  \"ptp_clock_cfg\""));
    const std::string got = read("got.txt");
    EXPECT_THAT(got, HasSubstr("clock_id: 7\n"));
    EXPECT_THAT(got, HasSubstr("priority1: 3\n"));
    EXPECT_THAT(got, HasSubstr("clk_domain: 25\n"));
}

TEST_F(interactive, what_a_listening_peer_says_is_shown) {
    ASSERT_EQ(sh("ptpcfg encode clock.xml -o clock.bin").status, 0);
    write("serve.py",
          "import socket\n"
          "server = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)\nserver.bind('s')\nserver.listen()\n"
          "peer = server.accept()[0]\npeer.send(open('clock.bin', 'rb').read())\npeer.recv(1)\n");
    const std::string serve = "rm -f s; timeout 20 python3 serve.py & server=$!\n";
    const outcome shell = sh(serve + "echo 'wait 10' | ptpcfg shell unix:s; kill $server");
    EXPECT_EQ(shell.err, "");
    EXPECT_THAT(shell.out, testing::StartsWith("< message@ptp_clock_cfg: {\n"));
    const outcome listened =
        sh(serve + "ptpcfg listen --connect unix:s --to bin --count 1 --timeout 20 | cmp - clock.bin; kill $server");
    EXPECT_EQ(listened.out + listened.err, "");
    EXPECT_EQ(sh("rm -f s; ptpcfg listen --connect unix:s --timeout 0.2 --count 1").status, 4);
    EXPECT_EQ(sh("echo 'wait 0.1' | ptpcfg shell unix:none").err, "ptpcfg: line 1: unix:none: no message came\n");
}

TEST_F(interactive, shell_ends_a_script_at_its_first_fault) {
    const std::tuple<const char *, int, const char *> rows[] = {
        {"set priority1=1", 2, "line 1: there is no message yet; 'new MESSAGE' or 'load FILE' begins one"},
        {"\nload clock.xml\nset priority1=256\nsend", 2,
         "line 3: ptp_clock_cfg/ptp_clock/default_data_set/priority1: 256"},
        {"xyzzy", 2, "line 1: there is no command 'xyzzy'; 'help' lists them"},
        {"lod clock.xml", 2, "line 1: there is no command 'lod'; did you mean load? 'help' lists them"},
        {"load none.xml", 3, "line 1: none.xml: cannot open"},
        {"load clock.xml\nset nothing=1", 2, "line 2: there is no field nothing"},
        {"new ptp_clok_cfg", 2, "did you mean ptp_clock_cfg?"},
        {"load clock.xml\nsend", 4, "line 2: unix:"},
    };
    for (const auto &[script, status, reason] : rows) {
        write("script", script);
        const outcome result = sh("ptpcfg shell unix:$PWD/none --timeout 0.2 <script");
        EXPECT_EQ(result.status, status) << script;
        EXPECT_THAT(result.err, HasSubstr(reason)) << script;
    }
}

TEST_F(interactive, shell_completes_on_a_terminal) {
    if (sh("ldd $(command -v ptpcfg) | grep libedit").status != 0) {
        GTEST_SKIP() << "built without libedit";
    }
    write("type.py", R"(
import os, pty, select, sys, time
pid, terminal = pty.fork()
if pid == 0:
    os.environ["TERM"] = "xterm"
    os.execvp("ptpcfg", ["ptpcfg", "shell", "unix:" + os.getcwd() + "/none"])
def talk(text, wanted):
    os.write(terminal, text.encode())
    seen, end = b"", time.time() + 10
    while wanted.encode() not in seen and time.time() < end:
        if select.select([terminal], [], [], 0.2)[0]:
            seen += os.read(terminal, 4096)
    if wanted.encode() not in seen:
        sys.exit("after %r came %r" % (text, seen))
talk("", "ptpcfg>")
talk("ne\tptp_clock_cf\t\nshow\n", "message@ptp_clock_cfg")
talk("set priority1=12\nget priority1\n", "\x1b[K12\r")
talk("set clk_mode=VELA_PTP_CLOCK_MODE_BC_H\t\nget clk_mode\n", "\x1b[KVELA_PTP_CLOCK_MODE_BC_HYBRID\r")
talk("get xyz\n", "error")
os.write(terminal, b"quit\n")
sys.exit(os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]))
)");
    const outcome result = sh("timeout 60 python3 type.py");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

}  // namespace
