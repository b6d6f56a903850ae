// Bad input of every format: one table of what is wrong, what is told, and how the tool ends. No output is begun.
#include <gmock/gmock.h>

#include <fstream>

#include "recording_fixture.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string repeated(size_t count, const std::string &text) {
    std::string result;
    result.reserve(count * text.size());
    while (count-- > 0) {
        result += text;
    }
    return result;
}

/** A text as UTF-16 with its byte order mark. */
std::string utf16(const std::string &text) {
    std::string result = "\xFF\xFE";
    for (const char character : text) {
        result += std::string(1, character) + '\0';
    }
    return result;
}

/** Little memory for what follows in a script; a sanitizer reserves addresses beyond any limit. */
#ifdef __SANITIZE_ADDRESS__
#define IN_LITTLE_MEMORY ""
#else
#define IN_LITTLE_MEMORY "ulimit -v 1000000\n"
#endif

struct bad_file {
    const char *name;
    const char *kind;  // of what is wrong
    std::string content;
    const char *told;
};

class bad_formats : public recording {
  protected:
    void SetUp() override {
        recording::SetUp();
        ASSERT_EQ(
            sh("cp $CLOCKS/delete_clock.xml good.xml && ptpcfg encode good.xml -o good.bin && ptpcfg convert good.xml "
               "-o good.hex")
                .status,
            0);
        make("good.rec", {{noon, read("good.bin"), 0}, {noon + 1, read("good.bin"), 0}});
    }

    /** A bundle of one message, whose head says what it is told. */
    static std::string bundle(const std::string &messages, unsigned char count, size_t length) {
        std::string bytes("VBND\1\0\0\0\0\0\0", 11);
        bytes += static_cast<char>(count);
        for (const int shift : {24, 16, 8, 0}) {
            bytes += static_cast<char>(length >> shift);
        }
        const size_t size = messages.size();
        bytes += std::string("\0\0\0", 3) + static_cast<char>(size);
        return bytes + messages;
    }

    static std::vector<bad_file> bytes_and_digits() {
        const std::string good = read("good.bin");
        std::string huge = good;
        huge.replace(12, 4, "\x7f\xff\xff\xff");
        const std::string far_bundle = bundle(good, 1, 0x7fffffff);
        return {
            {"a.bin", "empty", "", "a.bin: is empty"},
            {"a.bin", "truncated", good.substr(0, good.size() - 1), "a.bin: offset 12: the header gives"},
            {"a.bin", "truncated head", good.substr(0, 20), "a.bin: offset 0: "},
            {"a.bin", "malformed", "x" + good, "a.bin: offset 0: byte 78 does not begin a message"},
            {"a.bin", "malformed behind", good + "x", "does not begin a message"},
            {"a.bin", "huge", huge, "a.bin: offset 12: the header gives the message 2147483647 bytes"},
            {"a.bin", "bundle huge", far_bundle, "a.bin: offset 0: this begins as a bundle of messages, but"},
            {"a.bin", "bundle truncated", bundle(good, 2, good.size() + 20), "a.bin: offset "},
            {"a.bin", "bundle head", "VBND", "a.bin: offset "},
            {"a.hex", "empty", "", "a.hex: is empty"},
            {"a.hex", "comment alone", "# nothing\n", "a.hex: is empty"},
            {"a.hex", "malformed", "bc 0g", "a.hex:1:4: a pair of hexadecimal digits"},
            {"a.hex", "truncated", "bc 00 0", "a.hex:1:7: a pair of hexadecimal digits"},
            {"a.hex", "truncated message", "bc 00 00 00", "a.hex: offset 0: "},
            {"a.hex", "wrong encoding", utf16("bc 00"), "a.hex:1:1: not well-formed hex: is UTF-16"},
            {"a.hex", "byte order mark", "\xEF\xBB\xBF" + read("good.hex"), "begins with a byte order mark"},
            {"a.hex", "huge", repeated(1 << 20, "bc bc "), "a.hex: offset "},
        };
    }

