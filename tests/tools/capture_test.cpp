// Captures (pcapng), filters and JSON lines: what other programs get of the messages that travel.
#include <gmock/gmock.h>

#include "recording_fixture.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

class capture : public recording {
  protected:
    void SetUp() override {
        recording::SetUp();
        ASSERT_EQ(sh("ptpcfg encode $CLOCKS/g8275_1_boundary_clock.xml -o clock.bin && ptpcfg encode "
                     "$CLOCKS/delete_clock.xml -o delete.bin && cat clock.bin delete.bin clock.bin >sent.bin")
                      .status,
                  0);
    }
    static outcome listening(const std::string &options, const std::string &script) {
        return sh("ptpcfg listen unix:$PWD/s --timeout 20 " + options + " & listener=$!\n" + script +
                  "\nwait $listener");
    }
};

TEST_F(capture, keeps_bytes_times_and_peers_and_is_well_formed_for_others) {
    const std::string take =
        "ptpcfg record unix:$PWD/s out.pcapng --timeout 20 --count 3 & recorder=$!\n"
        "ptpcfg send unix:$PWD/s sent.bin && wait $recorder\n";
    ASSERT_EQ(sh(take + take).err, "");  // the second run adds to the file
    EXPECT_EQ(sh("cat sent.bin sent.bin >twice.bin; ptpcfg decode out.pcapng --to bin | cmp - twice.bin").err, "");
    EXPECT_EQ(sh("ptpcfg diff sent.bin out.pcapng | wc -l").out, "3\n");
    EXPECT_EQ(sh("ptpcfg listen unix:$PWD/s --to bin -o got.bin --timeout 20 --count 6 & listener=$!\n"
                 "ptpcfg replay --speed max out.pcapng unix:$PWD/s && wait $listener && cat sent.bin sent.bin | cmp - "
                 "got.bin")
                  .err,
              "");
    if (sh("command -v tshark && command -v capinfos").status != 0) {
        GTEST_SKIP() << "tshark and capinfos are not installed";
    }
    const outcome about = sh("capinfos -t -c -E -T -m -r out.pcapng");
    EXPECT_THAT(about.out, HasSubstr("pcapng"));
    const outcome packets =
        sh("tshark -r out.pcapng -T fields -e frame.time_epoch -e frame.cap_len -e frame.comment 2>/dev/null");
    EXPECT_EQ(std::count(packets.out.begin(), packets.out.end(), '\n'), 6) << packets.out;
    const std::string size = std::to_string(read("clock.bin").size());
    EXPECT_THAT(packets.out,
                testing::ContainsRegex("^[0-9]+\\.[0-9]{9}\t" + size + "\tfrom process [0-9]+ of user [0-9]+"));
    EXPECT_EQ(sh("tshark -r out.pcapng -x 2>/dev/null | awk 'NR == 1 { print $2 }'").out, "bc\n");
}

TEST_F(capture, of_other_programs_is_read_in_either_byte_order_and_resolution) {
    const outcome result = sh(R"(python3 - <<'PY'
import struct
message = open("delete.bin", "rb").read()
def block(order, kind, body):
    body += b"\0" * (-len(body) % 4)
    length = struct.pack(order + "I", len(body) + 12)
    return struct.pack(order + "I", kind) + length + body + length
with open("in.pcapng", "wb") as out:
    for order, ticks, options in ("<", 1500000, b""), (">", 1500, struct.pack(">HHB3x", 9, 1, 3)):
        out.write(block(order, 0x0A0D0D0A, struct.pack(order + "IHHq", 0x1A2B3C4D, 1, 0, -1)))
        out.write(block(order, 1, struct.pack(order + "HHI", 147, 0, 0) + options))
        out.write(block(order, 5, b"\0" * 12))
        out.write(block(order, 6, struct.pack(order + "IIIII", 0, 0, ticks, len(message), len(message)) + message))
PY
ptpcfg print in.pcapng | grep captured)");
    EXPECT_EQ(result.out, "1970-01-01T00:00:01.500000000Z captured\n1970-01-01T00:00:01.500000000Z captured\n");
    EXPECT_EQ(sh("mv in.pcapng noname && ptpcfg get noname clock_id | uniq -c | wc -l").out, "1\n");
}

