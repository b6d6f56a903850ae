// What becomes of messages: which are merged into the intent and how, and that a refused one changes nothing.
#include <gmock/gmock.h>

#include "agent/intent/fields.h"
#include "support/messages.h"

namespace ptp_agent::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

using Kind = Answer::Kind;

class Take : public testing::Test, protected Wishes {
  protected:
    /** Clock 1 with ports 1 and 2, stream 7 over port 1 and virtual port 3. */
    void ask_for_a_whole_clock() {
        ask(example(handle, "g8275_1_boundary_clock.xml"));
        ask(port(handle, 1, "eth1"));
        ask(port(handle, 2, "eth2"));
        ask(stream());
        ask(message(handle, "ptp_virtual_port_cfg", {{"clk_handle", 1}, {"v_port_index", 3}, {"local_priority", 128}}));
        ask(message(handle, "ptp_g8275_1_ql_update", {{"clk_handle", 1}, {"v_port_index", 3}}));
    }
    Record stream() {
        return message(handle, "ptp_stream_cfg",
                       {{"port_handle", 1},
                        {"stream_handle", 7},
                        {"log_announce_intrvl", -3},
                        {"log_sync_interval", -4},
                        {"log_min_delay_req_interval", -4}});
    }
    /** Takes a message that must be refused, without a trace. */
    std::string refusal(const Record &record, Kind kind = Kind::Refused) {
        const Intent before = intent;
        const Answer answer = take(record);
        EXPECT_EQ(answer.kind, kind) << to_text(answer);
        EXPECT_TRUE(before == intent);
        EXPECT_FALSE(answer.has_changed);
        return to_text(answer);
    }
};

TEST_F(Take, ViewsAClockWithAllThatBelongsToIt) {
    ask_for_a_whole_clock();
    const ClockIntent view = clock();
    EXPECT_EQ(view.clock().number("default_data_set.clk_domain"), 24);
    ASSERT_THAT(view.ports(), SizeIs(2));
    EXPECT_EQ(view.ports()[0].port->text("port_name"), "eth1");
    ASSERT_THAT(view.ports()[0].streams, SizeIs(1));
    EXPECT_THAT(view.ports()[1].streams, SizeIs(0));
    ASSERT_THAT(view.virtual_ports(), SizeIs(1));
    EXPECT_NE(view.virtual_ports()[0].quality_level, nullptr);
}

TEST_F(Take, DeletesWhatBelongsToWhatIsDeleted) {
    ask_for_a_whole_clock();
    const ClockIntent view = clock();
    ask(message(handle, "ptp_port_delete_cmd", {{"port_id", 1}}));
    EXPECT_EQ(intent.find({ObjectKind::Stream, 7}), nullptr);
    ask(message(handle, "ptp_utc_offset_cmd", {{"utc_offset", 37}}));
    ask(message(handle, "ptp_clock_delete_cmd", {{"clock_id", 1}}));
    EXPECT_THAT(intent.objects(), SizeIs(1)) << "only the setting of the element is left";
    EXPECT_EQ(view.ports()[0].port->text("port_name"), "eth1") << "a view outlives what it shows";
}

TEST_F(Take, RefusesWhatNamesNothing) {
    EXPECT_THAT(refusal(message(handle, "ptp_clock_delete_cmd", {{"clock_id", 5}})),
                HasSubstr("clock 5: there is none"));
    EXPECT_THAT(refusal(message(handle, "ptp_clock_modify_cmd", {{"clock_id", 5}})), HasSubstr("there is none"));
    EXPECT_THAT(refusal(port(handle, 1, "eth1")), HasSubstr("there is no clock 1; configure the clock first"));
    EXPECT_THAT(refusal(stream()), HasSubstr("there is no port 1"));
    Record modified = example(handle, "g8275_1_boundary_clock.xml");
    modified.set("modify", 1);
    EXPECT_THAT(refusal(modified), HasSubstr("there is none"));
    modified.set("modify", 0);
    modified.set("clock_handle", 256);
    EXPECT_THAT(refusal(modified), HasSubstr("by a number up to 255"));
    EXPECT_THAT(refusal(message(handle, "ptp_v_port_status_update", {{"clk_handle", 1}})), HasSubstr("there is none"));
}

