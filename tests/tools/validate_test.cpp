// ptpcfg validate: what it says of configurations, and its exit codes.
#include <gmock/gmock.h>

#include "shell.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

class validate : public shell_test {
  protected:
    void SetUp() override {
        shell_test::SetUp();
        ASSERT_EQ(sh("sed 's/<clk_domain>24/<clk_domain>4/; s/<priority1>128/<priority1>1/' "
                     "$CLOCKS/g8275_1_boundary_clock.xml >wrong.xml")
                      .status,
                  0);
    }
};

TEST_F(validate, says_nothing_of_a_valid_configuration_of_several_files) {
    const outcome result = sh("ptpcfg validate $CLOCKS/g8275_1_boundary_clock.xml $CLOCKS/modify_priority.xml");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(sh("ptpcfg encode $CLOCKS/g8275_2_boundary_clock.xml -o c.bin && ptpcfg validate - <c.bin").status, 0);
}

TEST_F(validate, names_every_violation_with_its_clause) {
    const outcome result = sh("ptpcfg validate wrong.xml");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, StartsWith("clock 1: default_data_set.clk_domain is 4, allowed is 24 to 43: "));
    EXPECT_THAT(result.out, HasSubstr("\nclock 1: default_data_set.priority1 is 1, allowed is 128: "));
    EXPECT_THAT(result.out, HasSubstr("(ITU-T G.8275.1"));
    EXPECT_EQ(result.err, "ptpcfg: the configuration is not valid: 2 violations\n");
    const outcome json =
        sh("ptpcfg validate --json wrong.xml | python3 -c 'import json, sys\n"
           "for each in json.load(sys.stdin)[\"violations\"]: print(each[\"rule\"], each[\"value\"])'");
    EXPECT_EQ(json.out, "g8275.1/domain 4\ng8275.1/priority1 1\n");
    EXPECT_EQ(sh("ptpcfg validate --json $CLOCKS/g8275_1_boundary_clock.xml").out, "{\"violations\": []}\n");
}

TEST_F(validate, judges_by_the_profile_that_it_is_told) {
    EXPECT_EQ(sh("ptpcfg validate --profile default wrong.xml").status, 0);
    EXPECT_EQ(sh("ptpcfg validate --profile g8275.2 wrong.xml").status, 1);
    EXPECT_EQ(sh("ptpcfg validate --profile none wrong.xml").status, 2);
    EXPECT_EQ(sh("ptpcfg validate").status, 2);
    EXPECT_EQ(sh("echo rubbish | ptpcfg validate -").status, 1);
    EXPECT_EQ(sh("ptpcfg validate nowhere.xml").status, 3);
}

TEST_F(validate, tells_the_faults_of_all_files_whatever_their_formats) {
    write("a.xml", "<ptp_clock_cfg>");
    write("b.json", "{");
    const outcome result = sh("ptpcfg validate a.xml $CLOCKS/modify_priority.xml b.json none.bin");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "");
    for (const char *begin : {"ptpcfg: a.xml:1:2: ", "\nptpcfg: b.json:1:", "\nptpcfg: none.bin: cannot open"}) {
        EXPECT_THAT(result.err, HasSubstr(begin));
    }
    ASSERT_EQ(sh("ptpcfg convert wrong.xml -o wrong.yaml").status, 0);
    EXPECT_EQ(sh("ptpcfg validate wrong.yaml").out, sh("ptpcfg validate wrong.xml").out);
    write("part.xml", "<ptp_clock_cfg><ptp_clock><modify>true</modify></ptp_clock></ptp_clock_cfg>");
    EXPECT_THAT(sh("ptpcfg validate --complete part.xml").err, HasSubstr("<clk_mode> is missing; add it"));
}

}  // namespace
