// What is known of clocks: rows, parts of records, trees and alarms, out of messages that the library made.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "alarm_json.h"
#include "command_message.h"
#include "judge.h"
#include "message.h"
#include "ptp_cfg/json.h"
#include "ptp_cfg/receive.h"
#include "topology.h"

namespace ptp_fleet {
namespace {

using testing::ElementsAre;

constexpr std::uint64_t second = 1'000'000'000;

clock_identity identity(std::uint8_t number) { return {2, 0, 0, 0xFF, 0xFE, 0, 0, number}; }

/** A message that has set what the JSON says. */
std::vector<std::uint8_t> message_of(const std::string &name, const nlohmann::json &payload) {
    vela_handle_options options = {};
    options.size = sizeof options;
    options.tracking = VELA_STTR_ON;
    u_int32 err = 0;
    vela_handle *handle = vela_handle_create(&options, &err);
    const ptp_cfg_type *type = ptp_cfg_type_find(name.c_str());
    ptp_cfg_type_description about = {};
    about.size = sizeof about;
    ptp_cfg_type_describe(type, &about);
    const std::string text = with_state_flags(nlohmann::json{{name, payload}}.dump());
    ptp_cfg_json_options reading = {};
    reading.size = sizeof reading;
    reading.rules = PTP_CFG_JSON_STATE_FLAGS;
    char why[256] = "";
    void *made = ptp_cfg_from_json(handle, 0, type, nullptr, text.data(), text.size(), &reading, &err, why, sizeof why);
    EXPECT_EQ(err, 0u) << why;
    std::vector<std::uint8_t> bytes(4096);
    bytes.resize(about.operations->marshal(handle, 0, bytes.data(), made, 4000, &err));
    ptp_cfg_message_destroy(handle, 0, type, made);
    vela_handle_destroy(handle, nullptr);
    return bytes;
}

class a_fleet {
  public:
    taken say(const std::string &element, const char *message, const std::vector<std::uint8_t> &bytes,
              bool is_late = false) {
        return state.take({{element, "0"}, message, bytes, now, now, is_late});
    }
    taken say_state(const std::string &element, const char *literal) {
        return say(
            element, "ptp_clock_runtime_state_msg",
            message_of("ptp_clock_runtime_state_msg", {{"ptp_clock_runtime_state", {{"clock_state", literal}}}}));
    }
    taken say_offset(const std::string &element, double ns) {
        const auto scaled = static_cast<std::uint64_t>(static_cast<std::int64_t>(ns * 65536));
        return say(element, "ptp_clk_current_ds_msg",
                   message_of("ptp_clk_current_ds_msg",
                              {{"ptp_clock_current_data_set",
                                {{"offset_from_master", {{"scaledNanoseconds", std::to_string(scaled)}}}}}}));
    }
    taken say_default(const std::string &element, const nlohmann::json &fields) {
        return say(element, "ptp_clk_default_ds_msg",
                   message_of("ptp_clk_default_ds_msg", {{"ptp_clock_default_ds", fields}}));
    }
    clock_summary row(const std::string &element) const { return *state.summary({element, "0"}); }

    std::uint64_t now = 1000 * second;
    fleet_state state{60};
};

TEST(FleetState, AddsToARecordWhatComesInParts) {
    a_fleet fleet;
    fleet.say_default("a", {{"priority1", 100}, {"priority2", 20}, {"clk_domain", 24}});
    const taken came = fleet.say_default("a", {{"priority1", 90}});
    EXPECT_EQ(fleet.row("a").priority1, 90);
    EXPECT_EQ(fleet.row("a").priority2, 20) << "what was not said again is as it was";
    ASSERT_EQ(came.changes.size(), 1u);
    EXPECT_EQ(came.changes[0].what, "priority1");
    EXPECT_EQ(came.changes[0].before, "100");
    EXPECT_EQ(came.changes[0].after, "90");
    const auto records = fleet.state.records({"a", "0"});
    ASSERT_EQ(records.size(), 1u);
    const auto json = nlohmann::json::parse(records[0].json)["ptp_clk_default_ds_msg"]["ptp_clock_default_ds"];
    EXPECT_EQ(json["priority1"], 90);
    EXPECT_EQ(json["clk_domain"], 24);
    EXPECT_FALSE(json["$state"].contains("numberPorts")) << "was never said";
    EXPECT_THAT(records[0].changed, ElementsAre("ptp_clock_default_ds/priority1"));
}

TEST(FleetState, KeepsPortsApartAndLateMessagesOutOfTheRow) {
    a_fleet fleet;
    for (const int port : {1, 2, 1}) {
        fleet.say("a", "ptp_port_runtime_state_msg",
                  message_of("ptp_port_runtime_state_msg", {{"ptp_port_pd_hdl", {{"hdl", port}}},
                                                            {"ptp_port_runtime_state", nlohmann::json::object()}}));
    }
    const auto records = fleet.state.records({"a", "0"});
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].about, "port 1");
    EXPECT_EQ(records[1].about, "port 2");
    fleet.say_offset("a", -5);
    const auto late = message_of(
        "ptp_clk_current_ds_msg",
        {{"ptp_clock_current_data_set", {{"offset_from_master", {{"scaledNanoseconds", std::to_string(7 * 65536)}}}}}});
    EXPECT_EQ(fleet.say("a", "ptp_clk_current_ds_msg", late, true).offset_ns, 7) << "a plot wants it";
    EXPECT_EQ(fleet.row("a").offset_ns, -5);
}

