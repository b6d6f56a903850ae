// Every example of the help texts, the manual and the documents is run as it stands there.
#include <gmock/gmock.h>

#include <regex>
#include <set>
#include <sstream>

#include "recording_fixture.h"

using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

/** A command line, and where it stands. */
struct example {
    std::string place;
    std::string line;
};

class examples : public recording {
  protected:
    /** The files that examples name; all paths of the system become ones of the test's folder. */
    static void prepare() {
        ASSERT_EQ(sh(R"sh(
            mkdir run && ln -s $CLOCKS/.. examples &&
            cp $CLOCKS/g8275_1_boundary_clock.xml clock.xml && cp $CLOCKS/g8275_1_port.xml port.xml &&
            ptpcfg convert clock.xml -o clock.bin && ptpcfg convert clock.xml -o clock.json &&
            ptpcfg convert clock.xml -o clock.yaml && ptpcfg convert port.xml -o port.json &&
            ptpcfg --trace=ptpd.trace decode clock.bin -o old.xml && cp ptpd.trace run/trace && cp ptpd.trace run/)sh")
                      .err,
                  "");
        ASSERT_EQ(sh(SHARE_TYPES " ptp.types 1 && cp ptp.types run/").err, "");
        const std::string clock = read("clock.bin");
        constexpr u_int64 start = u_int64{1'774'747'795} * second;  // 2026-03-29T01:29:55Z
        for (const char *name : {"ptp.rec", "before.rec", "after.rec"}) {
            make(name, {{start, clock, 0}, {start + 10 * second, clock, 0}, {start + 10 * second + 1, clock, 0}});
        }
        ASSERT_EQ(sh("mkdir keep && cp *.* keep/").err, "");
    }

    static void collect(const std::string &place, const std::string &text, const std::string &pattern,
                        std::vector<example> &found) {
        const std::regex begins(pattern);
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            std::smatch match;
            if (std::regex_search(line, match, begins)) {
                found.push_back({place, std::regex_replace(match[1].str(), std::regex(" +#.*"), "")});
            }
        }
    }

    /** Where the transport's other end is; empty where the line has none. */
    static std::string uri_of(const std::string &line) {
        std::smatch match;
        return std::regex_search(line, match, std::regex("unix:[^ ]+")) ? match[0].str() : "";
    }

    /** Runs a line with what it needs at the other end, and ends it when it has no end of its own. */
    static outcome run(std::string line) {
        line = std::regex_replace(line, std::regex("/run/|/dev/shm/|/var/lib/ptpd/"), "run/");
        const std::string uri = uri_of(line);
        const bool receives = std::regex_search(line, std::regex("ptpcfg (--trace=FILE )?(listen|record|top)"));
        const bool follows = line.find("--follow") != std::string::npos;
        const std::string ended = receives || follows ? "exec timeout --preserve-status -s INT 1 " : "";
        write("line.sh", ended + line + "\n");
        const std::string run = "timeout 60 sh ./line.sh </dev/null; status=$?\n";
        const std::string other = uri.empty() ? ""
                                  : receives  ? "(for i in 1 2 3 4 5 6 7 8 9 10 11 12; do ptpcfg send " + uri +
                                                   " clock.bin --timeout 2; done) >/dev/null 2>&1 & peer=$!\n"
                                             : "ptpcfg listen " + uri + " >/dev/null 2>&1 & peer=$!\n";
        sh("cp keep/* .");  // an example may have changed them
        return sh(other + run + (uri.empty() ? "" : "kill $peer 2>/dev/null\nwait $peer 2>/dev/null\n") +
                  "exit $status");
    }

    /** Each line once; those for a running agent belong to its tests. */
    static void run_all(const std::vector<example> &found) {
        std::set<std::string> done;
        for (const example &each : found) {
            if (!done.insert(each.line).second || each.line.starts_with("ptpcfg agent")) {
                continue;
            }
            const outcome result = run(each.line);
            const bool compares = each.line.starts_with("ptpcfg diff");
            EXPECT_LE(result.status, compares ? 1 : 0) << each.place << ": " << each.line << "\n" << result.err;
        }
    }
};

