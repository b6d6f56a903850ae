// Bad input: the fault is named with its place, the exit code is right, and nothing is left behind.
#include <gmock/gmock.h>

#include <random>

#include "shell.h"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

class bad_input : public shell_test {
  protected:
    /** A clock message with one field. */
    static std::string clock(const std::string &fields) {
        return "<ptp_clock_cfg>\n <ptp_clock>\n  " + fields + "\n </ptp_clock>\n</ptp_clock_cfg>\n";
    }
};

struct xml_fault {
    const char *fields;
    const char *reason;
};

TEST_F(bad_input, xml_that_the_types_do_not_know_is_refused_with_its_place) {
    const xml_fault faults[] = {
        {"<clk_modus/>",
         "in.xml:3:4: ptp_clock_cfg/ptp_clock/clk_modus: unknown element in ptp_clock; did you mean "
         "clk_mode?"},
        {"<modify>true</modify><modify>true</modify>", "ptp_clock/modify[2]: stands here a second time; keep one"},
        {"<clk_mode><VELA_PTP_CLOCK_MODE_BD/></clk_mode>",
         "unknown literal of ptp_clock_mode; did you mean "
         "VELA_PTP_CLOCK_MODE_BC?"},
        {"<clk_mode/>", "has no value"},
        {"<clk_mode>x</clk_mode>", "text 'x' has no place here"},
        {"<clk_mode>4294967296</clk_mode>", "a number from 0 to 4294967295"},
        {"<clk_mode><VELA_PTP_CLOCK_MODE_BC/><VELA_PTP_CLOCK_MODE_BC/></clk_mode>", "is a second value of clk_mode"},
        {"<clk_mode><ptp_clock_mode value out of range/></clk_mode>",
         "had no literal when this was written, and is lost"},
        {"<default_data_set><priority1>256</priority1></default_data_set>", "value '256' is not a u_int8 (0 to 255)"},
        {"<default_data_set><priority1>-1</priority1></default_data_set>", "value '-1' is not a u_int8 (0 to 255)"},
        {"<default_data_set><priority1/></default_data_set>", "priority1: value '' is not a u_int8"},
        {"<time_properties><currentUtcOffset>32768</currentUtcOffset></time_properties>",
         "value '32768' is not an int16 (-32768 to 32767)"},
        {"<clock_handle>18446744073709551616</clock_handle>", "(0 to 18446744073709551615)"},
        {"<clock_handle>1 2</clock_handle>", "value '1 2' is not a u_int64"},
        {"<warm_restart>maybe</warm_restart>", "value 'maybe' is not a vela_boolean (true, false, 1 or 0)"},
        {"<warm_restart colour=\"red\">true</warm_restart>", "unknown attribute colour"},
        {"<warm_restart state=\"256\">true</warm_restart>", "state '256' is not a number from 0 to 255"},
        {"<warm_restart><b/></warm_restart>", "unknown element; a value is wanted in <warm_restart>"},
        {"<default_data_set><clk_id>AA-BB-CC-FF-FE-00-03</clk_id></default_data_set>",
         "clk_id: 'AA-BB-CC-FF-FE-00-03' is not 8 bytes as AA-BB-CC-FF-FE-00-03-30, or an element <ptp_clk_id> for"},
        {"<default_data_set><clk_id>AA:BB:CC:FF:FE:00:03:30</clk_id></default_data_set>", "is not 8 bytes as AA-BB"},
        {"stray", "text 'stray' has no place here"},
        {"<default_data_set><clk_id><ptp_clk_id>1</ptp_clk_id><ptp_clk_id>2</ptp_clk_id><ptp_clk_id>3</ptp_clk_id>"
         "<ptp_clk_id>4</ptp_clk_id><ptp_clk_id>5</ptp_clk_id><ptp_clk_id>6</ptp_clk_id><ptp_clk_id>7</ptp_clk_id>"
         "<ptp_clk_id>8</ptp_clk_id><ptp_clk_id>9</ptp_clk_id></clk_id></default_data_set>",
         "one too many; at most 8 are allowed"},
    };
    for (const xml_fault &fault : faults) {
        write("in.xml", clock(fault.fields));
        const outcome result = sh("ptpcfg encode in.xml -o out.bin");
        EXPECT_EQ(result.status, 1) << fault.fields;
        EXPECT_THAT(result.err, HasSubstr(fault.reason));
        EXPECT_THAT(result.err, MatchesRegex("ptpcfg: in\\.xml:[0-9]+:[0-9]+: ptp_clock_cfg.*\n")) << fault.fields;
        EXPECT_EQ(listing(), "in.xml") << fault.fields;
    }
}