TEST_F(capture, that_is_cut_or_damaged_says_where) {
    ASSERT_EQ(sh("ptpcfg record unix:$PWD/s whole.pcapng --timeout 20 --count 2 & recorder=$!\n"
                 "ptpcfg send unix:$PWD/s delete.bin delete.bin && wait $recorder")
                  .err,
              "");
    const std::string whole = read("whole.pcapng");
    for (size_t length = 0; length < whole.size(); length += 3) {
        write("cut.pcapng", whole.substr(0, length));
        const outcome result = sh("ptpcfg decode cut.pcapng --to bin -o out.bin");
        EXPECT_LE(result.status, 1) << length;
        EXPECT_TRUE(result.err.empty() || result.err.starts_with("ptpcfg: cut.pcapng: ") ||
                    result.err.starts_with("ptpcfg: warning: cut.pcapng: offset "))
            << length << result.err;
        EXPECT_EQ(result.status == 1, length < 12) << length << result.err;
    }
    // What a crash cut is removed by the next run, which adds to the rest.
    write("cut.pcapng", whole.substr(0, whole.size() - 1));
    const outcome added =
        sh("ptpcfg record unix:$PWD/s cut.pcapng --timeout 20 --count 1 & recorder=$!\n"
           "ptpcfg send unix:$PWD/s delete.bin && wait $recorder");
    EXPECT_EQ(added.err, "ptpcfg: warning: cut.pcapng: a packet was cut at its end, and is removed\n");
    EXPECT_EQ(sh("ptpcfg get cut.pcapng clock_id | wc -l").out, "2\n");
    std::string damaged = whole;
    damaged.at(whole.size() - 4) = damaged.at(4) = '\x7f';
    write("cut.pcapng", damaged);
    EXPECT_THAT(sh("ptpcfg decode cut.pcapng").err, StartsWith("ptpcfg: cut.pcapng: offset 0: no block of a capture"));
    write("other.pcapng", "rubbish");
    EXPECT_EQ(sh("ptpcfg record unix:$PWD/s other.pcapng --timeout 1").status, 1);
    EXPECT_EQ(read("other.pcapng"), "rubbish");
    EXPECT_EQ(sh("ptpcfg record unix:$PWD/s new.pcapng --files 2").status, 2);
}

TEST_F(capture, listen_writes_json_lines_of_what_the_filter_takes) {
    const std::string send = "ptpcfg send unix:$PWD/s sent.bin delete.bin";
    const outcome all = listening("--json --count 4", send);
    EXPECT_EQ(all.err, "");
    write("in.json", all.out);
    EXPECT_THAT(sh("python3 -c 'import json\nfor line in open(\"in.json\"):\n each = json.loads(line)\n print("
                   "each[\"channel\"], each[\"time\"][-1], each[\"peer\"].split()[0], *each[\"message\"])'")
                    .out,
                StartsWith("gable Z process ptp_clock_cfg\ngable Z process ptp_clock_delete_cmd\n"));
    const std::pair<const char *, const char *> rows[] = {
        {"ptp_clock_delete_cmd", "2"},
        {"not ptp_clock_delete_cmd", "2"},
        {"priority1=128", "2"},
        {"priority1>=128 and default_data_set.clk_domain != 0x19", "2"},
        {"priority1<128 or clock_id>0", "2"},
        {"clk_mode=VELA_PTP_CLOCK_MODE_BC_HYBRID and (clk_domain=24 or clk_domain=25)", "2"},
        {"ptp_clock_cfg or ptp_clock_delete_cmd", "4"},
        {"modify=0 and clk_mode>=8 and not clk_mode=9", "2"},
        {"clk_mode>VELA_PTP_CLOCK_MODE_NONE", "2"},
    };
    for (const auto &[filter, count] : rows) {
        const outcome result =
            listening(std::string("--json --filter '") + filter + "' --count " + count, send + " 2>/dev/null");
        EXPECT_EQ(result.err, "") << filter;
        EXPECT_EQ(std::to_string(std::count(result.out.begin(), result.out.end(), '\n')), count) << filter;
    }
}