TEST_F(Take, KeepsAPortNumberWithItsClock) {
    ask_for_a_whole_clock();
    Record second = example(handle, "default_profile_ordinary_clock.xml");
    ask(second);
    EXPECT_THAT(refusal(port(handle, 1, "eth9", {{"clk_handle", 3}})), HasSubstr("it belongs to clock 1"));
}

TEST_F(Take, DeletesAStreamOnlyWithItsOwnPeer) {
    ask_for_a_whole_clock();
    Record command = message(handle, "ptp_stream_delete_cmd", {{"stream_id", 7}});
    set_ip(command, "stream_addr", "192.0.2.9");
    EXPECT_THAT(refusal(command), HasSubstr("its peer is none, not 192.0.2.9"));
    ask(message(handle, "ptp_stream_delete_cmd", {{"stream_id", 7}}));
}

TEST_F(Take, ModifiesByCommandsAndLeavesTheRest) {
    ask_for_a_whole_clock();
    const Answer answer = take(example(handle, "modify_priority.xml"));
    EXPECT_EQ(answer.kind, Kind::Applied);
    EXPECT_TRUE(answer.has_changed);
    EXPECT_EQ(answer.clock, 1);
    EXPECT_EQ(clock().clock().number("default_data_set.priority2"), 100);
    EXPECT_EQ(clock().clock().number("default_data_set.clk_domain"), 24);
    EXPECT_FALSE(take(example(handle, "modify_priority.xml")).has_changed) << "the same again";
    EXPECT_TRUE(take(example(handle, "g8275_1_boundary_clock.xml")).has_changed) << "configured anew, whole";
}

/** A tracked message: each path is set with its flag. */
class TrackedMessage {
  public:
    TrackedMessage(std::string_view name, Values values)
        : record(std::make_unique<Record>(message(handle, name, values))) {}

    SharedHandle handle = make_tracking_handle();
    std::unique_ptr<Record> record;
};

TEST_F(Take, ChangesExactlyTheFlaggedFields) {
    ask_for_a_whole_clock();
    const TrackedMessage command("ptp_clock_modify_cmd", {{"clock_id", 1}, {"priority2", 77}});
    ask(*command.record);
    EXPECT_EQ(clock().clock().number("default_data_set.priority2"), 77);
    EXPECT_EQ(clock().clock().number("default_data_set.priority1"), 128) << "not flagged, and 0 in the message";

    const TrackedMessage nested("ptp_clock_cfg",
                                {{"modify", 1}, {"clock_handle", 1}, {"default_data_set.clk_domain", 30}});
    ask(*nested.record);
    EXPECT_EQ(clock().clock().number("default_data_set.clk_domain"), 30);
    EXPECT_EQ(clock().clock().number("default_data_set.priority2"), 77);
    EXPECT_EQ(clock().clock().shown("clk_profile"), "VELA_PTP_PHASE_PROFILE_G8275_1");

    const TrackedMessage status("ptp_v_port_status_update", {{"clk_handle", 1}, {"v_port_index", 3}, {"status", 1}});
    ask(*status.record);
    EXPECT_EQ(clock().virtual_ports()[0].port->number("status"), 1);
    EXPECT_EQ(clock().virtual_ports()[0].port->number("local_priority"), 128);
}

std::vector<u_int8> bytes_of(const Record &record) {
    std::vector<u_int8> bytes(500);
    u_int32 err = 0;
    bytes.resize(describe(record.type())
                     .operations->marshal(record.handle(), memory_class, bytes.data(), record.message(), 499, &err));
    EXPECT_EQ(err, 0u);
    return bytes;
}

TEST_F(Take, TakesEveryFieldOfASenderWithoutStateFlags) {
    ask_for_a_whole_clock();
    const TrackedMessage receiver("ptp_clock_delete_cmd", {});
    const std::vector<u_int8> bytes = bytes_of(message(handle, "ptp_clock_modify_cmd",
                                                       {{"clock_id", 1},
                                                        {"priority1", 128},
                                                        {"priority2", 6},
                                                        {"clock_quality.clock_class", 248},
                                                        {"local_priority", 128}}));
    EXPECT_EQ(ptp_agent::take(intent, bytes, receiver.handle.get(), rules).kind, Kind::Applied);
    EXPECT_EQ(clock().clock().number("default_data_set.priority2"), 6);
}