TEST_F(bad_input, plain_reading_skips_what_strict_reading_refuses_and_complete_reading_wants_all) {
    write("in.xml", clock("<clk_modus/><clk_mode>words</clk_mode><modify>true</modify><modify>false</modify>"));
    EXPECT_EQ(sh("ptpcfg encode in.xml").status, 1);
    const outcome plain = sh("ptpcfg encode --plain in.xml | ptpcfg decode");
    EXPECT_EQ(plain.err, "");
    EXPECT_THAT(plain.out, HasSubstr("<modify>true</modify>"));
    write("in.xml", clock("<modify>maybe</modify>"));
    EXPECT_THAT(sh("ptpcfg encode --plain in.xml").err,
                MatchesRegex("ptpcfg: in.xml:1:2: ptp_clock_cfg: element .*: value 'maybe' is not .*\n"));

    write("in.xml", clock("<modify>true</modify>"));
    EXPECT_EQ(sh("ptpcfg encode in.xml -o a.bin && ptpcfg decode a.bin | ptpcfg encode --complete | cmp a.bin -").err,
              "");
    EXPECT_THAT(sh("ptpcfg encode --complete in.xml").err,
                HasSubstr("in.xml:2:3: ptp_clock_cfg/ptp_clock: <clk_mode> is missing; add it"));
    EXPECT_EQ(sh("ptpcfg encode --complete --plain in.xml").status, 2);
}

TEST_F(bad_input, a_text_holds_255_characters_whatever_they_take_in_xml) {
    const auto port = [](size_t count, const std::string &character) {
        std::string name;
        for (size_t index = 0; index < count; ++index) {
            name += character;
        }
        return "<ptp_port_cfg><ptp_port><port_name>" + name + "</port_name></ptp_port></ptp_port_cfg>";
    };
    for (const char *character : {"x", "&amp;", "\\\\", "\\xFF"}) {
        write("in.xml", port(255, character));
        EXPECT_EQ(sh("ptpcfg encode in.xml -o a.bin && ptpcfg decode a.bin | ptpcfg encode | cmp a.bin -").err, "");
        write("in.xml", port(256, character));
        EXPECT_THAT(sh("ptpcfg encode in.xml").err,
                    HasSubstr("port_name: 256 characters are more than the 255 it can hold"));
    }
    write("in.xml", port(1, "\\q"));
    EXPECT_EQ(sh("ptpcfg encode in.xml").status, 1);
}

TEST_F(bad_input, all_faults_of_a_file_are_told_at_once) {
    write("in.xml", clock("<modify>7x</modify>\n<nothing/>\n<clk_mode><NO/></clk_mode>"));
    const outcome result = sh("ptpcfg encode in.xml");
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 3) << result.err;
    EXPECT_EQ(result.out, "");
}