TEST_F(examples, of_help_texts_do_what_they_say_and_stand_in_the_manual) {
    prepare();
    std::vector<example> found;
    std::istringstream names(
        sh("ptpcfg --help | awk '/^[A-Z].*:$/ { on = $1 != \"Options:\" } on && /^  [a-z]/ { print $1 }'").out);
    for (std::string name; names >> name;) {
        const size_t before = found.size();
        collect("help of " + name, sh("COLUMNS=500 ptpcfg " + name + " --help").out, "^  ((printf .*\\| )?ptpcfg .*)",
                found);
        EXPECT_TRUE(found.size() > before || name == "agent") << name << " has no example";
    }
    EXPECT_GE(found.size(), 30u);
    write("manual", sh("ptpcfg manual").out);
    for (const example &each : found) {
        std::string line = std::regex_replace(each.line, std::regex("\\\\"), "\\e");
        line = std::regex_replace(line, std::regex("-"), "\\-");
        EXPECT_THAT(read("manual"), HasSubstr("\n" + line + "\n"));
    }
    run_all(found);
}

TEST_F(examples, of_documents_do_what_they_say) {
    prepare();
    std::vector<example> found;
    const std::string root = std::string(EXAMPLES_FOLDER) + "/../";
    for (const char *name : {"README.md", "docs/ptpcfg.md", "docs/recorder.md", "docs/trace.md"}) {
        const size_t before = found.size();
        collect(name, read(root + name), "^    ((printf .*\\| )?ptpcfg .*)", found);
        EXPECT_GT(found.size(), before) << name;
    }
    run_all(found);
}

// ---- what is generated from the same definitions --------------------------------------------------------------------

TEST_F(examples, the_manual_is_roff_without_a_warning_and_names_every_subcommand) {
    if (sh("command -v groff").status != 0) {
        GTEST_SKIP() << "groff is not installed";
    }
    const outcome page = sh("ptpcfg manual -o ptpcfg.1 && groff -man -Tascii -ww -rLL=78n ptpcfg.1 | col -bx");
    EXPECT_EQ(page.err, "");
    for (const char *text : {"ptpcfg - configuration records", "ptpcfg diff [OPTIONS] FILE FILE", "--ignore FIELD",
                             "ptpcfg agent status", "EXIT STATUS", "NO_COLOR", "(bash, zsh, fish)"}) {
        EXPECT_THAT(page.out, HasSubstr(text)) << text;
    }
}

struct completion {
    const char *words;  // of a command line, the last one to be completed
    const char *has;
    const char *has_not;
};

constexpr completion completions[] = {
    {"ptpcfg enc", "encode", "decode"},
    {"ptpcfg encode --tra", "--tracked", "--explain"},
    {"ptpcfg encode clock.xml --to j", "json", "xml"},
    {"ptpcfg encode cl", "clock.xml", "encode"},
    {"ptpcfg agent st", "status", "stats"},
    {"ptpcfg describe ptp_clock_c", "ptp_clock_cfg", "clock.xml"},
    {"ptpcfg send unix:x --channel sk", "skein", "osprey"},
};

TEST_F(examples, bash_completes_command_lines) {
    ASSERT_EQ(sh("ptpcfg completion bash -o ptpcfg.bash && touch clock.xml").err, "");
    for (const completion &row : completions) {
        const outcome result =
            sh(std::string("bash -c '. ./ptpcfg.bash; COMP_WORDS=(") + row.words +
               "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _ptpcfg; printf \"%s\\n\" \"${COMPREPLY[@]}\"'");
        EXPECT_EQ(result.err, "") << row.words;
        EXPECT_THAT("\n" + result.out, HasSubstr("\n" + std::string(row.has) + "\n")) << row.words;
        EXPECT_THAT("\n" + result.out, Not(HasSubstr("\n" + std::string(row.has_not) + "\n"))) << row.words;
    }
}

TEST_F(examples, fish_completes_command_lines) {
    if (sh("command -v fish").status != 0) {
        GTEST_SKIP() << "fish is not installed";
    }
    ASSERT_EQ(sh("ptpcfg completion fish -o ptpcfg.fish && touch clock.xml").err, "");
    for (const completion &row : completions) {
        const outcome result = sh(std::string("HOME=$PWD fish --no-config -c 'source ptpcfg.fish; complete -C \"") +
                                  row.words + "\"' | cut -f1");
        EXPECT_THAT("\n" + result.out, HasSubstr("\n" + std::string(row.has) + "\n")) << row.words << result.err;
        EXPECT_THAT("\n" + result.out, Not(HasSubstr("\n" + std::string(row.has_not) + "\n"))) << row.words;
    }
}