TEST_F(capture, wrong_filters_are_usage_errors) {
    const std::pair<const char *, const char *> rows[] = {
        {"ptp_clok_cfg", "there is no message 'ptp_clok_cfg'; did you mean ptp_clock_cfg?"},
        {"priority3=1", "--filter: no message has a field 'priority3'; did you mean priority1?"},
        {"priority1=", "--filter: a value is missing at the end"},
        {"priority1 => 3", "--filter: '=>': the signs are = != < <= > >="},
        {"(ptp_clock_cfg", "--filter: a closing bracket is missing"},
        {"ptp_clock_cfg ptp_port_cfg", "--filter: 'ptp_port_cfg' has no place there; 'and' and 'or' connect"},
        {"priority1<=abc", "'priority1<=abc' holds for no value; 'ptpcfg describe priority1' says what it can be"},
        {"clk_mode=VELA_PTP_CLOCK_MODE_BD", "'clk_mode=VELA_PTP_CLOCK_MODE_BD' holds for no value"},
        {"modify=maybe or ptp_clock_cfg", "'modify=maybe' holds for no value"},
        {"port_name<a", "'port_name<a' holds for no value"},
        {"port_name=\"a", "--filter: a closing \" is missing"},
    };
    for (const auto &[filter, reason] : rows) {
        const outcome result = sh(std::string("ptpcfg listen unix:$PWD/s --timeout 1 --filter '") + filter + "'");
        EXPECT_EQ(result.status, 2) << filter;
        EXPECT_THAT(result.err, HasSubstr(reason)) << filter;
    }
}

TEST_F(capture, send_damages_messages_as_it_is_told_and_the_receiver_outlives_it) {
    for (const std::string uri : {"unix:$PWD/s", "tcp:127.0.0.1:47113"}) {
        const std::string record = "ptpcfg record " + uri + " out.rec --timeout 3 2>told & recorder=$!\n";
        const outcome result = sh(
            "rm -f out.rec*; " + record + "ptpcfg send " + uri + " delete.bin --truncate -4 && ptpcfg send " + uri +
            " delete.bin --byte 0=0xbd --flip 20 && ptpcfg send " + uri + " delete.bin; wait $recorder; cat told >&2");
        const std::string good = read("delete.bin");
        std::string turned = good;
        turned[0] = '\xbd';
        turned[20] = static_cast<char>(turned[20] ^ 1);
        EXPECT_EQ(content("out.rec"), good.substr(0, good.size() - 4) + turned + good) << uri << result.err;
    }
    const std::pair<const char *, const char *> rows[] = {
        {"--truncate 100000", "--truncate 100000: the message has "},
        {"--flip 3.8", "--flip 3.8: bits are from 0, the least, to 7"},
        {"--flip x", "--flip x: OFFSET or OFFSET.BIT is wanted"},
        {"--byte 3=256", "--byte 3=256: OFFSET=VALUE with a value from 0 to 255 is wanted"},
        {"--byte 99999=1", "--byte 99999=1: the message has "},
    };
    for (const auto &[options, reason] : rows) {
        const outcome result = sh(std::string("ptpcfg send unix:$PWD/none delete.bin ") + options);
        EXPECT_EQ(result.status, 2) << options;
        EXPECT_THAT(result.err, HasSubstr(reason)) << options;
    }
    EXPECT_EQ(sh("ptpcfg send unix:$PWD/none delete.bin --truncate 5 --timeout 0.1").status, 4);
    EXPECT_EQ(sh("ptpcfg send inproc:x delete.bin --truncate 5 --timeout 0.1").status, 2);
}

}  // namespace
