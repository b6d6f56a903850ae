// Inputs of any length: what is converted comes out as it goes in, in memory that does not grow with it, and a fault or
// the end of whoever reads leaves nothing behind.
#include <fcntl.h>
#include <gmock/gmock.h>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>

#include <csignal>
#include <cstddef>

#include "shell.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr size_t block = 256 * 1024;  // what the tool reads at once

/** What a file system says that has no files without a name: every open() that asks for one fails. */
void forbid_unnamed_files() {
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_TMPFILE & ~O_DIRECTORY, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EOPNOTSUPP),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {std::size(rules), rules};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        _exit(126);
    }
}

class stream : public shell_test {
  protected:
    void SetUp() override {
        shell_test::SetUp();
        ASSERT_EQ(sh("ptpcfg encode $CLOCKS/delete_clock.xml -o one.bin; ptpcfg decode one.bin -o one.xml").err, "");
    }
    static std::string repeated(const std::string &text, size_t least_size) {
        std::string result;
        while (result.size() < least_size) {
            result += text;
        }
        return result;
    }
    /** Most memory that a descendant had so far, in KiB. */
    static long peak() {
        rusage usage{};
        getrusage(RUSAGE_CHILDREN, &usage);
        return usage.ru_maxrss;
    }
    /** Runs ptpcfg in a process of its own, whose standard input is the pipe that is returned in `input`. */
    static pid_t start(std::vector<const char *> arguments, int &input, bool has_unnamed_files) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            dup2(ends[0], STDIN_FILENO);
            close(ends[0]);
            close(ends[1]);
            if (!has_unnamed_files) {
                forbid_unnamed_files();
            }
            arguments.insert(arguments.begin(), "ptpcfg");
            arguments.push_back(nullptr);
            execvp("ptpcfg", const_cast<char **>(arguments.data()));
            _exit(127);
        }
        close(ends[0]);
        input = ends[1];
        return child;
    }
    static int wait_for(pid_t child) {
        int status = 0;
        waitpid(child, &status, 0);
        return status;
    }
};

TEST_F(stream, memory_does_not_grow_with_the_input) {
    const char *const options = std::getenv("ASAN_OPTIONS");
    setenv("ASAN_OPTIONS", ((options != nullptr ? options : "") + std::string(":quarantine_size_mb=1")).c_str(), 1);
    write("many.bin", repeated(read("one.bin"), 1'000'000));
    const std::string conversions = R"(
        ptpcfg decode --check many.bin && ptpcfg decode many.bin >many.xml && ptpcfg encode many.xml | cmp - many.bin &&
        ptpcfg print many.bin >/dev/null && ptpcfg decode --explain many.bin >/dev/null &&
        ptpcfg encode --to hex many.bin | ptpcfg encode - | cmp - many.bin)";
    ASSERT_EQ(sh(conversions).status, 0);
    const long before = peak();
    // Made by the shell: what this process needs would count for the processes that it starts.
    ASSERT_EQ(sh("cat many.bin many.bin many.bin many.bin many.bin many.bin >more.bin; mv more.bin many.bin").status,
              0);
    ASSERT_EQ(sh(conversions).status, 0);
    EXPECT_LT(peak() - before, 4096) << "KiB more for 5 MB more, and tens of MB of XML";
}

TEST_F(stream, what_lies_across_two_blocks_is_read_as_one) {
    const std::string message = "<!-- \"> --><?note '>'?>" + read("one.xml") + "<!---->";
    const std::string hex = "# a comment\n0x" + sh("ptpcfg encode --to hex one.bin").out;
    for (size_t before = 1; before < 90; before += 3) {
        write("in.xml", std::string(block - before, ' ') + message);
        write("in.hex", std::string(block - before, ' ') + hex);
        const outcome result = sh("ptpcfg encode in.xml | cmp - one.bin && ptpcfg encode in.hex | cmp - one.bin");
        EXPECT_EQ(result.status, 0) << before << result.out << result.err;
    }
}

