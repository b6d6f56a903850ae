// stats and --stats: what was created and destroyed.
#include <gmock/gmock.h>

#include "shell.h"

using testing::HasSubstr;
using testing::Not;

namespace {

class statistics : public shell_test {};

TEST_F(statistics, of_processes_that_share_types) {
    ASSERT_EQ(sh(SHARE_TYPES " types 3").err, "");
    const outcome result = sh("ptpcfg stats types");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, testing::ContainsRegex("TYPE +VARIANT +CREATED +DESTROYED +ALIVE\n"));
    EXPECT_THAT(result.out, testing::ContainsRegex("ptp_clock +0 +3 +1 +2\n"));
    EXPECT_THAT(result.out, testing::ContainsRegex("ptp_clock_time_properties_data_set +1 +3 +1 +2\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("ptp_port")));
    EXPECT_THAT(sh("ptpcfg stats --all types").out, testing::ContainsRegex("ptp_utc_offset +2 +0 +0 +0\n"));
    const outcome json =
        sh("ptpcfg stats --json --all types | python3 -c '"
           "import json, sys; types = json.load(sys.stdin)[\"types\"]; "
           "print([t for t in types if t[\"type\"] == \"ptp_clock\"])'");
    EXPECT_EQ(json.out,
              "[{'type': 'ptp_clock', 'module': 'ptp_cfg', 'kind': 'type', 'variant': 0, 'created': 3, "
              "'destroyed': 1}]\n")
        << json.err;
}

TEST_F(statistics, of_a_file_that_is_wrong) {
    const outcome missing = sh("ptpcfg stats none");
    EXPECT_EQ(missing.status, 3);
    EXPECT_EQ(missing.err, "ptpcfg: none: cannot open: No such file or directory\n");
    const outcome other = sh("ptpcfg stats $CLOCKS/delete_clock.xml");
    EXPECT_EQ(other.status, 1);
    EXPECT_THAT(other.err, HasSubstr("delete_clock.xml: this is no file of shared types\n"));
    const outcome cut = sh(SHARE_TYPES " types 1 && truncate -s 40000 types && ptpcfg stats types");
    EXPECT_EQ(cut.status, 1);
    EXPECT_EQ(cut.err, "ptpcfg: types: it is damaged: of 65536 bytes there are 40000\n");
    EXPECT_EQ(sh("ptpcfg stats .").status, 3);
    EXPECT_EQ(sh("ptpcfg stats").status, 2);
}

TEST_F(statistics, of_a_run) {
    const outcome result = sh("ptpcfg encode --stats $CLOCKS/delete_clock.xml -o delete.bin");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, testing::ContainsRegex("ptp_clock_delete +[0-9]+ +([0-9]+) +[0-9]+ +0\n"));
    const outcome failed = sh("ptpcfg decode --stats $CLOCKS/delete_clock.xml --from bin");
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.err, HasSubstr("TYPE"));
}

}  // namespace