TEST(FleetState, ChangesNothingForBytesThatAreNoMessageOfTheName) {
    a_fleet fleet;
    fleet.say_offset("a", 1);
    const std::uint64_t before = fleet.state.change();
    const std::vector<std::uint8_t> junk(60, 7);
    EXPECT_THROW(fleet.say("a", "ptp_clk_current_ds_msg", junk), std::runtime_error);
    auto good = message_of("ptp_clk_default_ds_msg", {{"ptp_clock_default_ds", {{"priority1", 1}}}});
    EXPECT_THROW(fleet.say("b", "ptp_clk_current_ds_msg", good), std::runtime_error);
    good.push_back(0);
    EXPECT_THROW(fleet.say("b", "ptp_clk_default_ds_msg", good), std::runtime_error);
    EXPECT_EQ(fleet.state.change(), before);
    EXPECT_EQ(fleet.state.summaries().size(), 1u);
}

TEST(FleetState, WakesWhoWaitsAndTellsOnlyWhatChanged) {
    a_fleet fleet;
    fleet.say_offset("a", 1);
    fleet.say_offset("b", 1);
    const std::uint64_t seen = fleet.state.change();
    std::thread speaker([&] {
        fleet.say_offset("b", 2);
        fleet.state.tell_waiting();
    });
    EXPECT_GT(fleet.state.wait_for_change(seen, std::chrono::seconds(20)), seen);
    speaker.join();
    const auto rows = fleet.state.changed_after(seen);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].name.element, "b");
}

clock_summary following(std::uint8_t own, std::uint8_t parent, std::uint8_t grandmaster) {
    clock_summary row;
    row.name = {"e" + std::to_string(own), "0"};
    row.identity = identity(own);
    row.parent = identity(parent);
    row.grandmaster = identity(grandmaster);
    return row;
}

TEST(Topology, NamesLoopsOrphansDuplicatesAndWhoDisagrees) {
    std::vector<clock_summary> rows = {
        following(1, 1, 1),                                             // a grandmaster
        following(2, 1, 1),                                             // below it
        following(3, 2, 9),                                             // says another grandmaster than its parent
        following(4, 5, 1),    following(5, 6, 1), following(6, 4, 1),  // round and round
        following(7, 5, 1),                                             // hangs on the loop
        following(8, 99, 1),                                            // below nobody that is known
        following(10, 50, 50),  // below a grandmaster that is none of the fleet's
        following(2, 1, 1),     // as somebody else
    };
    rows.push_back({});
    const topology tree = make_topology(rows);
    EXPECT_EQ(tree.nodes[0].is, standing::grandmaster);
    EXPECT_EQ(tree.nodes[1].is, standing::follows);
    EXPECT_EQ(tree.nodes[2].depth, 2u);
    EXPECT_TRUE(tree.nodes[2].disagrees);
    EXPECT_FALSE(tree.nodes[1].disagrees);
    ASSERT_EQ(tree.loops.size(), 1u);
    EXPECT_THAT(tree.loops[0], ElementsAre(3u, 4u, 5u));
    EXPECT_EQ(tree.nodes[6].is, standing::follows);
    EXPECT_EQ(upstream(tree, 6).size(), 3u) << "once around";
    EXPECT_EQ(tree.nodes[7].is, standing::orphan);
    EXPECT_EQ(tree.nodes[8].is, standing::follows);
    EXPECT_EQ(tree.nodes[tree.nodes[8].parent].is, standing::outside);
    EXPECT_TRUE(tree.nodes[1].is_duplicate && tree.nodes[9].is_duplicate);
    EXPECT_EQ(tree.nodes[10].is, standing::unidentified);
}

