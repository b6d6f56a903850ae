// Time series of what a daemon and its time sources say, and the states and classes that follow from them.
#include "agent/holdover/holdover.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "agent/holdover/announce.h"
#include "support/messages.h"

namespace ptp_agent::test {
namespace {

using enum LockState;

constexpr std::uint64_t second = 1'000'000'000;
constexpr std::uint64_t start = 1000 * second;          // monotonic
constexpr std::uint64_t noon = 1'767'182'400 * second;  // 31 December 2025, 12:00 UTC

/** What one poll sees. */
struct Seen {
    PortState port = PortState::Slave;
    std::int64_t offset = 0;
    std::uint8_t grandmaster_class = 6;
    bool has_sync = true;  // one came since the last poll
};

class HoldoverStates : public testing::Test, protected Wishes {
  protected:
    HoldoverStates() {
        model.lock_time_ns = 2 * second;
        model.specification_ns = 1500;
        model.initial_error_ns = 100;
        model.drift_ppb = 100;  // 14 seconds in specification
        model.aging_ppb_per_hour = 0;
        model.out_of_specification_ns = 60 * second;
        restart();
    }

    void restart() { clock_ = std::make_unique<Holdover>(model); }
    void ask_for(const std::string &file) {
        Record wanted = example(handle, file);
        wanted.set("clock_handle", 1);
        ask(wanted);
    }
    void ask_for_source(Values more = {}) {
        Record wanted = message(handle, "ptp_virtual_port_cfg",
                                {{"clk_handle", 1},
                                 {"v_port_index", 3},
                                 {"local_priority", 128},
                                 {"port_type", 1},
                                 {"status", 1},
                                 {"prtc_connected", 1},
                                 {"time_set_flag", 1}});
        for (const auto &[path, value] : more) {
            EXPECT_TRUE(wanted.set(path, value));
        }
        ask(wanted);
    }

    /** The state once `seconds` have passed since the last call, with a poll that sees something, or no answer. */
    LockState after(double seconds, const std::optional<Seen> &seen) {
        now_ += static_cast<std::uint64_t>(seconds * 1e9);
        Observation observation;
        if (seen) {
            ingress_ += seen->has_sync ? 1000 : 0;
            PortObservation port;
            port.number = 1;
            port.data_set = PortDataSet{};
            port.data_set->state = seen->port;
            observation.ports = {port};
            observation.time_status = TimeStatus{seen->offset, ingress_, true, {}};
            observation.parent_ds = ParentDataSet{};
            observation.parent_ds->grandmaster_quality.clock_class = seen->grandmaster_class;
            observation.time_properties = TimeProperties{};
            observation.time_properties->current_utc_offset = 38;
        }
        last = clock_->update(clock(), seen ? &observation : nullptr, start + now_, noon + now_ + step_);
        return last.state;
    }
    /** Polls once a second. */
    LockState during(int seconds, const std::optional<Seen> &seen) {
        for (int count = 0; count < seconds; ++count) {
            after(1, seen);
        }
        return last.state;
    }
    std::uint8_t announced() const { return last.announce ? last.announce->quality.clock_class : 0; }