    static std::vector<bad_file> xml_texts() {
        const std::string good = read("good.xml");
        return {
            {"a.xml", "empty", "", "a.xml: is empty"},
            {"a.xml", "malformed", "<ptp_clock_cfg><ptp_clock></ptp_clock_cfg>",
             "a.xml:1:29: not well-formed XML: this end tag is not that of the element which is open"},
            {"a.xml", "not closed", "<ptp_clock_cfg>\n <ptp_clock>\n  <modify>true</modify>\n",
             "a.xml:2:3: not well-formed XML: this element is not closed"},
            {"a.xml", "NUL", "<ptp_clock_cfg>" + std::string(1, '\0') + "</ptp_clock_cfg>",
             "a.xml:1:16: not well-formed XML: a NUL character"},
            {"a.xml", "control characters",
             "<ptp_clock_cfg><ptp_clock><modify>\x7f\xC2\x9B</modify></ptp_clock></ptp_clock_cfg>",
             "value ' ?' is not a vela_boolean"},
            {"a.xml", "zeros", std::string(1000, '\0'), "a.xml:1:1: not well-formed XML: text \"\\x00"},
            {"a.xml", "truncated", good.substr(0, good.size() - 9), "not well-formed XML"},
            {"a.xml", "wrong encoding", utf16("<ptp_clock_cfg/>"), "a.xml:1:1: not well-formed XML: is UTF-16"},
            {"a.xml", "no UTF-8", "<ptp_clock_cfg>\xC0\x80</ptp_clock_cfg>",
             "a.xml:1:16: not well-formed XML: bytes that"},
            {"a.xml", "other encoding", "<?xml version='1.0' encoding='ISO-8859-1'?><ptp_clock_cfg/>", "a.xml:1:"},
            {"a.xml", "deep", repeated(100000, "<ptp_clock_cfg>"), "a.xml:1:"},
            {"a.xml", "deep and whole", repeated(5000, "<ptp_cfg>") + repeated(5000, "</ptp_cfg>"), "a.xml:"},
            {"a.xml", "huge name", "<" + std::string(1 << 22, 'x') + "/>", "a.xml:1:"},
            {"a.xml", "entities", "<!DOCTYPE a [<!ENTITY b '&b;&b;'>]><ptp_clock_cfg/>", "document type declaration"},
        };
    }

    static std::vector<bad_file> recordings() {
        const std::string good = read("good.rec");
        std::string damaged = good;
        damaged[good.size() / 2] = static_cast<char>(damaged[good.size() / 2] ^ 0x55);
        return {
            {"a.rec", "malformed", "rubbish, and enough of it to be read", "a.rec"},
            {"a.rec", "damaged", damaged, "a.rec: offset "},
            {"a.pcapng", "empty", "", "a.pcapng: is empty"},
            {"a.pcapng", "malformed", "rubbish, and enough of it to be read", "a.pcapng: is no pcapng file"},
            {"a.pcapng", "huge block", std::string("\x0A\x0D\x0D\x0A\xff\xff\xff\x7f\x4D\x3C\x2B\x1A", 12),
             "a.pcapng: offset 0: no block of a capture begins here"},
        };
    }
};

TEST_F(bad_formats, are_refused_with_place_and_reason_and_leave_no_output) {
    write("out.json", "older");
    for (const auto &table : {bytes_and_digits(), xml_texts(), recordings()}) {
        for (const bad_file &row : table) {
            write(row.name, row.content);
            const outcome result = sh(std::string("timeout 60 ptpcfg convert ") + row.name + " -o out.json");
            EXPECT_EQ(result.status, 1) << row.name << " " << row.kind << ": " << result.err.substr(0, 300);
            EXPECT_THAT(result.err, StartsWith("ptpcfg: " + std::string(row.name))) << row.kind;
            EXPECT_THAT(result.err.substr(0, 2000), HasSubstr(row.told)) << row.kind;
            EXPECT_LT(result.err.size(), 2000u) << row.name << " " << row.kind;
            EXPECT_EQ(result.out, "") << row.kind;
            // Of a recording or capture what can be read is written.
            const bool is_read_in_part =
                std::string_view(row.name) == "a.rec" || row.kind == std::string_view("huge block");
            EXPECT_TRUE(is_read_in_part || read("out.json") == "older") << row.name << " " << row.kind;
            write("out.json", "older");
            const outcome compared = sh(std::string("timeout 60 ptpcfg diff good.xml ") + row.name);
            EXPECT_EQ(compared.status, 2) << row.name << " " << row.kind;
            std::filesystem::remove(row.name);
        }
    }
    EXPECT_EQ(listing(), "good.bin good.hex good.rec good.xml out.json");
}

