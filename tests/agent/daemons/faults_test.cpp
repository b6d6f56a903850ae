// What goes wrong around a running clock: the agent says so, announces nothing that is not true, and goes on after it.
#include <fstream>

#include "elements.h"

namespace ptp_agent::test {
namespace {

class Faults : public RealElements {
  protected:
    void bring_up(const ElementOptions &options = {}) {
        master_ = &add_grandmaster("gm");
        element_ = &add_boundary("bc", options);
        elements_.connect(*master_, "ptp0", *element_, "ptp0");
        ASSERT_TRUE(wait_locked(*element_, 10000)) << element_->log();
    }
    bool wait_unlocked(std::uint64_t timeout_ms = 8000) {
        return wait_until([this] { return element_->lock_state() != "locked"; }, timeout_ms);
    }
    nlohmann::json process() { return element_->ask()["clocks"][0]["process"]; }

    Element *master_ = nullptr, *element_ = nullptr;
};

TEST_F(Faults, RefusedConfigurationsChangeNothingAndSayWhy) {
    bring_up();
    const nlohmann::json before = element_->ask("config")["messages"];
    const nlohmann::json daemon = process();
    Record wrong = example(handle_, "g8275_1_boundary_clock.xml");
    wrong.set("default_data_set.clk_domain", 3);
    std::vector<Record> messages;
    messages.push_back(std::move(wrong));
    element_->send(messages);
    EXPECT_TRUE(wait_until([this] { return element_->has_event("24 to 43"); })) << element_->log();
    // Nothing of the profile forbids this one: the daemon finds that such an interface gives no timestamps.
    element_->network().run({"ip", "link", "add", "odd", "type", "bridge"});
    element_->network().run({"ip", "link", "set", "odd", "up"});
    messages.clear();
    messages.push_back(port(handle_, 2, "odd", {{"delay_mechanism", VELA_PTP_DELAY_MECHANISM_E2E}}));
    element_->send(messages);
    EXPECT_TRUE(wait_until([this] { return element_->has_event("the former configuration is back"); }, 15000))
        << element_->log();
    EXPECT_EQ(element_->ask("config")["messages"], before);
    EXPECT_THAT(element_->ask()["last_refusal"].get<std::string>(),
                testing::AllOf(testing::HasSubstr("does not run"),
                               testing::HasSubstr("does not support requested timestamping mode")));
    EXPECT_GT(process()["starts"], daemon["starts"]);
    element_->forget_reports();
    EXPECT_TRUE(wait_until([this] { return element_->lock_state() == "locked"; }, 10000)) << element_->log();
}

TEST_F(Faults, FileThatTheDaemonDoesNotTakeIsRefusedInItsWordsWhileItRunsOn) {
    bring_up({.tables = "[daemon.interfaces.odd]\negressLatency = \"much\"\n"});
    element_->network().run({"ip", "link", "add", "odd", "type", "bridge"});
    const pid_t daemon = element_->daemon_process();
    element_->forget_reports();
    std::vector<Record> messages;
    messages.push_back(port(handle_, 2, "odd", {{"delay_mechanism", VELA_PTP_DELAY_MECHANISM_E2E}}));
    element_->send(messages);
    EXPECT_TRUE(wait_until([this] {
        return element_->has_event("much is a malformed value for option egressLatency");
    })) << element_->log();
    EXPECT_THAT(element_->ask()["last_refusal"].get<std::string>(), testing::HasSubstr("does not take"));
    elements_.wait_ms(500);
    EXPECT_EQ(element_->daemon_process(), daemon);
    EXPECT_EQ(element_->lock_state(), "locked");
    for (const Report &report : element_->reports()) {
        EXPECT_FALSE(report.told("clock_state").value_or(locked) != locked) << "no report of an outage";
    }
}

TEST_F(Faults, DaemonThatCrashesAllTheTimeIsOneClearStateAndNoFlapping) {
    const std::string broken = elements_.folder() + "/broken", script = elements_.folder() + "/daemon";
    std::ofstream(script) << "#!/bin/sh\ntest -e " << broken << " && exit 3\nexec ptp4l \"$@\"\n";
    ASSERT_EQ(run({"chmod", "+x", script}), 0);
    bring_up({.daemon = "executable = \"" + script + "\"\n"});
    std::ofstream{broken};
    kill(element_->daemon_process(), SIGKILL);
    element_->forget_reports();
    EXPECT_TRUE(wait_until([this] { return process()["state"] == "failing"; }, 15000)) << element_->log();
    EXPECT_TRUE(wait_unlocked());
    const nlohmann::json starts = process()["starts"];
    elements_.wait_ms(1500);
    EXPECT_EQ(process()["starts"], starts) << "tried seldom from now on";
    unsigned changes = 0;
    for (const Report &report : element_->reports()) {
        changes += report.name() == clock_report && report.told("clock_state") ? 1 : 0;
        EXPECT_FALSE(report.name() == clock_report && report.told("clock_state") == locked);
    }
    EXPECT_LE(changes, 3u) << "holdover, and perhaps free run";
    EXPECT_THAT(element_->ask_text("metrics"), testing::HasSubstr("ptp_agent_daemon_answers{clock=\"1\"} 0"));
}

TEST_F(Faults, DaemonThatCannotBeReachedIsNotCalledLockedAndIsReachedAgain) {
    bring_up();
    const pid_t daemon = element_->daemon_process();
    kill(daemon, SIGSTOP);
    EXPECT_TRUE(wait_unlocked()) << element_->log();
    EXPECT_TRUE(element_->has_event("does not answer")) << element_->log();
    kill(daemon, SIGCONT);
    EXPECT_TRUE(wait_until([this] { return element_->lock_state() == "locked"; }, 15000)) << element_->log();
    // Without its file the socket still serves who is connected, and so does that of a daemon that is started anew.
    ASSERT_EQ(unlink((element_->folder() + "/ptp4l.1.sock").c_str()), 0);
    elements_.wait_ms(500);
    EXPECT_EQ(element_->ask()["clocks"][0]["answers"], true);
    kill(element_->daemon_process(), SIGSTOP);
    EXPECT_TRUE(wait_until([&] { return element_->daemon_process() != daemon; }, 20000))
        << "one that hangs for good is started again\n"
        << element_->log();
    element_->forget_reports();
    EXPECT_TRUE(wait_locked(*element_, 15000)) << element_->log();
    EXPECT_NE(kill(daemon, 0), 0);
}

TEST_F(Faults, InterfaceThatIsRenamedOrTakenAwayMeansHoldoverUntilItIsBack) {
    bring_up();
    const SecondNamespace &network = element_->network();
    network.run({"ip", "link", "set", "ptp0", "down"});
    network.run({"ip", "link", "set", "ptp0", "name", "other"});
    network.run({"ip", "link", "set", "other", "up"});
    EXPECT_TRUE(wait_for(*element_, clock_report, "clock_state", "HOLDOVER", 8000)) << element_->log();
    network.run({"ip", "link", "set", "other", "down"});
    network.run({"ip", "link", "set", "other", "name", "ptp0"});
    network.run({"ip", "link", "set", "ptp0", "up"});
    EXPECT_TRUE(wait_locked(*element_, 15000)) << element_->log();
    // The whole other end goes, and with it both ends of the link.
    network.run({"ip", "link", "del", "ptp0"});
    EXPECT_TRUE(wait_for(*element_, clock_report, "clock_state", "HOLDOVER", 8000)) << element_->log();
    EXPECT_TRUE(element_->is_running());
    EXPECT_EQ(false_locks(*element_), 0u);
    elements_.connect(*master_, "ptp0", *element_, "ptp0");
    EXPECT_TRUE(wait_locked(*element_, 15000)) << element_->log() << master_->log();
}

}  // namespace
}  // namespace ptp_agent::test