    HoldoverModel model;
    HoldoverReport last;
    std::uint64_t now_ = 0;
    std::uint64_t step_ = 0;  // by which the wall clock was set
    std::int64_t ingress_ = 0;
    std::unique_ptr<Holdover> clock_;
};

const Seen slave;
const Seen alone{PortState::Master, 0, 248, false};

// ---- a clock that follows a master -----------------------------------------------------------------------------------

TEST_F(HoldoverStates, IsNotLockedWhileAnotherMasterIsCalibrated) {
    ask_for("g8275_1_boundary_clock.xml");
    after(1, slave);
    ASSERT_EQ(after(2, slave), Locked);
    EXPECT_EQ(after(0.1, Seen{PortState::Uncalibrated}), HoldoverInSpec);
    EXPECT_EQ(after(0.1, slave), HoldoverInSpec);
    EXPECT_EQ(after(2, slave), Locked);
}

TEST_F(HoldoverStates, IsLockedOnlyAfterTheDeclaredTimeInsideTheBound) {
    ask_for("g8275_1_boundary_clock.xml");
    EXPECT_EQ(after(1, std::nullopt), FreeRun);
    EXPECT_EQ(after(1, alone), FreeRun);
    EXPECT_EQ(after(1, Seen{PortState::Uncalibrated}), Acquiring);
    EXPECT_EQ(after(1, Seen{PortState::Slave, 5000}), Acquiring);
    EXPECT_EQ(after(1, Seen{PortState::Slave, -900}), Acquiring);
    EXPECT_EQ(after(1, slave), Acquiring) << "one second inside";
    EXPECT_EQ(after(0.9, Seen{PortState::Slave, 1100}), Acquiring) << "and out again: it begins anew";
    EXPECT_EQ(after(0.1, slave), Acquiring);
    EXPECT_EQ(after(1.9, slave), Acquiring);
    EXPECT_EQ(after(0.1, slave), Locked);
    EXPECT_TRUE(last.has_changed);
    EXPECT_EQ(last.clock_class, 6);
    EXPECT_EQ(announced(), 248) << "were it grandmaster now, it would be nobody's choice";
    EXPECT_EQ(after(1, slave), Locked);
    EXPECT_FALSE(last.has_changed);
}

TEST_F(HoldoverStates, IsNotLockedByTimeAlone) {
    ask_for("g8275_1_boundary_clock.xml");
    after(1, slave);
    EXPECT_EQ(after(2.5, std::nullopt), Acquiring) << "no second measurement";
    EXPECT_EQ(after(2.5, std::nullopt), FreeRun);
}

TEST_F(HoldoverStates, GoesThroughHoldoverToFreeRun) {
    ask_for("g8275_1_boundary_clock.xml");
    EXPECT_EQ(during(4, slave), Locked);
    EXPECT_EQ(after(1, alone), HoldoverInSpec);
    EXPECT_EQ(announced(), 135);
    EXPECT_EQ(last.announce->quality.clock_accuracy, 0xFE);
    EXPECT_TRUE(last.announce->properties.time_traceable);
    EXPECT_EQ(last.announce->properties.current_utc_offset, 38) << "as its master had it";
    EXPECT_EQ(last.estimated_error_ns, 100);
    ASSERT_TRUE(last.next_ns);
    const double until = static_cast<double>(*last.next_ns - start - now_) / 1e9;
    EXPECT_NEAR(until, 14, 0.01);
    EXPECT_EQ(during(13, alone), HoldoverInSpec);
    EXPECT_EQ(during(2, alone), HoldoverOutOfSpec);
    EXPECT_EQ(announced(), 165);
    EXPECT_FALSE(last.announce->properties.time_traceable);
    EXPECT_EQ(during(50, alone), FreeRun);
    EXPECT_EQ(announced(), 248);
    EXPECT_EQ(last.estimated_error_ns, std::nullopt);
    EXPECT_EQ(during(4, slave), Locked);
}

TEST_F(HoldoverStates, KeepsItsHoldoverThroughAFlappingLink) {
    ask_for("g8275_1_boundary_clock.xml");
    during(4, slave);
    for (int flap = 0; flap < 6; ++flap) {
        EXPECT_EQ(after(1, alone), HoldoverInSpec);
        EXPECT_EQ(after(1, slave), HoldoverInSpec) << "back, but not yet stable";
        EXPECT_EQ(announced(), 135);
    }
    EXPECT_EQ(during(4, alone), HoldoverOutOfSpec) << "the time without a lock counts from the first loss";
    EXPECT_EQ(during(2, slave), Acquiring);
    EXPECT_EQ(announced(), 165) << "until it is locked again";
    EXPECT_EQ(during(2, slave), Locked);
}

TEST_F(HoldoverStates, BelievesNoOffsetThatNoSyncRenews) {
    ask_for("g8275_1_boundary_clock.xml");
    during(4, slave);
    const Seen silent{PortState::Slave, 0, 6, false};
    EXPECT_EQ(during(4, silent), Locked) << "four intervals at one Sync a second";
    EXPECT_EQ(during(1, silent), HoldoverInSpec);
    EXPECT_EQ(last.reason, "no Sync comes from the master");
}

TEST_F(HoldoverStates, TakesADaemonsEndForTheLossOfItsMaster) {
    ask_for("g8275_1_boundary_clock.xml");
    during(4, slave);
    EXPECT_EQ(during(3, std::nullopt), Locked) << "a poll or two may fail";
    ASSERT_TRUE(last.next_ns);
    EXPECT_LE(*last.next_ns, start + now_ + 1) << "and it asks to be called when the patience ends";
    EXPECT_EQ(after(0.001, std::nullopt), HoldoverInSpec);
    EXPECT_EQ(last.reason, "the daemon does not answer");
    EXPECT_EQ(during(3, Seen{PortState::Uncalibrated}), HoldoverInSpec) << "it was started again";
    EXPECT_EQ(during(3, slave), Locked);
}

TEST_F(HoldoverStates, GivesUpATimeThatIsKnownToBeWrong) {
    ask_for("g8275_1_boundary_clock.xml");
    during(4, slave);
    EXPECT_EQ(after(1, Seen{PortState::Slave, 1200}), Locked) << "an outlier";
    EXPECT_EQ(after(1, slave), Locked);
    EXPECT_EQ(during(2, Seen{PortState::Slave, 1200}), HoldoverInSpec) << "it stays outside";
    EXPECT_EQ(during(3, slave), Locked);
    EXPECT_EQ(after(1, Seen{PortState::Slave, 37'000'000'000}), Acquiring) << "stepped: no holdover";
    EXPECT_EQ(announced(), 248);

    EXPECT_EQ(during(4, slave), Locked);
    after(1, alone);
    EXPECT_EQ(after(1, Seen{PortState::Slave, 2000}), Acquiring) << "a master shows that holdover drifted too far";
}

TEST_F(HoldoverStates, NoticesAStepOfTheSystemsClockInHoldover) {
    ask_for("g8275_1_boundary_clock.xml");
    model.is_system_clock = true;
    restart();
    during(4, slave);
    EXPECT_EQ(after(1, alone), HoldoverInSpec);
    step_ = 500'000'000;
    EXPECT_EQ(after(1, alone), FreeRun);
    EXPECT_EQ(announced(), 248);
}

TEST_F(HoldoverStates, FollowsOnlyAcceptableMasters) {
    ask_for("g8275_1_boundary_clock.xml");
    ask(message(handle, "ptp_acceptable_cc_threshold_cmd", {{"acceptable_cc_threshold", 7}}));
    EXPECT_EQ(during(4, Seen{PortState::Slave, 0, 140}), FreeRun);
    EXPECT_EQ(during(4, Seen{PortState::Slave, 0, 7}), Locked);
    EXPECT_EQ(last.clock_class, 7);
    ask(message(handle, "ptp_master_prtc_only_cmd", {{"master_prtc_only_en", 1}}));
    EXPECT_EQ(during(1, Seen{PortState::Slave, 0, 7}), HoldoverInSpec);
    EXPECT_EQ(during(3, slave), Locked);
    ask(message(handle, "ptp_acceptable_cc_threshold_cmd", {{"acceptable_cc_threshold", 0}}));
    ask(message(handle, "ptp_master_prtc_only_cmd", {{"master_prtc_only_en", 0}}));
    EXPECT_EQ(during(4, Seen{PortState::Slave, 0, 248}), Locked);
}

TEST_F(HoldoverStates, EndsByTimersAndSettings) {
    ask_for("g8275_1_boundary_clock.xml");
    ask(message(handle, "ptp_hbc_holdover_timer_cmd", {{"holdover_timer", 5}}));
    during(4, slave);
    EXPECT_EQ(during(5, alone), HoldoverInSpec);
    EXPECT_EQ(during(1, alone), HoldoverOutOfSpec) << "before the model says so";
    ask(message(handle, "ptp_hbc_master_always_on_cmd", {{"master_always_on", 1}}));
    EXPECT_EQ(during(100, alone), HoldoverOutOfSpec);
    EXPECT_EQ(announced(), 165);
    ask(message(handle, "ptp_hbc_master_always_on_cmd", {{"master_always_on", 0}}));
    EXPECT_EQ(during(1, alone), FreeRun);

    during(4, slave);
    ask(message(handle, "ptp_is_freq_src_ok_cmd", {{"is_freq_src_ok", 0}}));
    EXPECT_EQ(during(1, slave), Locked);
    EXPECT_EQ(during(2, alone), HoldoverOutOfSpec) << "holdover has no frequency to rest on";
    EXPECT_FALSE(last.announce->properties.frequency_traceable);
}

TEST_F(HoldoverStates, AnnouncesNothingAsSlaveOnly) {
    Record wanted = example(handle, "default_profile_ordinary_clock.xml");
    wanted.set("clock_handle", 1);
    wanted.set("default_data_set.slv_only", 1);
    wanted.set("default_data_set.clock_quality.clock_class", 255);
    ask(wanted);
    EXPECT_EQ(during(4, slave), Locked);
    EXPECT_EQ(after(1, alone), HoldoverInSpec);
    EXPECT_EQ(last.announce, std::nullopt);
    EXPECT_EQ(last.clock_class, 255);
}

// ---- a clock with a time source of its own ---------------------------------------------------------------------------

TEST_F(HoldoverStates, FollowsItsVirtualPort) {
    ask_for("g8275_1_boundary_clock.xml");
    ask_for_source();
    EXPECT_EQ(after(1, alone), Acquiring);
    EXPECT_EQ(announced(), 248);
    EXPECT_EQ(last.next_ns, start + now_ + 2 * second);
    EXPECT_EQ(after(2, std::nullopt), Locked) << "no daemon is needed for it";
    EXPECT_EQ(announced(), 6);
    EXPECT_EQ(last.announce->quality.clock_accuracy, 0x21);
    EXPECT_EQ(last.announce->properties.time_source, 0x20);
    EXPECT_EQ(last.virtual_port, 3);
    ask(message(handle, "ptp_g8275_1_ql_update",
                {{"clk_handle", 1}, {"v_port_index", 3}, {"g8275_1_freq_cat", 2}, {"tod_state", 1}, {"pps_state", 1}}));
    EXPECT_EQ(after(1, alone), Locked);
    ask(message(handle, "ptp_g8275_1_ql_update",
                {{"clk_handle", 1}, {"v_port_index", 3}, {"g8275_1_freq_cat", 2}, {"tod_state", 1}, {"pps_state", 0}}));
    EXPECT_EQ(after(1, alone), HoldoverInSpec);
    EXPECT_EQ(announced(), 7);
    EXPECT_EQ(last.announce->properties.time_source, 0xA0);
    EXPECT_EQ(during(15, alone), HoldoverOutOfSpec);
    EXPECT_EQ(announced(), 160) << "category 3";
}

TEST_F(HoldoverStates, StopsToBelieveASourceByEachOfItsStates) {
    ask_for("default_profile_ordinary_clock.xml");
    for (const char *field : {"status", "prtc_connected", "time_set_flag"}) {
        restart();
        ask_for_source();
        EXPECT_EQ(during(3, alone), Locked);
        ask_for_source({{field, 0}});
        EXPECT_EQ(during(1, alone), HoldoverInSpec) << field;
        EXPECT_EQ(announced(), 7);
        EXPECT_EQ(last.announce->quality.clock_accuracy, 0x21) << "100 ns at the start";
    }
    for (const char *name : {"ptp_1pps_input_state", "ptp_tod_input_state"}) {
        ask_for_source();
        EXPECT_EQ(during(3, alone), Locked);
        ask(message(handle, name, {{"", 0}}));
        EXPECT_EQ(during(1, alone), HoldoverInSpec) << name;
        ask(message(handle, name, {{"", 1}}));
    }
    ask(message(handle, "ptp_virtual_port_delete_cmd", {{"clk_handle", 1}, {"v_port_index", 3}}));
    EXPECT_EQ(during(15, alone), HoldoverOutOfSpec);
    EXPECT_EQ(announced(), 187);
    EXPECT_EQ(last.announce->quality.clock_accuracy, 0x24) << "within 2.5 us: the error grew to 1.6";
}

TEST_F(HoldoverStates, PassesFromItsSourceToAMasterByWayOfHoldover) {
    ask_for("g8275_1_boundary_clock.xml");
    ask_for_source();
    during(3, alone);
    ask_for_source({{"status", 0}});
    EXPECT_EQ(after(1, alone), HoldoverInSpec);
    EXPECT_EQ(announced(), 7);
    EXPECT_EQ(during(2, slave), HoldoverInSpec);
    EXPECT_EQ(during(1, slave), Locked);
    EXPECT_EQ(after(1, alone), HoldoverInSpec);
    EXPECT_EQ(announced(), 135) << "what it followed last was a master";
}

TEST_F(HoldoverStates, AnnouncesWhatItWasGivenWithoutAnySource) {
    Record wanted = example(handle, "default_profile_ordinary_clock.xml");
    wanted.set("clock_handle", 1);
    wanted.set("default_data_set.clock_quality.clock_class", 6);
    wanted.set("time_properties.timeTraceable", 1);
    ask(wanted);
    EXPECT_EQ(during(3, alone), FreeRun);
    EXPECT_EQ(announced(), 6);
    EXPECT_TRUE(last.announce->properties.time_traceable);
    EXPECT_EQ(last.announce->properties.current_utc_offset, 37);
}

// ---- UTC -------------------------------------------------------------------------------------------------------------

TEST_F(HoldoverStates, AnnouncesALeapSecondOnItsDay) {
    ask_for("default_profile_ordinary_clock.xml");
    ask(message(handle, "ptp_utc_offset_cmd",
                {{"utc_offset", 37},
                 {"leap_second_offset", 1},
                 {"leap_second_day", 31},
                 {"leap_second_month", 12},
                 {"leap_second_year", 2025},
                 {"utc_offset_valid", 1}}));
    after(1, alone);
    EXPECT_TRUE(last.announce->properties.leap61);
    EXPECT_EQ(last.announce->properties.current_utc_offset, 37);
    EXPECT_TRUE(last.announce->properties.current_utc_offset_valid);
    EXPECT_EQ(last.next_ns, start + 12 * 3600 * second) << "midnight";
    after(12 * 3600, alone);
    EXPECT_FALSE(last.announce->properties.leap61);
    EXPECT_EQ(last.announce->properties.current_utc_offset, 38);
}

TEST_F(HoldoverStates, DoubtsTheUtcOffsetAfterItsTimeOut) {
    ask_for("g8275_1_boundary_clock.xml");
    ask(message(handle, "ptp_utc_offset_cmd", {{"utc_offset", 37}, {"utc_offset_valid", 1}}));
    ask(message(handle, "ptp_utc_holdover_timeout_cmd", {{"utc_holdover_timeout", 3}}));
    during(4, slave);
    during(3, alone);
    EXPECT_TRUE(last.announce->properties.current_utc_offset_valid);
    during(1, alone);
    EXPECT_FALSE(last.announce->properties.current_utc_offset_valid);
}

}  // namespace
}  // namespace ptp_agent::test
