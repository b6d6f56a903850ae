// describe: everything that is listed can be asked for.
#include <gmock/gmock.h>

#include "shell.h"

using testing::HasSubstr;

namespace {

class describe : public shell_test {};

TEST_F(describe, lists_every_type_and_describes_each) {
    const outcome result = sh(R"(
        ptpcfg describe | tail -n +2 | while read name kind rest; do
            ptpcfg describe $name >one.txt && ptpcfg describe $name --variant 0 --tracked >layout.txt || exit
            head -n 1 one.txt | grep -q "^$name: $kind$" || { echo "$name"; exit 1; }
            grep -q bytes layout.txt || { echo "$name"; exit 1; }
            type=; test $kind = message || type="--type $name"
            ptpcfg describe --xml $name | ptpcfg encode $type --tracked | ptpcfg decode $type >back.xml || exit
        done)");
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_THAT(sh("ptpcfg describe ptp_clock_quality").out, HasSubstr("40 bytes in memory, 43 with state flags"));
    EXPECT_THAT(sh("ptpcfg describe ptp_clock_cfg").out, HasSubstr("93215bd5b0203226a07b2cba59df4112"));
}

TEST_F(describe, says_how_values_are_written) {
    for (const char *primitive : {"u_int8", "u_int16", "u_int32", "u_int64", "int8", "int16", "int32", "vela_boolean",
                                  "var_string", "en_address", "ip_address", "vrf_info"}) {
        EXPECT_THAT(sh(std::string("ptpcfg describe ") + primitive).out, HasSubstr("In XML it is written as"))
            << primitive;
    }
    EXPECT_THAT(sh("ptpcfg describe vrf_info").out, HasSubstr("ID:TABLE:AFI:SAFI"));
    EXPECT_THAT(sh("ptpcfg describe ptp_port").out, HasSubstr("vrf_info      is written as ID:TABLE"));
    EXPECT_THAT(sh("ptpcfg describe ptp_clock_identity").out, HasSubstr("8 bytes as AA-BB-CC-FF-FE-00-03-30"));
    EXPECT_THAT(sh("ptpcfg describe ptp_ipv4_stream_id").out,
                HasSubstr("addr        is written as a number, or an addr"));
}

TEST_F(describe, layout_agrees_with_the_encoder) {
    const outcome result = sh(R"(
        for option in "" --tracked; do
            ptpcfg describe ptp_clock_cfg --variant 0 $option | tail -n 1
            echo "$(ptpcfg encode $CLOCKS/g8275_1_boundary_clock.xml $option | wc -c) bytes"
        done)");
    const size_t half = result.out.size() / 2;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.substr(0, result.out.find('\n')), "152 bytes");
    EXPECT_THAT(result.out, HasSubstr("152 bytes\n152 bytes\n"));
    EXPECT_NE(half, 0u);
    EXPECT_EQ(sh("ptpcfg describe ptp_clock_time_properties_data_set --variant 0 | tail -n 1").out, "19 bytes\n");
    EXPECT_EQ(sh("ptpcfg describe ptp_clock_time_properties_data_set --variant 1 | tail -n 1").out, "20 bytes\n");
}

}  // namespace
