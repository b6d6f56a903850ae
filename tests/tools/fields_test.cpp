// diff, get, edit, describe of names and search: what scripts rely on when they look at single fields and change them.
#include <gmock/gmock.h>

#include "recording_fixture.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

class fields : public recording {
  protected:
    void SetUp() override {
        recording::SetUp();
        ASSERT_EQ(sh("cp $CLOCKS/g8275_1_boundary_clock.xml clock.xml").status, 0);
    }
    /** The bytes of a clock's deletion. */
    static std::string deletion(int clock) {
        write("one.json",
              R"({"ptp_clock_delete_cmd": {"ptp_clock_delete": {"clock_id": )" + std::to_string(clock) + "}}}");
        EXPECT_EQ(sh("ptpcfg encode one.json -o one.bin").err, "");
        return read("one.bin");
    }
};

TEST_F(fields, diff_finds_messages_of_any_two_formats_the_same) {
    ASSERT_EQ(
        sh("for type in $(ptpcfg describe | awk '$2 == \"message\" { print $1 }'); do ptpcfg describe --xml $type |"
           "ptpcfg encode || exit; done >all.bin")
            .status,
        0);
    for (const char *form : {"xml", "json", "yaml", "hex"}) {
        const outcome result =
            sh(std::string("ptpcfg convert all.bin -o all.") + form + " && ptpcfg diff all.bin all." + form);
        EXPECT_EQ(result.status, 0) << form;
        EXPECT_EQ(result.out + result.err, "") << form;
    }
}

TEST_F(fields, diff_names_each_leaf_that_differs_and_no_other) {
    ASSERT_EQ(
        sh("ptpcfg edit clock.xml -o b.yaml priority1=127 clk_id=01-02-03-04-05-06-07-08 currentUtcOffset=-1").err, "");
    // The output keeps the format of the input, whatever it is called.
    const outcome result = sh("ptpcfg diff clock.xml --from xml b.yaml");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out,
                HasSubstr("ptp_clock_cfg/ptp_clock/default_data_set/clk_id: AA-BB-CC-FF-FE-00-01-10 -> "
                          "01-02-03-04-05-06-07-08\nptp_clock_cfg/ptp_clock/default_data_set/priority1: 128 -> 127\n"));
    EXPECT_THAT(result.out, HasSubstr("/time_properties/currentUtcOffset: 37 -> -1\n"));
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 3) << result.out;
    const std::string some = "ptpcfg diff clock.xml --from xml b.yaml --ignore clk_id --ignore time_properties ";
    EXPECT_EQ(sh(some).out, "ptp_clock_cfg/ptp_clock/default_data_set/priority1: 128 -> 127\n");
    EXPECT_EQ(sh(some + "--ignore default_data_set").status, 0);
    EXPECT_EQ(sh("ptpcfg diff -q clock.xml --from xml b.yaml").out, "");
}

TEST_F(fields, diff_pairs_the_messages_of_recordings) {
    make("a.rec",
         {{noon, deletion(1), 0}, {noon + 1, deletion(2), 0}, {noon + 2, deletion(3), 0}, {noon + 3, deletion(4), 0}});
    make("b.rec", {{noon, deletion(7), 1},
                   {noon, deletion(1), 1},
                   {noon, deletion(2), 1},
                   {noon, deletion(5), 1},
                   {noon, deletion(4), 1}});
    const outcome result = sh("ptpcfg diff a.rec b.rec");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out,
              "+ message 1: ptp_clock_delete_cmd: only in b.rec\n"
              "message 3/4: ptp_clock_delete_cmd/ptp_clock_delete/clock_id: 3 -> 5\n");
    EXPECT_EQ(sh("ptpcfg diff b.rec a.rec").out,
              "- message 1: ptp_clock_delete_cmd: only in b.rec\n"
              "message 4/3: ptp_clock_delete_cmd/ptp_clock_delete/clock_id: 5 -> 3\n");
    EXPECT_EQ(sh("ptpcfg convert a.rec -o a.yaml && ptpcfg diff a.yaml a.rec").status, 0);
}

