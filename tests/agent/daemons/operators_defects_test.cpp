// The defects that operators of PTP daemons know best, one test each.
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "elements.h"

namespace ptp_agent::test {
namespace {

class OperatorsDefects : public RealElements {
  protected:
    void bring_up() {
        master_ = &add_grandmaster("gm");
        element_ = &add_boundary("bc");
        elements_.connect(*master_, "ptp0", *element_, "ptp0");
        ASSERT_TRUE(wait_locked(*element_, 10000)) << element_->log();
    }
    bool has_metric(const std::string &line) {
        return element_->ask_text("metrics").find("ptp_agent_" + line + "\n") != std::string::npos;
    }
    std::string metric_of_state(const std::string &state) {
        return "clock_state{clock=\"1\",state=\"" + state + "\"} ";
    }

    Element *master_ = nullptr, *element_ = nullptr;
};

TEST_F(OperatorsDefects, StateIsStaleAfterARestartOfEitherSide) {
    bring_up();
    // The daemon is started while its master is away: what it said before is not said again.
    master_->signal(SIGKILL);
    kill(element_->daemon_process(), SIGKILL);
    EXPECT_TRUE(wait_for(*element_, clock_report, "clock_state", "HOLDOVER", 8000)) << element_->log();
    EXPECT_TRUE(wait_for(*element_, parent_report, "grandmaster_identity.ptp_clk_id", "aabbccfffe000110"));
    // And the agent: it knows nothing of a former lock, and says nothing of it.
    element_->signal(SIGKILL);
    elements_.wait_ms(0);
    element_->forget_reports();
    element_->start();
    EXPECT_TRUE(wait_for(*element_, port_report, "port_state", "MASTER", 8000)) << element_->log();
    EXPECT_EQ(element_->last(clock_report, "clock_state"), "FREERUN");
    EXPECT_TRUE(wait_for(*element_, own_report, "clock_quality.clock_class", "248"));
    EXPECT_EQ(element_->last("ptp_clk_current_ds_msg", "steps_removed"), "0");
    for (const Report &report : element_->reports()) {
        EXPECT_FALSE(report.name() == clock_report && report.told("clock_state") == locked);
    }
}

TEST_F(OperatorsDefects, HoldoverReadsAsFreeRun) {
    bring_up();
    EXPECT_TRUE(has_metric(metric_of_state("locked") + "1"));
    elements_.set_link(*master_, "ptp0", false);
    EXPECT_TRUE(wait_until([this] { return has_metric(metric_of_state("holdover in specification") + "1"); }));
    EXPECT_TRUE(has_metric(metric_of_state("free run") + "0"));
    EXPECT_TRUE(has_metric(metric_of_state("locked") + "0"));
    EXPECT_TRUE(wait_for(*element_, clock_report, "clock_state", "HOLDOVER"));
}

TEST_F(OperatorsDefects, ClockClassIsWrongAcrossHoldover) {
    bring_up();
    const auto announced = [this] { return element_->last(own_report, "clock_quality.clock_class").value_or("none"); };
    EXPECT_EQ(announced(), "248") << "of its own it has none, while it passes its master's on";
    elements_.set_link(*master_, "ptp0", false);
    EXPECT_TRUE(wait_until([&] { return announced() == "135"; })) << "holdover in specification";
    EXPECT_TRUE(has_metric("clock_class{clock=\"1\"} 135"));
    elements_.set_link(*master_, "ptp0", true);
    EXPECT_TRUE(wait_locked(*element_, 15000)) << element_->log();
    EXPECT_TRUE(has_metric("clock_class{clock=\"1\"} 6")) << "that of its master again";
    EXPECT_EQ(element_->last(parent_report, "grandmaster_clock_quality.clock_class"), "6");
}

TEST_F(OperatorsDefects, LockedIsAnnouncedBeforeItIs) {
    Element &master = add_grandmaster("gm");
    Element &element = add_boundary("bc", {.poll_ms = 50});
    elements_.connect(master, "ptp0", element, "ptp0");
    ASSERT_TRUE(wait_locked(element, 10000)) << element.log();
    std::uint64_t stable_since = 0;
    for (const Report &report : element.reports()) {
        const auto port = report.name() == port_report ? report.told("port_state") : std::nullopt;
        const auto offset = report.told("offset_from_master.scaledNanoseconds");
        const bool is_out_of_bound =
            offset && report.name() == "ptp_clk_current_ds_msg" && std::abs(std::stoll(*offset) >> 16) > 200'000;
        if (port || is_out_of_bound) {
            stable_since = report.at_ms;
        }
        if (report.name() == clock_report && report.told("clock_state") == locked) {
            EXPECT_GE(report.at_ms, stable_since + 900) << "less than the declared second";
        }
    }
    EXPECT_EQ(false_locks(element), 0u);
}

TEST_F(OperatorsDefects, ReadingsNeedRoot) {
    if (getuid() != 0) {
        GTEST_SKIP() << "this user cannot become another";
    }
    Element &element = add_boundary("bc");
    ASSERT_TRUE(wait_until([&] { return element.ask().is_object(); })) << element.log();
    // mkdtemp() gives its folder to its user alone; that of a service, /run/ptp_agent, is open.
    ASSERT_EQ(run({"chmod", "755", elements_.folder()}), 0);
    const pid_t child = fork();
    if (child == 0) {
        const bool is_other = setgid(65534) == 0 && setuid(65534) == 0;
        const bool is_told = element.ask_text("metrics").find("ptp_agent_clock_state") != std::string::npos;
        _exit(!is_other ? 2 : is_told && element.ask().is_object() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 2) {
        GTEST_SKIP() << "there is no other user in this namespace";
    }
    EXPECT_EQ(status, 0);
}

TEST_F(OperatorsDefects, ConfigurationIsFoundWrongWhenTheDaemonRefusesToStart) {
    bring_up();
    const nlohmann::json before = element_->ask()["clocks"][0]["process"];
    std::vector<Record> wrong;
    wrong.push_back(example(handle_, "g8275_1_boundary_clock.xml"));
    wrong.back().set("default_data_set.priority1", 1);
    element_->send(wrong);
    EXPECT_TRUE(wait_until([this] { return element_->has_event("default_data_set.priority1"); })) << element_->log();
    EXPECT_EQ(element_->ask()["clocks"][0]["process"], before) << "it runs on as it was";
    EXPECT_TRUE(wait_until([this] { return element_->lock_state() == "locked"; })) << element_->log();
}

}  // namespace
}  // namespace ptp_agent::test