TEST_F(Take, TakesTrackedMessagesFromBytes) {
    ask_for_a_whole_clock();
    const TrackedMessage command("ptp_clock_modify_cmd", {{"clock_id", 1}, {"priority2", 5}});
    std::vector<u_int8> bytes = bytes_of(*command.record);
    EXPECT_EQ(ptp_agent::take(intent, bytes, command.handle.get(), rules).kind, Kind::Applied);
    EXPECT_EQ(clock().clock().number("default_data_set.priority2"), 5);
    EXPECT_EQ(clock().clock().number("default_data_set.priority1"), 128);
    bytes.resize(bytes.size() / 2);
    EXPECT_EQ(ptp_agent::take(intent, bytes, command.handle.get(), rules).kind, Kind::Refused);
}

TEST_F(Take, GivesAllReasonsOfARefusal) {
    Record wrong = example(handle, "g8275_1_boundary_clock.xml");
    wrong.set("default_data_set.clk_domain", 0);
    wrong.set("default_data_set.priority1", 1);
    const Answer answer = take(wrong);
    EXPECT_EQ(answer.kind, Kind::Refused);
    ASSERT_THAT(answer.violations, SizeIs(2));
    EXPECT_EQ(answer.violations[0].rule, "g8275.1/domain");
    EXPECT_EQ(answer.violations[0].value, "0");
    EXPECT_EQ(answer.violations[0].allowed, "24 to 43");
    EXPECT_THAT(to_text(answer.violations[0]),
                HasSubstr("clock 1: default_data_set.clk_domain is 0, allowed is 24 to 43"));
    EXPECT_TRUE(intent.objects().empty());
}

TEST_F(Take, RefusesAChangeThatMakesAnotherObjectWrong) {
    ask_for_a_whole_clock();
    const TrackedMessage fewer("ptp_clock_cfg",
                               {{"modify", 1}, {"clock_handle", 1}, {"default_data_set.numberPorts", 1}});
    EXPECT_THAT(refusal(*fewer.record), HasSubstr("at most 1"));
}

TEST_F(Take, SaysWhatTheDaemonCannotDoAndWhatIsNoWish) {
    EXPECT_THAT(
        refusal(message(handle, "ptp_burst_mode_enable_cmd", {{"is_burst_mode_enable", 1}}), Kind::NotExpressible),
        HasSubstr("no bursts"));
    EXPECT_EQ(refusal(message(handle, "ptp_clk_default_ds_msg"), Kind::NotForUs), "ptp_clk_default_ds_msg: not for us");
    Record telecom = example(handle, "default_profile_ordinary_clock.xml");
    telecom.set("clk_profile", 1);
    EXPECT_THAT(refusal(telecom, Kind::NotExpressible), HasSubstr("no master selection of this profile"));
}

TEST_F(Take, TellsWhichValuesHaveNoEffect) {
    ask(example(handle, "g8275_1_boundary_clock.xml"));
    const Answer answer = take(port(handle, 1, "eth1", {{"max_foreign_records", 5}}));
    EXPECT_EQ(answer.kind, Kind::Applied);
    EXPECT_THAT(answer.unused, ElementsAre(HasSubstr("max_foreign_records has no effect")));
}

TEST_F(Take, KeepsNoMoreThanItsLimits) {
    intent = Intent(handle, {.clocks = 1, .ports = 2, .streams = 1, .virtual_ports = 1});
    ask_for_a_whole_clock();
    EXPECT_THAT(refusal(port(handle, 3, "eth3")), HasSubstr("there are 2 of its kind already"));
    EXPECT_THAT(refusal(example(handle, "g8275_2_boundary_clock.xml")), HasSubstr("clock 2: there are 1 of its kind"));
    ask(port(handle, 2, "eth4"));
}

TEST_F(Take, RefusesNamesThatWouldBreakTheDaemonsFile) {
    ask(example(handle, "g8275_1_boundary_clock.xml"));
    for (const char *name : {"", "eth0\n[global]", "eth 0", "[eth0]", "global", "sixteencharacter", ".."}) {
        EXPECT_THAT(refusal(port(handle, 1, name)), HasSubstr("ieee1588/interface")) << name;
    }
    EXPECT_THAT(refusal(port(handle, 1, std::string_view("eth0\0x", 6))), HasSubstr("ieee1588/interface"));
    ask(port(handle, 1, "enp3s0f1.100"));
    EXPECT_THAT(refusal(port(handle, 2, "enp3s0f1.100")), HasSubstr("no other port of the clock has"));
}

}  // namespace
}  // namespace ptp_agent::test
