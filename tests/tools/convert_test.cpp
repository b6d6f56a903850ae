// Good input: every way in which a message goes from one format into another.
#include <gmock/gmock.h>

#include <sstream>

#include "shell.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

class convert : public shell_test {
  protected:
    void SetUp() override {
        shell_test::SetUp();
        ASSERT_EQ(sh("ptpcfg encode $CLOCKS/g8275_1_boundary_clock.xml -o clock.bin").err, "");
    }

    /** Lines of a text that hold a word. */
    static std::string lines_with(const std::string &text, const std::string &word) {
        std::istringstream stream(text);
        std::string result;
        for (std::string line; std::getline(stream, line);) {
            result += line.find(word) != std::string::npos ? line + "\n" : "";
        }
        return result;
    }
};

TEST_F(convert, every_example_survives_the_way_through_bytes_and_back) {
    const outcome result = sh(R"(
        for clock in $CLOCKS/*.xml; do
            ptpcfg encode $clock -o a.bin && ptpcfg decode a.bin -o b.xml && ptpcfg encode b.xml -o c.bin || exit
            cmp a.bin c.bin || exit
            ptpcfg encode --tracked $clock -o t.bin && ptpcfg decode t.bin -o t.xml || exit
            ptpcfg encode t.xml -o u.bin && cmp a.bin u.bin || exit
            echo done
        done)");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, StartsWith("done\n"));
    EXPECT_EQ(listing(), "a.bin b.xml c.bin clock.bin t.bin t.xml u.bin");
}

TEST_F(convert, formats_follow_the_option_then_the_ending_then_the_content) {
    EXPECT_EQ(sh(R"(
        ptpcfg encode --to hex clock.bin -o clock.txt && ptpcfg encode clock.txt -o 1.bin && cmp clock.bin 1.bin &&
        ptpcfg encode clock.bin -o clock.hex && cmp clock.hex clock.txt &&
        tr -d '\n' <clock.hex | sed 's/ /,0x/g' | ptpcfg encode -o 2.bin && cmp clock.bin 2.bin &&
        { echo '# a clock'; cat clock.hex; } | ptpcfg encode | cmp clock.bin - &&
        ptpcfg decode <clock.bin | ptpcfg encode - | cmp clock.bin - &&
        cp clock.bin odd.xml && ptpcfg decode --from bin odd.xml | ptpcfg encode | cmp clock.bin -)")
                  .err,
              "");
    EXPECT_EQ(sh("ptpcfg print clock.bin").out, sh("ptpcfg decode clock.bin --to text").out);
    EXPECT_THAT(sh("ptpcfg print <$CLOCKS/g8275_1_boundary_clock.xml").out, StartsWith("message@ptp_clock_cfg: {\n"));
}

TEST_F(convert, several_messages_stand_in_one_stream) {
    EXPECT_EQ(sh(R"(
        ptpcfg encode $CLOCKS/delete_clock.xml -o delete.bin && cat clock.bin delete.bin clock.bin >three.bin &&
        ptpcfg decode three.bin -o three.xml && ptpcfg encode three.xml | cmp three.bin - &&
        { ptpcfg decode clock.bin; ptpcfg decode delete.bin; ptpcfg decode clock.bin; } >roots.xml &&
        ptpcfg encode roots.xml | cmp three.bin -)")
                  .err,
              "");
    EXPECT_THAT(read("three.xml"), StartsWith("<ptp_cfg>\n  <ptp_clock_cfg>\n"));
}

TEST_F(convert, a_bundle_reads_as_its_messages) {
    const auto number = [](size_t value) {
        return std::string({0, 0, static_cast<char>(value >> 8), static_cast<char>(value)});
    };
    const std::string clock = read("clock.bin");
    const std::string frame = number(clock.size()) + clock;
    write("bundle.bin",
          "VBND" + std::string("\1\0\0\0", 4) + number(2) + number(16 + 2 * frame.size()) + frame + frame);
    EXPECT_EQ(sh("cat clock.bin clock.bin >two.bin; ptpcfg encode --from bin bundle.bin | cmp two.bin -").err, "");
    EXPECT_EQ(sh("ptpcfg decode --explain bundle.bin").status, 0);
    EXPECT_EQ(sh("head -c 100 bundle.bin | ptpcfg decode").status, 1);
}

TEST_F(convert, a_record_travels_without_a_message_when_its_type_is_named) {
    write("quality.xml",
          "<ptp_clock_quality><clock_class>6</clock_class>"
          "<offset_scaled_log_var>-2</offset_scaled_log_var>"
          "<clock_accuracy><VELA_PTP_CLOCK_ACCURACY_WITHIN_25ns/></clock_accuracy></ptp_clock_quality>");
    const std::string plain = "00 00 00 00 00 0c 06 ff fe 00 00 00 00 01\n";
    EXPECT_EQ(sh("ptpcfg encode --type ptp_clock_quality quality.xml --to hex").out, plain);
    EXPECT_EQ(sh("ptpcfg encode --tracked --type ptp_clock_quality quality.xml -o t.bin; wc -c <t.bin").out, "17\n");
    EXPECT_EQ(sh("ptpcfg decode --type ptp_clock_quality t.bin | ptpcfg encode --type ptp_clock_quality --to hex").out,
              plain);
    EXPECT_THAT(sh("ptpcfg decode --explain --type ptp_clock_quality t.bin").out, HasSubstr("clock_class state"));
    write("mode.hex", "00 00000008");
    EXPECT_EQ(sh("ptpcfg decode --type ptp_clock_mode mode.hex").out,
              "<ptp_clock_mode>\n  <VELA_PTP_CLOCK_MODE_BC_HYBRID/>\n</ptp_clock_mode>\n");
}

TEST_F(convert, addresses_and_identities_are_written_as_people_write_them) {
    const auto clock = [](const std::string &identity) {
        return "<ptp_clock_identity>" + identity + "</ptp_clock_identity>";
    };
    write("short.xml", clock(" aA-BB-CC-FF-FE-00-03-30\n"));
    write("long.xml", clock("<ptp_clk_id>170</ptp_clk_id><ptp_clk_id>187</ptp_clk_id><ptp_clk_id>204</ptp_clk_id>"
                            "<ptp_clk_id>255</ptp_clk_id><ptp_clk_id>254</ptp_clk_id><ptp_clk_id>0</ptp_clk_id>"
                            "<ptp_clk_id>3</ptp_clk_id><ptp_clk_id>48</ptp_clk_id>"));
    const std::string encode = "ptpcfg encode --to hex --type ptp_clock_identity ";
    EXPECT_EQ(sh(encode + "short.xml").err, "");
    EXPECT_EQ(sh(encode + "short.xml").out, sh(encode + "long.xml").out);

    const auto streams = [](const std::string &address) {
        return "<ptp_ipv4_streams_list_msg><ptp_ipv4_streams_arr><streams><stream_id>3221225985</stream_id><addr>" +
               address + "</addr></streams></ptp_ipv4_streams_arr></ptp_ipv4_streams_list_msg>";
    };
    write("dotted.xml", streams("192.0.2.1"));
    write("number.xml", streams("3221225985"));
    EXPECT_EQ(sh("ptpcfg encode dotted.xml -o a.bin && ptpcfg encode number.xml | cmp - a.bin").err, "");
    EXPECT_THAT(sh("ptpcfg decode a.bin").out, HasSubstr("<addr>3221225985</addr>"));
    const std::string printed = sh("ptpcfg print a.bin").out;
    EXPECT_EQ(lines_with(printed, "192.0.2.1"), "      addr@u_int32:3221225985 (192.0.2.1)\n");
    EXPECT_EQ(lines_with(printed, "("), lines_with(printed, "(192.0.2.1)"));
    EXPECT_EQ(lines_with(sh("ptpcfg decode --explain a.bin").out, "(192.0.2.1)"),
              lines_with(sh("ptpcfg decode --explain a.bin").out, "streams[0]/addr"));
    write("bad.xml", streams("192.0.2"));
    EXPECT_THAT(
        sh("ptpcfg encode bad.xml").err,
        HasSubstr("addr: value '192.0.2' is not an IPv4 address: a number from 0 to 4294967295, or as 192.0.2.1"));

    const auto port = [](const std::string &vrf) {
        return "<ptp_port_cfg><ptp_port><vrf>" + vrf + "</vrf></ptp_port></ptp_port_cfg>";
    };
    write("vrf.xml", port("1:254:1:1"));
    EXPECT_THAT(sh("ptpcfg encode vrf.xml | ptpcfg print").out, HasSubstr("vrf@vrf_info:id 1 table 254 afi 1 safi 1"));
    write("vrf.xml", port("red"));
    EXPECT_THAT(sh("ptpcfg encode vrf.xml").err,
                HasSubstr("vrf: value 'red' is not a vrf_info (ID:TABLE:AFI:SAFI, four numbers, as 1:254:1:1)"));
}

TEST_F(convert, check_tells_by_its_exit_code) {
    EXPECT_EQ(sh("ptpcfg decode --check clock.bin; ptpcfg encode --check $CLOCKS/delete_clock.xml").out, "");
    write("bad.bin", read("clock.bin") + "x");
    const outcome bad = sh("ptpcfg decode --check bad.bin");
    EXPECT_EQ(bad.status, 1);
    EXPECT_THAT(bad.err, HasSubstr("bad.bin: offset 152: byte 78 does not begin a message"));
}

TEST_F(convert, a_value_without_literal_keeps_its_number) {
    // An accuracy of 99 in a message, and a mode alone; another reader of XML accepts them.
    write("quality.hex", "00 00 0000000c 06 fffe 00 00000063");
    const std::string type = "--type ptp_clock_quality";
    const std::string text = sh("ptpcfg decode " + type + " quality.hex -o quality.xml; cat quality.xml").out;
    EXPECT_THAT(text, HasSubstr("\n  <clock_accuracy>99</clock_accuracy>\n"));
    for (const char *mode : {"", " --plain", " --complete"}) {
        EXPECT_EQ(sh("ptpcfg encode " + type + mode + " quality.xml --to hex").out,
                  "00 00 00 00 00 0c 06 ff fe 00 00 00 00 63\n");
    }
    write("mode.hex", "00 fffffffe");
    EXPECT_EQ(sh("ptpcfg decode --type ptp_clock_mode mode.hex").out, "<ptp_clock_mode>4294967294</ptp_clock_mode>\n");
    EXPECT_EQ(sh("ptpcfg decode --type ptp_clock_mode mode.hex | ptpcfg encode --type ptp_clock_mode --to hex").out,
              "00 ff ff ff fe\n");

    // In the middle of a clock.
    std::string clock = read("clock.bin");
    const std::string explained = sh("ptpcfg decode --explain clock.bin").out;
    const size_t at = std::stoul(lines_with(explained, "VELA_PTP_CLOCK_MODE_"));
    clock.replace(at, 4, std::string("\0\0\0\x4D", 4));
    write("clock.bin", clock);
    EXPECT_EQ(sh("ptpcfg decode clock.bin | tee clock.xml | ptpcfg encode | cmp clock.bin -").err, "");
    EXPECT_THAT(read("clock.xml"), HasSubstr("<clk_mode>77</clk_mode>\n"));
    const std::string printed = sh("ptpcfg print clock.bin").out;
    EXPECT_THAT(printed, HasSubstr("clk_mode@ptp_clock_mode:Enum value out of range: 77\n"));
    EXPECT_EQ(lines_with(printed, "out of range"), lines_with(printed, "clk_mode@"));
}

TEST_F(convert, a_printed_text_is_not_taken_for_a_value_without_literal) {
    const std::string words = "@ptp_port_role:Enum value out of range";
    for (const std::string role : {"", "<port_role>77</port_role>"}) {
        write("in.xml", "<ptp_port>" + role + "<port_name>x" + words + "</port_name></ptp_port>");
        const std::string text = sh("ptpcfg encode --type ptp_port in.xml | ptpcfg print --type ptp_port").out;
        EXPECT_THAT(text, HasSubstr("\"x" + words + "\"\n"));
        EXPECT_EQ(text.find(words + ": 77\n") != std::string::npos, !role.empty()) << text;
    }
}

TEST_F(convert, state_flags_go_through_xml_when_they_are_asked_for) {
    write("in.xml",
          "<ptp_clock_cfg><ptp_clock><modify state=\"2\">true</modify><default_data_set state=\"1\">"
          "<clk_id><ptp_clk_id>1</ptp_clk_id><ptp_clk_id state=\"7\">2</ptp_clk_id></clk_id>"
          "<priority1 state=\"255\">3</priority1></default_data_set></ptp_clock></ptp_clock_cfg>");
    ASSERT_EQ(sh("ptpcfg encode --tracked in.xml -o a.bin").err, "");
    EXPECT_EQ(sh("ptpcfg decode a.bin | ptpcfg encode --tracked | cmp a.bin -").err, "");
    const std::string states = lines_with(sh("ptpcfg decode a.bin").out, "state=");
    EXPECT_THAT(states, HasSubstr("<modify state=\"2\">true"));
    EXPECT_THAT(states, HasSubstr("<default_data_set state=\"1\">"));
    EXPECT_THAT(states, HasSubstr("<ptp_clk_id state=\"7\">2"));
    EXPECT_THAT(states, HasSubstr("<priority1 state=\"255\">3"));
    EXPECT_EQ(std::count(states.begin(), states.end(), '\n'), 4);
}

TEST_F(convert, an_older_peer_is_spoken_to_in_its_variant) {
    write("old.xml",
          "<ptp_clk_time_properties_ds_msg><ptp_clock_time_properties_data_set>"
          "<currentUtcOffset>37</currentUtcOffset></ptp_clock_time_properties_data_set>"
          "</ptp_clk_time_properties_ds_msg>");
    const std::string type = "ptp_clock_time_properties_data_set";
    const outcome now = sh("ptpcfg encode old.xml | ptpcfg decode");
    const outcome before = sh("ptpcfg encode --domain " + type + "=0 old.xml | ptpcfg decode");
    EXPECT_THAT(now.out, HasSubstr("<v_port_index>0</v_port_index>"));
    EXPECT_THAT(before.out, Not(HasSubstr("v_port_index")));
    EXPECT_THAT(before.out, HasSubstr("<currentUtcOffset>37</currentUtcOffset>"));
    for (const std::string &bad : {type + "=2", type + "=-1", type, type + "=x", std::string("nothing=0")}) {
        const outcome refused = sh("ptpcfg encode --domain " + bad + " old.xml");
        EXPECT_EQ(refused.status, 2) << bad;
        EXPECT_THAT(refused.err, StartsWith("ptpcfg: ")) << bad;
    }
}

TEST_F(convert, explain_names_every_byte_once) {
    const std::string text = sh("ptpcfg decode --explain clock.bin").out;
    std::istringstream lines(text);
    size_t next = 0;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream cells(line);
        size_t offset = 0;
        ASSERT_TRUE(cells >> offset) << line;
        ASSERT_EQ(offset, next) << line;
        std::string pair;
        while (next - offset < 8 && cells >> pair && pair.size() == 2) {
            ++next;
        }
    }
    EXPECT_EQ(next, read("clock.bin").size());
    EXPECT_THAT(lines_with(text, "identity"), HasSubstr("93 21 5b d5 b0 20 32 26  identity"));
    EXPECT_THAT(lines_with(text, "clk_mode"), HasSubstr("8 VELA_PTP_CLOCK_MODE_BC_HYBRID"));
    EXPECT_THAT(lines_with(text, "priority2"),
                HasSubstr("80                       ptp_clock/default_data_set/priority2"));
}

TEST_F(convert, a_newer_peers_surplus_is_named_and_skipped) {
    // clock_quality with three bytes that a later variant put behind its last field, and that later variant.
    write("new.hex", "01 00 0000000f 06 fffe 00 00000001 aabbcc");
    EXPECT_THAT(sh("ptpcfg decode --type ptp_clock_quality new.hex").out, HasSubstr("<clock_class>6</clock_class>"));
    const std::string text = sh("ptpcfg decode --explain --type ptp_clock_quality new.hex").out;
    EXPECT_THAT(text, HasSubstr("aa bb cc"));
    EXPECT_THAT(text, HasSubstr("(newer fields)"));
    EXPECT_THAT(text, HasSubstr("1, read as 0, the latest known"));
}

}  // namespace