TEST_F(bad_input, what_is_no_message_is_refused) {
    const std::pair<const char *, const char *> cases[] = {
        {"", "in.xml: is empty"},
        {" \n ", "in.xml: is empty"},
        {"<ptp_clock_cfg><ptp_clock>", "not well-formed XML"},
        {"<ptp_clock_cfg></ptp_clock>", "not well-formed XML"},
        {"no xml at all", "not well-formed XML"},
        {"<!-- a -- b --><ptp_clock_cfg/>", "not well-formed XML: '--' within a comment"},
        {"<ptp_clock_cfg>]]></ptp_clock_cfg>", "in.xml:1:16: not well-formed XML: ']]>' in a text"},
        {"<ptp_clock_cfg state='1'\nstate='2'/>", "in.xml:2:1: not well-formed XML: an attribute of a name"},
        {"<ptp_cfg>\n <ptp_clock_cfg><a>\x01</a></ptp_clock_cfg></ptp_cfg>", "in.xml:2:20: not well-formed XML"},
        {"<ptp_clock_cfg>\xFF</ptp_clock_cfg>", "in.xml:1:16: not well-formed XML: bytes that are no UTF-8"},
        {"<?xml version='1.0' encoding='UTF-8' standalone='perhaps'?><ptp_clock_cfg/>", "a wrong XML declaration"},
        {"<!DOCTYPE a [<!ENTITY b \"c\">]><ptp_clock_cfg/>", "document type declaration"},
        {"<ptp_clock/>", "use --type ptp_clock"},
        {"<ptp_clock_cfg/>", "<ptp_clock> is missing"},
        {"<ptp_cfg/>", "holds no message"},
        {"<ptp_clock_cfg_message/>", "is no message"},
    };
    for (const auto &[text, reason] : cases) {
        write("in.xml", text);
        const outcome result = sh("ptpcfg encode in.xml");
        EXPECT_EQ(result.status, 1) << text;
        EXPECT_THAT(result.err, HasSubstr(reason)) << text;
        EXPECT_EQ(result.out, "") << text;
    }
}

TEST_F(bad_input, every_cut_of_a_message_is_a_fault_that_names_the_place) {
    for (const char *option : {"", "--tracked"}) {
        ASSERT_EQ(sh(std::string("ptpcfg encode $CLOCKS/modify_priority.xml -o whole.bin ") + option).status, 0);
        const size_t size = read("whole.bin").size();
        for (size_t length = 0; length < size; ++length) {
            write("cut.bin", read("whole.bin").substr(0, length));
            const outcome decoded = sh("ptpcfg decode cut.bin -o out.xml");
            EXPECT_EQ(decoded.status, 1) << length;
            EXPECT_THAT(decoded.err, HasSubstr(length == 0 ? "cut.bin: is empty" : "cut.bin: offset ")) << length;
            const outcome explained = sh("ptpcfg decode --explain cut.bin");
            EXPECT_EQ(explained.status, 1) << length;
            EXPECT_EQ(explained.out.empty(), length == 0) << length;
        }
        EXPECT_EQ(listing(), "cut.bin whole.bin");
    }
}

TEST_F(bad_input, bytes_that_lie_are_refused) {
    ASSERT_EQ(sh("ptpcfg encode $CLOCKS/delete_clock.xml -o good.bin").status, 0);
    const std::string good = read("good.bin");
    struct lie {
        size_t offset;
        std::string bytes;
        const char *reason;
    };
    const lie lies[] = {
        {0, "\x01", "offset 0: byte 01 does not begin a message"},
        {12, std::string("\xff\xff\xff\xff", 4), "offset 12: the header gives the message 4294967295 bytes"},
        {15, std::string("\x05", 1), "offset 12: the header gives the message 5 bytes"},
        {27, "\x55", "offset 27: identity: no message is known as 55"},
        {45, std::string("\xff\xff\xff\xff", 4), "ptp_clock_delete/jump: ends"},
        {45, std::string("\0\0\0\4", 4),
         "offset 45: ptp_clock_delete/jump: says that the record ends after 4 bytes, but "},
        {45, std::string("\0\0\0\0", 4), "ptp_clock_delete/jump: says that the record ends after 0 bytes"},
        {good.size(), "\x01\x02", "does not begin a message"},
    };
    for (const lie &lie : lies) {
        std::string bytes = good;
        bytes.replace(lie.offset, lie.bytes.size(), lie.bytes);
        write("bad.bin", bytes);
        const outcome result = sh("ptpcfg decode bad.bin");
        EXPECT_EQ(result.status, 1) << lie.reason;
        EXPECT_THAT(result.err, HasSubstr(lie.reason));
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(sh("ptpcfg decode --explain bad.bin").status, 1) << lie.reason;
    }
    EXPECT_EQ(sh("head -c 3000 /dev/urandom | ptpcfg decode --from bin").status, 1);
    EXPECT_THAT(sh("echo 'bc 0' | ptpcfg decode").err, HasSubstr("standard input:1:4: a pair of hexadecimal digits"));
}