TEST_F(examples, zsh_completes_command_lines) {
    if (sh("command -v zsh").status != 0) {
        GTEST_SKIP() << "zsh is not installed";
    }
    write("ask.zsh", R"(zmodload zsh/zpty
        zpty z "TERM=dumb PS1= zsh -f -i"
        zpty -w z "setopt no_beep; fpath=($PWD \$fpath); autoload -U compinit; compinit -u -D; zstyle ':completion:*' list-colors; LISTMAX=1000; unsetopt prompt_sp prompt_cr; cd $PWD; PS1=rea''dy"
        # Not before its editor shows the prompt does it take keys as such.
        zpty -r -m z line '*ready*' || exit 1
        zpty -w -n z "$1"$'\t\t'
        all=
        for tenth in {1..150}; do
            while zpty -r -t z line; do all+=$line; done
            [[ $all == *$2* ]] && break
            sleep 0.1
        done
        print -r -- $all
        zpty -d z)");
    ASSERT_EQ(sh("ptpcfg completion zsh -o _ptpcfg && touch clock.xml && zsh -n _ptpcfg").err, "");
    for (const completion &row : completions) {
        const outcome result =
            sh(std::string("HOME=$PWD timeout 20 zsh -f ask.zsh '") + row.words + "' '" + row.has + "'");
        EXPECT_THAT(result.out, HasSubstr(row.has)) << row.words << result.err;
    }
}

// ---- terminals ------------------------------------------------------------------------------------------------------

TEST_F(examples, lines_fit_the_width_and_colours_are_for_terminals_alone) {
    // A line is longer than the terminal is wide only where it is a single word.
    const auto too_long = [](const std::string &text, size_t width) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            const size_t begin = std::min(line.find_first_not_of(' '), line.size());
            if (line.size() > width && line.find(' ', begin) != std::string::npos) {
                return line;
            }
        }
        return std::string();
    };
    for (const size_t width : {40u, 50u, 72u, 90u, 150u}) {
        for (const char *command : {"--help", "describe ptp_clock", "describe u_int8", "describe clk_mode",
                                    "search holdover", "describe ptp_clock --variant 0", "listen --help"}) {
            const outcome result = sh("COLUMNS=" + std::to_string(width) + " ptpcfg " + command);
            EXPECT_EQ(too_long(result.out, width), "") << command << " at " << width;
        }
    }
    EXPECT_NE(too_long(sh("ptpcfg describe").out, 120), "");
    EXPECT_THAT(
        sh("COLUMNS=40 ptpcfg listen --help").out,
        HasSubstr("  --channel {gable,wicket,skein,osprey}\n      [gable]\n      which of the transport's channels"));
    EXPECT_THAT(sh("ptpcfg listen --help").out, Not(ContainsRegex("NONNEGATIVE|FLOAT|e[+]0|Excludes|REQUIRED")));
    EXPECT_THAT(sh("COLUMNS=50 ptpcfg search holdover").out,
                HasSubstr("ptp_utc_holdover_timeout  structure\n    Holdover timeout of the UTC offset.\n"));
    ASSERT_EQ(sh("cp $CLOCKS/g8275_1_boundary_clock.xml a.xml && ptpcfg edit a.xml priority1=1 -o - >b.xml").err, "");
    const auto on_terminal = [](const std::string &environment) {
        return sh("script -qec 'env " + environment + " ptpcfg diff a.xml b.xml' /dev/null </dev/null").out;
    };
    EXPECT_THAT(on_terminal("TERM=xterm"), HasSubstr("\033[31m128\033[0m -> \033[32m1\033[0m"));
    EXPECT_THAT(on_terminal("TERM=xterm NO_COLOR=1"), HasSubstr("priority1: 128 -> 1"));
    EXPECT_THAT(on_terminal("TERM=dumb"), HasSubstr("priority1: 128 -> 1"));
    EXPECT_THAT(sh("TERM=xterm ptpcfg diff a.xml b.xml").out, HasSubstr("priority1: 128 -> 1"));
}

}  // namespace