struct judged : a_fleet {
    explicit judged(const std::string &rules) : judging(read_rules(rules, "rules"), state, book) {}
    std::vector<std::string> active() {
        judging.run(now);
        std::vector<std::string> names;
        for (const alarm &each : book.active()) {
            names.push_back(each.rule + " " + each.name.element);
        }
        return names;
    }
    void pass(std::uint64_t seconds) { now += seconds * second; }

    alarm_book book;
    judge judging;
};

TEST(Alarms, BeginAfterAWhileAndEndBelowTheLowerLimit) {
    judged fleet("[[alarm]]\nwhen = \"offset\"\nabove = 1000\nclear_below = 500\nfor = 5\nclear_for = 3\n");
    fleet.say_offset("a", -1200);
    EXPECT_THAT(fleet.active(), ElementsAre());
    fleet.pass(4);
    fleet.say_offset("a", 700);
    EXPECT_THAT(fleet.active(), ElementsAre()) << "it fell below in time";
    fleet.say_offset("a", 1300);
    fleet.active();
    fleet.pass(5);
    EXPECT_THAT(fleet.active(), ElementsAre("offset a"));
    EXPECT_EQ(fleet.book.active()[0].since_ns, fleet.now - 5 * second);
    fleet.say_offset("a", 700);
    fleet.pass(30);
    fleet.say_offset("a", 700);
    EXPECT_THAT(fleet.active(), ElementsAre("offset a")) << "between the limits";
    fleet.say_offset("a", 10);
    fleet.active();
    fleet.pass(3);
    EXPECT_THAT(fleet.active(), ElementsAre());
    ASSERT_EQ(fleet.book.past(9).size(), 1u);
}

TEST(Alarms, OfASilentClockStayAndSilenceIsOne) {
    judged fleet("[[alarm]]\nwhen = \"holdover\"\n[[alarm]]\nwhen = \"silent\"\nclear_for = 0\n");
    fleet.say_state("a", "VELA_PTP_CLOCK_STATE_HOLDOVER");
    fleet.say_state("b", "VELA_PTP_CLOCK_STATE_PHASE_ALIGNED");
    EXPECT_THAT(fleet.active(), ElementsAre("holdover a"));
    const std::uint64_t last = fleet.now;
    fleet.pass(61);
    fleet.say_state("b", "VELA_PTP_CLOCK_STATE_PHASE_ALIGNED");
    EXPECT_THAT(fleet.active(), testing::UnorderedElementsAre("holdover a", "silent a"));
    for (const alarm &each : fleet.book.active()) {
        EXPECT_EQ(each.since_ns, last);
    }
    fleet.say_state("a", "VELA_PTP_CLOCK_STATE_PHASE_ALIGNED");
    EXPECT_THAT(fleet.active(), ElementsAre());
}

TEST(Alarms, OfFlappingTellWhatChangedThereAndAbove) {
    judged fleet("[[alarm]]\nwhen = \"flapping\"\ncount = 3\nwithin = 60\nelements = \"a*\"\n");
    const auto name = [&](const std::string &element, std::uint8_t own, std::uint8_t parent) {
        fleet.say_default(element, {{"clk_id", "02-00-00-FF-FE-00-00-0" + std::to_string(own)}});
        fleet.say(
            element, "ptp_clk_parent_ds_msg",
            message_of(
                "ptp_clk_parent_ds_msg",
                {{"ptp_clock_parent_data_set",
                  {{"parent_port_identity", {{"clock_identity", "02-00-00-FF-FE-00-00-0" + std::to_string(parent)}}},
                   {"grandmaster_identity", "02-00-00-FF-FE-00-00-02"}}}}));
    };
    name("a", 1, 2);
    name("top", 2, 2);
    fleet.say_state("top", "VELA_PTP_CLOCK_STATE_PHASE_ALIGNED");
    fleet.judging.note(fleet.say_state("top", "VELA_PTP_CLOCK_STATE_HOLDOVER").changes, fleet.now);
    for (const char *state : {"ACQUIRING", "HOLDOVER", "ACQUIRING", "HOLDOVER"}) {
        fleet.pass(1);
        fleet.judging.note(fleet.say_state("a", (std::string("VELA_PTP_CLOCK_STATE_") + state).c_str()).changes,
                           fleet.now);
    }
    EXPECT_THAT(fleet.active(), ElementsAre("flapping a"));
    const alarm made = fleet.book.active()[0];
    ASSERT_EQ(made.before.size(), 4u);
    EXPECT_EQ(made.before[0].name.element, "a");
    EXPECT_EQ(made.before[3].name.element, "top");
    EXPECT_EQ(made.before[3].after, "holdover");
}