TEST_F(bad_input, damaged_bytes_end_in_a_fault_or_a_record_never_in_a_crash) {
    ASSERT_EQ(sh("for option in '' --tracked; do for name in ptp_port_cfg ptp_bmca_data_msg ptp_port_data_set_info; do "
                 "ptpcfg describe --xml $name | ptpcfg encode $option -o $name$option.bin || exit; done; done")
                  .status,
              0);
    std::mt19937 random(1588);
    int number = 0;
    for (const char *name : {"ptp_port_cfg", "ptp_bmca_data_msg", "ptp_port_data_set_info"}) {
        for (const char *option : {"", "--tracked"}) {
            const std::string good = read(std::string(name) + option + ".bin");
            for (int round = 0; round < 12; ++round) {
                std::string bytes = good;
                for (int change = 0; change <= round % 3; ++change) {
                    const size_t at = round % 2 == 0 ? 43 + random() % (bytes.size() - 43) : random() % bytes.size();
                    bytes[at] = static_cast<char>(random());
                }
                write("damaged" + std::to_string(number++), bytes);
            }
        }
    }
    const outcome result = sh(R"(
        for file in damaged*; do
            for command in decode "decode --explain" print; do
                ptpcfg $command --from bin $file >out.txt 2>err.txt
                case $? in
                0) test ! -s err.txt || echo "$command $file wrote a fault and succeeded" ;;
                1) grep -q "^ptpcfg: $file: offset" err.txt || { echo "$command $file"; cat err.txt; } ;;
                *) echo "$command $file ended with $?"; cat err.txt ;;
                esac
            done
        done)");
    EXPECT_EQ(result.out, "");
}

TEST_F(bad_input, files_that_cannot_be_used_are_named) {
    const std::string good = "ptpcfg encode $CLOCKS/delete_clock.xml ";
    ASSERT_EQ(sh("mkdir folder").status, 0);
    const std::pair<std::string, const char *> cases[] = {
        {"ptpcfg encode none.xml", "ptpcfg: none.xml: cannot open: No such file"},
        {"ptpcfg decode folder", "ptpcfg: folder: cannot read: Is a directory"},
        {good + "-o none/out.bin", "ptpcfg: none/out.bin: cannot create: No such file"},
        {good + ">/dev/full", "ptpcfg: standard output: cannot write: No space left"},
        {good + "-o /dev/full", "ptpcfg: /dev/full: cannot write: No space left"},
        {"ptpcfg decode - <&-", "ptpcfg: standard input: cannot read: Bad file"},
        {"{ " + good + "2>err.txt; cat err.txt >&2; test $? -eq 0; } | true; " + good + ">&-", "standard output"},
    };
    for (const auto &[script, reason] : cases) {
        const outcome result = sh(script);
        EXPECT_EQ(result.status, 3) << script;
        EXPECT_THAT(result.err, HasSubstr(reason)) << script;
    }
}