TEST_F(fields, diff_ends_with_2_when_it_cannot_tell) {
    write("bad.xml", "<ptp_clock_cfg>");
    for (const char *script : {"ptpcfg diff clock.xml bad.xml", "ptpcfg diff clock.xml none.xml", "ptpcfg diff - -",
                               "ptpcfg diff clock.xml", "ptpcfg diff clock.xml . "}) {
        const outcome result = sh(std::string(script) + " </dev/null");
        EXPECT_EQ(result.status, 2) << script;
        EXPECT_THAT(result.err, StartsWith("ptpcfg: ")) << script;
        EXPECT_EQ(result.out, "") << script;
    }
}

TEST_F(fields, get_writes_what_a_path_names) {
    const std::pair<const char *, const char *> rows[] = {
        {"priority1", "128\n"},
        {"ptp_clock_cfg/ptp_clock/default_data_set/priority1", "128\n"},
        {"default_data_set.priority1", "128\n"},
        {"clk_mode", "VELA_PTP_CLOCK_MODE_BC_HYBRID\n"},
        {"--json clk_mode", "\"VELA_PTP_CLOCK_MODE_BC_HYBRID\"\n"},
        {"clock_quality",
         "{\"clock_class\":248,\"offset_scaled_log_var\":-1,\"clock_accuracy\":"
         "\"VELA_PTP_CLOCK_ACCURACY_UNKNOWN\"}\n"},
    };
    for (const auto &[field, value] : rows) {
        EXPECT_EQ(sh(std::string("ptpcfg get clock.xml ") + field).out, value) << field;
        EXPECT_EQ(sh(std::string("ptpcfg encode clock.xml | ptpcfg get - ") + field).out, value) << field;
    }
    make("a.rec", {{noon, deletion(1), 0}, {noon + 1, deletion(2), 0}});
    EXPECT_EQ(sh("ptpcfg get a.rec clock_id").out, "1\n2\n");
    EXPECT_EQ(sh("ptpcfg get a.rec --message 2 clock_id").out, "2\n");
    EXPECT_EQ(sh("ptpcfg get a.rec --message 3 clock_id").err, "ptpcfg: a.rec: has 2 messages, no message 3\n");
    const outcome unknown = sh("ptpcfg get clock.xml priority");
    EXPECT_EQ(unknown.status, 1);
    EXPECT_EQ(unknown.err, "ptpcfg: clock.xml: there is no field priority; did you mean priority1?\n");
    EXPECT_EQ(
        sh("ptpcfg get clock.xml 'ptp_clk_id[1]'").err,
        "ptpcfg: clock.xml: there is no field ptp_clk_id[1]; clk_id is one value, as in AA-BB-CC-FF-FE-00-01-10\n");
}

TEST_F(fields, edit_changes_what_it_is_told_in_the_format_of_the_file) {
    for (const char *form : {"xml", "json", "yaml", "bin", "hex"}) {
        const std::string name = std::string("edited.") + form;
        ASSERT_EQ(sh("ptpcfg convert clock.xml -o " + name + " && chmod 640 " + name).err, "");
        ASSERT_EQ(sh("ptpcfg edit " + name +
                     " clock_handle=18446744073709551615 modify=1 clk_domain=0x2b"
                     " clk_mode=VELA_PTP_CLOCK_MODE_BC")
                      .err,
                  "");
        EXPECT_EQ(
            sh("for field in clock_handle modify clk_domain clk_mode; do ptpcfg get " + name + " $field; done").out,
            "18446744073709551615\ntrue\n43\nVELA_PTP_CLOCK_MODE_BC\n");
        EXPECT_EQ(sh("ptpcfg diff clock.xml " + name + " | wc -l").out,
                  sh("ptpcfg diff clock.xml edited.xml | wc -l").out);
        EXPECT_EQ(sh("stat -c %a " + name).out, "640\n");
    }
    EXPECT_EQ(sh("ptpcfg edit - priority2=9 <edited.json | ptpcfg get - priority2").out, "9\n");
    // Of a message of several it says which; state flags of a text stay.
    write("two.json", R"([{"ptp_clock_delete_cmd": {"ptp_clock_delete": {"clock_id": 1, "$state": {"clock_id": 2}}}},
                          {"ptp_clock_delete_cmd": {"ptp_clock_delete": {"clock_id": 2}}}])");
    EXPECT_EQ(sh("ptpcfg edit two.json clock_id=9").err,
              "ptpcfg: two.json: 2 messages have clock_id; --message N names one, --all changes each\n");
    EXPECT_EQ(sh("ptpcfg edit two.json --message 2 clock_id=9 && ptpcfg get two.json clock_id").out, "1\n9\n");
    EXPECT_THAT(read("two.json"), HasSubstr("\"$state\": {\n          \"clock_id\": 2"));
    EXPECT_EQ(sh("ptpcfg edit two.json --all clock_id=5 && ptpcfg get two.json clock_id").out, "5\n5\n");
}

