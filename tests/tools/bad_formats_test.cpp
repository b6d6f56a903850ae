// Bad input of every format: one table of what is wrong, what is told, and how the tool ends. No output is begun.
#include <gmock/gmock.h>

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
            {"a.hex", "wrong encoding", utf16("bc 00"), "a.hex:1:1: "},
            {"a.hex", "huge", repeated(1 << 20, "bc bc "), "a.hex: offset "},
        };
    }

    static std::vector<bad_file> xml_texts() {
        const std::string good = read("good.xml");
        return {
            {"a.xml", "empty", "", "a.xml: is empty"},
            {"a.xml", "malformed", "<ptp_clock_cfg><ptp_clock></ptp_clock_cfg>",
             "a.xml:1:1: not well-formed XML: an element is not closed"},
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
        const outcome result =
            sh(std::string("ulimit -v 1000000; timeout 100 ptpcfg convert ") + name + " -o out.json");
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