TEST(Alarms, KeepWhatPeopleSaidOverARestart) {
    judged fleet("[[alarm]]\nwhen = \"holdover\"\n");
    std::vector<alarm> told;
    fleet.book.set_listener([&](const alarm &of) { told.push_back(read_alarm(to_json(of))); });
    fleet.say_state("a", "VELA_PTP_CLOCK_STATE_HOLDOVER");
    fleet.active();
    EXPECT_TRUE(fleet.book.acknowledge(1, "eve", "on my way", fleet.now));
    EXPECT_FALSE(fleet.book.acknowledge(2, "eve", "", fleet.now)) << "there is none";
    ASSERT_EQ(told.size(), 2u);
    alarm_book after;
    after.load({told.back()});
    judge again(read_rules("[[alarm]]\nwhen = \"holdover\"\n", "rules"), fleet.state, after);
    again.run(fleet.now);
    ASSERT_EQ(after.active().size(), 1u) << "it is the same alarm";
    EXPECT_EQ(after.active()[0].acknowledged_by, "eve");
    const auto event = nlohmann::json::parse(cloud_event(told.back(), "main", fleet.now));
    EXPECT_EQ(event["specversion"], "1.0");
    EXPECT_EQ(event["type"], "ptp_fleet.alarm.acknowledged");
    EXPECT_EQ(event["subject"], "a/0");
    fleet.say_state("a", "VELA_PTP_CLOCK_STATE_PHASE_ALIGNED");
    again.run(fleet.now);
    EXPECT_EQ(after.past(5).size(), 1u);
}

TEST(Alarms, OfWhichARuleIsWrongAreRefusedWithTheLine) {
    const auto reason = [](const std::string &rules) {
        try {
            read_rules(rules, "f.toml");
            return std::string();
        } catch (const std::runtime_error &error) {
            return std::string(error.what());
        }
    };
    EXPECT_THAT(reason("\n[[alarm]]\nwhen = \"sometimes\"\n"), testing::StartsWith("f.toml:2: "));
    EXPECT_THAT(reason("[[alarm]]\nwhen = \"offset\"\n"), testing::HasSubstr("above is to be a number"));
    EXPECT_THAT(reason("[[alarm]]\nwhen = \"offset\"\nabove = 5\nclear_below = 9\n"),
                testing::HasSubstr("clear_below"));
    EXPECT_THAT(reason("[[alarm]]\nwhen = \"silent\"\nabov = 5\n"), testing::HasSubstr("no key abov"));
    EXPECT_THAT(reason("[[alarm]]\nwhen = \"silent\"\n[[alarm]]\nwhen = \"silent\"\n"),
                testing::HasSubstr("two alarms"));
    EXPECT_FALSE(usual_rules().empty());
}

TEST(Commands, SayOnlyWhatTheirJsonHas) {
    std::string name;
    const decoded_message sent(encode_command(R"({"ptp_clock_cfg": {"ptp_clock": {"modify": true}}})", name));
    EXPECT_EQ(name, "ptp_clock_cfg");
    EXPECT_TRUE(sent.is_tracked());
    EXPECT_EQ(sent.number("modify"), 1);
    EXPECT_EQ(sent.number("clk_mode"), std::nullopt) << "an element would take 0 for a wish";
    EXPECT_THROW(encode_command(R"({"ptp_clk_current_ds_msg": {}})", name), std::runtime_error) << "a report";
    EXPECT_THROW(encode_command(R"({"nothing": {}})", name), std::runtime_error);
    EXPECT_FALSE(is_subject_name("a.b") || is_subject_name("*") || is_subject_name(""));
}

}  // namespace
}  // namespace ptp_fleet