TEST_F(fields, edit_that_fails_leaves_the_file_as_it_was) {
    const std::string before = read("clock.xml");
    make("a.rec", {{noon, deletion(1), 0}});
    const std::tuple<const char *, int, const char *> rows[] = {
        {"clock.xml priority1=256", 2, "default_data_set/priority1: 256 is not a u_int8 (0 to 255)"},
        {"clock.xml priority1", 2, "'priority1': FIELD=VALUE is wanted"},
        {"clock.xml priority1=1 clk_mode=BC", 2, "clk_mode: unknown literal of ptp_clock_mode"},
        {"clock.xml default_data_set=3", 2, "default_data_set: has fields of its own; name one of them, or give JSON"},
        {"clock.xml default_data_set='{'", 2, "is not well-formed JSON"},
        {"clock.xml clk_id=AA-BB", 2, "clk_id: "},
        {"clock.xml nothing=1", 1, "clock.xml: there is no field nothing"},
        {"clock.xml --message 2 priority1=1", 1, "clock.xml: has 1 message, no message 2"},
        {"a.rec clock_id=2", 2, "a recording is not changed"},
        {"none.xml priority1=1", 3, "none.xml: cannot open"},
        {"clock.xml priority1=1 -o none/x.xml", 3, "none/x.xml: cannot create"},
    };
    for (const auto &[arguments, status, reason] : rows) {
        const outcome result = sh(std::string("ptpcfg edit ") + arguments);
        EXPECT_EQ(result.status, status) << arguments;
        EXPECT_THAT(result.err, HasSubstr(reason)) << arguments;
        EXPECT_EQ(read("clock.xml"), before) << arguments;
    }
    EXPECT_EQ(listing(), "a.rec clock.xml one.bin one.json");
}

TEST_F(fields, describe_and_search_know_values_fields_and_primitives) {
    EXPECT_THAT(sh("ptpcfg describe VELA_PTP_CLOCK_MODE_BC").out, StartsWith("VELA_PTP_CLOCK_MODE_BC: value "));
    const outcome field = sh("ptpcfg describe ptp_clock.clk_profile");
    EXPECT_THAT(field.out, StartsWith("ptp_clock.clk_profile: field\n"));
    EXPECT_THAT(field.out, HasSubstr("VELA_PTP_PHASE_PROFILE_G8275_1"));
    EXPECT_THAT(sh("ptpcfg describe ptp_clock_cfg/ptp_clock/default_data_set/clk_id").out,
                HasSubstr("written as  8 bytes as AA-BB"));
    EXPECT_THAT(sh("ptpcfg describe priority1").out, HasSubstr("ptp_clock_default_ds.priority1: field\n"));
    EXPECT_EQ(sh("ptpcfg describe ptp_clock.clk_modus").err,
              "ptpcfg: ptp_clock has no field 'clk_modus'; did you mean clk_mode?\n");
    const outcome found = sh("ptpcfg search HoldOver");
    EXPECT_EQ(found.status, 0);
    EXPECT_THAT(found.out, StartsWith("NAME "));
    for (const char *word : {"priority1", "clock_mode_bc", "var_string", "ptp_clock_cfg"}) {
        EXPECT_EQ(sh(std::string("ptpcfg search ") + word).status, 0) << word;
    }
    EXPECT_EQ(sh("ptpcfg search xyzzy").status, 1);
}

}  // namespace
