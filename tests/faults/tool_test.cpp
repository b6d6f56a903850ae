// ptpcfg as a process in which one system call fails: it does its work, or ends with an error that it names, and a file
// that it was to write is then as it was.
#include <gtest/gtest.h>

#include <csignal>

#include "../tools/shell.h"
#include "failing_calls.h"

namespace {

/** A command line that makes or changes a file. */
struct command {
    const char *words;
    const char *file;  ///< that it writes; "" for standard output
};

class ToolFaults : public shell_test {
  protected:
    void SetUp() override {
        shell_test::SetUp();
        sh("cp $CLOCKS/g8275_1_boundary_clock.xml clock.xml; ptpcfg encode clock.xml -o clock.bin;"
           "ptpcfg convert clock.bin -o clock.yaml; echo old > old.bin; mkdir .kept; cp * .kept");
    }

    /** Runs the command after everything is as in the beginning, with a call that fails. */
    outcome run(const command &of, unsigned number, unsigned way) {
        return sh("rm -rf *; cp .kept/* .; rm -f .failed; LD_PRELOAD=" FAILING_CALLS
                  " PTP_CFG_FAILED_CALL=.failed "
                  "PTP_CFG_FAIL_CALL=" +
                  std::to_string(number) + ":" + std::to_string(way) + " ptpcfg " + of.words);
    }
    /** What the command is to make, or leave. */
    std::string result(const command &of, const outcome &came) { return of.file[0] == 0 ? came.out : read(of.file); }
};

TEST_F(ToolFaults, EndInWorkThatIsDoneOrInAnErrorWithTheFileAsItWas) {
    constexpr command commands[] = {
        {"encode clock.xml -o old.bin", "old.bin"},
        {"convert clock.bin -o new.json", "new.json"},
        {"edit clock.yaml priority1=77", "clock.yaml"},
        {"decode clock.bin", ""},
    };
    for (const command &each : commands) {
        run(each, 0, 0);
        const std::string before = sh("cat .kept/" + std::string(each.file) + " 2>/dev/null").out;
        const outcome without = run(each, 0, 0);
        ASSERT_EQ(without.status, 0) << without.err;
        const std::string wanted = result(each, without);
        const std::string names = listing();
        for (unsigned way = 0; way < test::most_ways; ++way) {
            for (unsigned number = 1;; ++number) {
                const outcome came = run(each, number, way);
                const std::string failed = read(".failed");
                if (failed.empty()) {
                    break;
                }
                sh("rm -f .failed");
                SCOPED_TRACE(std::string(each.words) + ", call " + std::to_string(number) + ", " + failed + came.err);
                const bool is_harmless = failed.ends_with(": \n") || failed.find("less than") != std::string::npos ||
                                         failed.find("EINTR") != std::string::npos;
                if (each.file[0] == 0 && failed.find("EPIPE") != std::string::npos) {
                    ASSERT_EQ(came.status, 128 + SIGPIPE) << "nobody reads any more, as for every tool";
                    continue;
                }
                ASSERT_LT(came.status, 125) << "it was ended";
                ASSERT_TRUE(came.status == 0 || !is_harmless);
                ASSERT_TRUE(came.status == 0 || !came.err.empty());
                if (came.status == 0) {
                    ASSERT_EQ(result(each, came), wanted);
                } else if (each.file[0] != 0) {
                    ASSERT_EQ(read(each.file), before) << "half done";
                    ASSERT_LE(listing().size(), names.size()) << "something is left: " << listing();
                }
            }
        }
    }
}

}  // namespace