/** One of each kind, under the name that says it. */
void write_one_of_each() {
    const std::pair<const char *, std::string> files[] = {{"empty", ""},
                                                          {"zeros.bin", std::string(3000, '\0')},
                                                          {"cut.json", R"({"ptp_clock_cfg": )"},
                                                          {"cut.xml", "<a>"},
                                                          {"cut.yaml", "ptp_clock_cfg: \"a\n"},
                                                          {"odd.hex", "bc 0"},
                                                          {"wide.json", utf16("{}")},
                                                          {"rubbish", "what is this?"},
                                                          {"marked.json", "\xEF\xBB\xBF{}"}};
    for (const auto &[name, content] : files) {
        std::ofstream(std::string("bad/") + name, std::ios::binary) << content;
    }
}

TEST_F(bad_formats, are_refused_by_every_subcommand_that_reads_them) {
    ASSERT_EQ(sh("mkdir bad").status, 0);
    write_one_of_each();
    // Of each: one line that names the file, nothing written, and the exit code that scripts rely on.
    const outcome result = sh(R"(
        check() {
            wanted=$1 file=$2; shift 2
            timeout 60 "$@" >out.txt 2>why.txt
            status=$?
            test $status = $wanted && test ! -s out.txt && test ! -e new && test $(wc -l <why.txt) = 1 &&
                grep -q "^ptpcfg: $file: \|^ptpcfg: $file:[0-9]*:[0-9]*: " why.txt && return
            echo "$* ended with $status:"; cat out.txt why.txt; rm -f new
        }
        mkdir bad/folder && ln -s nowhere bad/gone
        for file in bad/*; do
            code=1; test -f $file || code=3
            for command in encode decode print "convert --to json" "convert --to bin -o new" "decode --check" validate                            get edit; do
                case $command in
                get) check $code $file ptpcfg get $file priority1 ;;
                edit) check $code $file ptpcfg edit $file priority1=1 ;;
                *) check $code $file ptpcfg $command $file ;;
                esac
            done
            check $code $file ptpcfg send unix:$PWD/s $file
            check 2 $file ptpcfg diff good.xml $file
            check 2 $file ptpcfg diff $file good.xml
        done
        for file in bad/folder bad/gone /dev/null; do
            for command in "replay $file unix:$PWD/s" "trace $file" "stats $file"; do check 3 $file ptpcfg $command; done
        done
        check 3 bad/folder ptpcfg record unix:$PWD/s bad/folder
        check 1 good.xml ptpcfg stats good.xml
        check 1 good.xml ptpcfg trace good.xml)");
    EXPECT_EQ(result.out + result.err, "");
}

TEST_F(bad_formats, without_end_through_a_pipe_are_refused_in_little_memory) {
    const outcome result = sh(IN_LITTLE_MEMORY R"(
        for command in decode print "convert --to json" "convert --from xml --to bin" "convert --from json --to bin"                        "convert --from yaml --to bin" "convert --from hex --to bin" "get - priority1"                        "edit - priority1=1" "validate -" "convert --type ptp_clock --from bin --to xml"; do
            head -c 100M /dev/zero | timeout 60 ptpcfg $command >out.txt 2>why.txt
            status=$?
            test $status = 1 && test ! -s out.txt && test $(wc -l <why.txt) = 1 && grep -q "^ptpcfg: standard input" why.txt ||
                { echo "$command ended with $status"; cat why.txt; }
        done)");
    EXPECT_EQ(result.out + result.err, "");
}

TEST_F(bad_formats, of_the_output_are_told_by_every_subcommand_that_writes) {
    const outcome result = sh(R"(
        ptpcfg edit good.xml clock_id=9 -o - >other.xml
        ptpcfg --trace=some.trace decode good.bin >/dev/null
        for command in --help --version "encode --help" "encode good.xml" "decode good.bin" "decode --explain good.bin"                        "print good.bin" "convert good.xml --to yaml" describe "describe ptp_clock" "search clock"                        "schema --yang" "schema --json-schema" "get good.xml clock_id" "edit good.xml clock_id=3 -o -"                        "completion bash" manual "trace some.trace"; do
            for output in /dev/full closed; do
                case $output in
                closed) ptpcfg $command 2>why.txt >&- ;;
                *) ptpcfg $command 2>why.txt >$output ;;
                esac
                status=$?
                test $status = 3 && grep -q "^ptpcfg: standard output: cannot write: " why.txt ||
                    { echo "$command ended with $status when its output was $output"; cat why.txt; }
            done
        done
        ptpcfg diff good.xml other.xml >/dev/full 2>why.txt; test $? = 2 && grep -q "cannot write" why.txt || echo diff
        for command in "encode good.xml" "edit good.xml clock_id=3" manual "schema --yang"; do
            ptpcfg $command -o /dev/full 2>why.txt; status=$?
            test $status = 3 && grep -q "^ptpcfg: /dev/full: cannot write" why.txt || echo "$command -o ended with $status"
        done)");
    EXPECT_EQ(result.out + result.err, "");
}

TEST_F(bad_formats, longer_than_a_message_may_be_is_refused_before_it_is_held) {
    // 80 MiB each, in a memory that does not hold it several times.
    const std::pair<const char *, const char *> rows[] = {
        {"{ printf '<ptp_port_cfg><ptp_port><port_name>'; head -c 80M /dev/zero | tr '\\0' x; } >a.xml", "a.xml"},
        {"{ printf '{\"ptp_port_cfg\": {\"ptp_port\": {\"port_name\": \"'; head -c 80M /dev/zero | tr '\\0' x; } "
         ">a.json",
         "a.json"},
        {"{ printf 'ptp_port_cfg: {ptp_port: {port_name: \"'; head -c 80M /dev/zero | tr '\\0' x; } >a.yaml", "a.yaml"},
        {"{ printf 'VBND\\1\\0\\0\\0\\0\\0\\0\\1\\5\\0\\0\\0'; head -c 80M /dev/zero; } >a.bin", "a.bin"},
    };
    for (const auto &[make, name] : rows) {
        ASSERT_EQ(sh(make).status, 0);
        const outcome result = sh(std::string(IN_LITTLE_MEMORY "timeout 100 ptpcfg convert ") + name + " -o out.json");
        EXPECT_EQ(result.status, 1) << name << result.err.substr(0, 300);
        EXPECT_THAT(result.err.substr(0, 300), StartsWith("ptpcfg: " + std::string(name)));
        EXPECT_THAT(result.err.substr(0, 300), HasSubstr("64 MiB")) << name;
        EXPECT_LT(result.err.size(), 1000u);
        sh(std::string("rm ") + name);
    }
    EXPECT_EQ(listing(), "good.bin good.hex good.rec good.xml");
}

TEST_F(bad_formats, of_domain_files_are_refused_with_their_place) {
    const bad_file rows[] = {
        {"a.toml", "malformed", "name = ", "a.toml:1: no value begins"},
        {"a.toml", "unknown type", "name = \"a\"\n[variants]\nptp_clok = 0\n", "ptp_clok"},
        {"a.toml", "wrong encoding", utf16("name = \"a\"\n"), "a.toml:1: a byte that is no UTF-8"},
        {"a.toml", "no UTF-8", "name = \"\xC0\x80\"\n", "a.toml:1:"},
        {"a.toml", "deep", "a = " + repeated(100000, "["), "a.toml:1:"},
        {"a.toml", "truncated", "name = \"a", "a.toml:1:"},
        {"a.toml", "huge", "name = \"" + std::string(1 << 22, 'x'), "a.toml: longer than 1 MiB"},
    };
    for (const bad_file &row : rows) {
        write(row.name, row.content);
        const outcome result = sh("timeout 60 ptpcfg encode good.xml -o out.bin --domain a.toml");
        EXPECT_EQ(result.status, row.kind == std::string_view("huge") ? 3 : 1) << row.kind;
        EXPECT_THAT(result.err.substr(0, 1000), HasSubstr(row.told)) << row.kind;
        EXPECT_LT(result.err.size(), 2000u) << row.kind;
        EXPECT_EQ(listing(), "a.toml good.bin good.hex good.rec good.xml") << row.kind;
    }
}

}  // namespace