TEST_F(stream, xml_is_cut_where_its_elements_end) {
    const std::string message = read("one.xml");
    const std::string two = message + message;
    write("two.bin", read("one.bin") + read("one.bin"));
    for (const std::string &good :
         {two, "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>" + two, "<ptp_cfg>" + two + "</ptp_cfg >",
          "<ptp_cfg time=\"1>2\">" + message + "</ptp_cfg>\n<ptp_cfg time='\"'>" + message + "</ptp_cfg>",
          "<ptp_cfg/>" + two + "<ptp_cfg></ptp_cfg>", "<ptp_cfg><!-- <ptp_cfg> -->" + two + "</ptp_cfg><!-- -->"}) {
        write("in.xml", good);
        EXPECT_EQ(sh("ptpcfg encode in.xml | cmp - two.bin").status, 0) << good;
    }
    const auto lines = std::count(message.begin(), message.end(), '\n');
    const auto in_line = [](auto line) { return "in.xml:" + std::to_string(line) + ":1: "; };
    const std::pair<std::string, std::string> faults[] = {
        {"<ptp_cfg>" + two, in_line(2 * lines + 1) + "not well-formed XML: <ptp_cfg> is not closed"},
        {two + "</ptp_cfg>", "</ptp_cfg> ends nothing that began"},
        {"<ptp_cfg>" + message + "</ptp_cf>", "</ptp_cf> ends nothing"},
        {"<ptp_cfg>" + message + "stray" + message + "</ptp_cfg>",
         in_line(lines + 1) + "text \"stray\" has no place here"},
        {two + "stray", "not well-formed XML: text \"stray\" outside"},
        {message + "<ptp_clock_cfg", "an element's tag is not closed"},
        {message + "<!-- ", "a comment is not closed"},
        {message + "<a b='>", "an attribute's value is not closed"},
        {message + "<a>\n <b>",
         "in.xml:" + std::to_string(lines + 2) + ":3: not well-formed XML: this element is not closed"},
        {message + "<a><!-- ", "not well-formed XML: this comment does not end"},
        {"<!DOCTYPE a><a/>", "document type declaration"},
        {message + "<?xml version='1.0'?>", "a declaration stands at the beginning only"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?>" + message, "only UTF-8 is read"},
        {"<ptp_cfg><ptp_cfg>" + message + "</ptp_cfg></ptp_cfg>", "ptp_cfg: is no message"},
        {"<ptp_cfg colour='red'>" + message + "</ptp_cfg>", "unknown attribute colour"},
        {"<ptp_cfg/>", "holds no message"},
    };
    for (const auto &[bad, reason] : faults) {
        write("in.xml", bad);
        const outcome result = sh("ptpcfg encode in.xml -o out.bin");
        EXPECT_EQ(result.status, 1) << bad;
        EXPECT_THAT(result.err, HasSubstr(reason)) << bad;
    }
    EXPECT_EQ(listing(), "in.xml one.bin one.xml two.bin");
}

TEST_F(stream, faults_of_all_messages_are_told_and_nothing_is_written) {
    std::string bad = read("one.xml");
    bad.insert(bad.find('<', 1), "<wrong/>");
    write("in.xml", repeated(read("one.xml"), block) + bad + read("one.xml") + repeated(bad, 22 * bad.size()));
    const outcome result = sh("ptpcfg encode in.xml -o out.bin");
    EXPECT_EQ(result.status, 1);
    const auto lines = std::count(result.err.begin(), result.err.end(), '\n');
    EXPECT_EQ(lines, 21);
    EXPECT_THAT(result.err, HasSubstr("ptp_clock_delete_cmd/wrong: unknown element"));
    EXPECT_THAT(result.err, EndsWith("ptpcfg: in.xml: and 3 more faults\n"));
    write("in.bin", repeated(read("one.bin"), 3 * block) + "x");
    EXPECT_EQ(sh("ptpcfg decode in.bin -o out.xml").status, 1);
    EXPECT_EQ(listing(), "in.bin in.xml one.bin one.xml");
}

TEST_F(stream, a_reader_that_goes_away_ends_it_quietly) {
    write("many.bin", repeated(read("one.bin"), 1'000'000));
    for (const char *command : {"decode", "print", "decode --explain", "encode --to hex"}) {
        const outcome result = sh("{ ptpcfg " + std::string(command) + " many.bin; echo $? >status; } | head -1");
        EXPECT_EQ(result.err, "") << command;
        EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1) << command;
        EXPECT_EQ(read("status"), "141\n") << command;
    }
}

TEST_F(stream, a_killed_process_leaves_nothing_behind) {
    struct ending {
        int signal;
        bool has_unnamed_files;
    };
    write("out.xml", "older");
    const std::string many = repeated(read("one.bin"), 4 * block);
    for (const ending &each : {ending{SIGKILL, true}, {SIGTERM, true}, {SIGTERM, false}, {SIGINT, false}}) {
        for (const char *output : {"out.xml", "new.xml"}) {
            int input = -1;
            const pid_t child = start({"decode", "--from", "bin", "-o", output}, input, each.has_unnamed_files);
            for (size_t done = 0; done < many.size();) {
                const ssize_t count = ::write(input, many.data() + done, many.size() - done);
                ASSERT_GT(count, 0);
                done += static_cast<size_t>(count);
            }
            // The pipe is empty: all was read, and most of it written.
            EXPECT_EQ(kill(child, each.signal), 0);
            const int status = wait_for(child);
            close(input);
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == each.signal) << status;
            EXPECT_EQ(listing(), "one.bin one.xml out.xml") << each.signal << output;
            EXPECT_EQ(read("out.xml"), "older");
        }
    }
}

TEST_F(stream, a_file_takes_its_name_in_one_step_on_every_file_system) {
    umask(022);
    for (const bool has_unnamed_files : {true, false}) {
        write("older.bin", "older");
        ASSERT_EQ(chmod("older.bin", 0640), 0);
        for (const char *output : {"older.bin", "new.bin"}) {
            int input = -1;
            const pid_t child = start({"encode", "--from", "bin", "-o", output}, input, has_unnamed_files);
            const std::string bytes = read("one.bin");
            EXPECT_EQ(::write(input, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
            close(input);
            EXPECT_EQ(wait_for(child), 0);
            EXPECT_EQ(read(output), bytes);
        }
        EXPECT_EQ(listing(), "new.bin older.bin one.bin one.xml");
        EXPECT_EQ(sh("stat -c %a older.bin new.bin; rm new.bin").out, "640\n644\n");
    }
}

}  // namespace