TEST_F(bad_input, a_failure_leaves_an_older_output_as_it_was) {
    write("out.bin", "older");
    write("in.xml", "<ptp_clock_cfg>");
    EXPECT_EQ(sh("ptpcfg encode in.xml -o out.bin").status, 1);
    EXPECT_EQ(read("out.bin"), "older");
    // A file-size limit is a full disk that needs no mount.
    EXPECT_EQ(sh("trap '' XFSZ; ulimit -f 0; ptpcfg encode $CLOCKS/delete_clock.xml -o out.bin 2>/dev/null").status, 3);
    EXPECT_EQ(read("out.bin"), "older");
    EXPECT_EQ(listing(), "in.xml out.bin");
    EXPECT_EQ(sh("chmod 640 out.bin; ln -s out.bin link.bin; ptpcfg encode $CLOCKS/delete_clock.xml -o link.bin && "
                 "stat -c %a out.bin && test -L link.bin")
                  .out,
              "640\n");
    EXPECT_NE(read("out.bin"), "older");
}

TEST_F(bad_input, wrong_command_lines_are_usage_errors) {
    for (const char *script : {"ptpcfg", "ptpcfg nothing", "ptpcfg encode --to jpeg", "ptpcfg encode --from text -",
                               "ptpcfg encode --type no_such_type -", "ptpcfg decode --explain --to xml",
                               "ptpcfg describe no_such_type", "ptpcfg describe ptp_port --variant 7", "ptpcfg send",
                               "ptpcfg listen unix:x --channel nothing", "ptpcfg encode a b"}) {
        const outcome result = sh(std::string(script) + " </dev/null");
        EXPECT_EQ(result.status, 2) << script;
        EXPECT_NE(result.err, "") << script;
    }
    EXPECT_EQ(sh("ptpcfg --version && ptpcfg encode --help").status, 0);
    const std::pair<const char *, const char *> sentences[] = {
        {"ptpcfg", "ptpcfg: A subcommand is required; 'ptpcfg --help' lists them\n"},
        {"ptpcfg decod clock.bin",
         "ptpcfg: there is no subcommand 'decod'; did you mean decode? 'ptpcfg --help' lists the subcommands\n"},
        {"ptpcfg --domain ptp_port=0 xyzzy",
         "ptpcfg: there is no subcommand 'xyzzy'; 'ptpcfg --help' lists the subcommands\n"},
        {"ptpcfg --trase decode",
         "ptpcfg: decode: The following argument was not expected: --trase; "
         "'ptpcfg decode --help' says more\n"},
        {"ptpcfg encode --domain ptp_clock=1 x", "ptpcfg: --domain ptp_clock=1: ptp_clock has variant 0 only\n"},
        {"ptpcfg describe ptp_port --variant 7", "ptpcfg: --variant 7: ptp_port has the variants 0 to 1\n"},
        {"ptpcfg diff clock.xml", "ptpcfg: diff: 'right' is missing; 'ptpcfg diff --help' says more\n"},
        {"ptpcfg schema",
         "ptpcfg: schema: one of --json-schema and --yang is wanted; 'ptpcfg schema --help' says more\n"},
        {"ptpcfg listen unix:x --count many",
         "ptpcfg: listen: --count = many is no number that it takes; 'ptpcfg listen --help' says more\n"},
        {"ptpcfg describe ptp_clock.xyzzy",
         "ptpcfg: ptp_clock has no field 'xyzzy'; 'ptpcfg describe ptp_clock' lists them\n"},
        {"ptpcfg --foo", "ptpcfg: unknown option --foo; 'ptpcfg --help' lists them\n"},
        {"ptpcfg encode a b",
         "ptpcfg: encode: The following argument was not expected: b; 'ptpcfg encode --help' says "
         "more\n"},
        {"ptpcfg decode --check -o x y",
         "ptpcfg: decode: --output excludes --check; 'ptpcfg decode --help' says more\n"},
        {"ptpcfg record tcp:127.0.0.1:70000 a.rec",
         "ptpcfg: 'tcp:127.0.0.1:70000': expected a numeric address and a port from 0 to 65535, tcp:127.0.0.1:4711 or "
         "tcp:[::1]:4711\n"},
    };
    for (const auto &[script, sentence] : sentences) {
        const outcome result = sh(script);
        EXPECT_EQ(result.status, 2) << script;
        EXPECT_EQ(result.err, sentence);
    }
}

}  // namespace
