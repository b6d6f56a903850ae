// The management client with real daemons: what they answer, push and let be set.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "agent/management/ptp4l.h"
#include "support/network.h"
#include "support/ptp4l_process.h"
#include "support/surroundings.h"

namespace ptp_agent {
namespace {

using test::Link;
using test::Ptp4lProcess;
using test::run_until;

class RealPtp4l : public testing::Test {
  protected:
    void SetUp() override {
        const std::string why_not = test::why_no_daemons();
        if (!why_not.empty()) {
            GTEST_SKIP() << why_not;
        }
    }

    Ptp4lOptions options(const Ptp4lProcess &process) const {
        Ptp4lOptions result;
        result.management.daemon_path = process.socket_path();
        result.management.own_directory = directory_.path();
        return result;
    }

    Observation observe(Ptp4l &daemon) {
        std::optional<Observation> result;
        daemon.observe([&](const Observation &found) { result = found; });
        EXPECT_TRUE(run_until(loop_, [&] { return result.has_value(); }));
        return result.value_or(Observation());
    }

    /** Observes until the condition holds. */
    template <typename Condition>
    bool observe_until(Ptp4l &daemon, Condition holds, std::uint64_t timeout_ms = 6000) {
        // Shared: the last answer may come when this call is over.
        const auto last = std::make_shared<Observation>();
        const auto busy = std::make_shared<bool>(false);
        return run_until(
            loop_,
            [&] {
                if (!*busy) {
                    *busy = true;
                    daemon.observe([last, busy](const Observation &found) {
                        *last = found;
                        *busy = false;
                    });
                }
                return holds(*last);
            },
            timeout_ms);
    }

    static bool is_slave(const Observation &found) {
        return !found.ports.empty() && found.ports[0].data_set && found.ports[0].data_set->state == PortState::Slave;
    }

    test::TemporaryDirectory directory_;
    EventLoop loop_;
};

TEST_F(RealPtp4l, IsObservedFromStartToSlave) {
    const Link link("gm0", "sl0");
    Ptp4lProcess master(directory_.path(), "master", {"gm0"}, {{"priority1", "10"}, {"domainNumber", "24"}});
    Ptp4lProcess slave(directory_.path(), "slave", {"sl0"}, {{"slaveOnly", "1"}, {"domainNumber", "24"}});
    Ptp4l master_daemon(loop_, options(master)), daemon(loop_, options(slave));
    master_daemon.running_in_domain(24);
    daemon.running_in_domain(24);
    std::vector<PortState> pushed;
    daemon.subscribe([&](const DaemonEvent &event) { pushed.push_back(event.port.data_set->state); });
    ASSERT_TRUE(observe_until(daemon, is_slave)) << slave.log();
    const Observation found = observe(daemon), grandmaster = observe(master_daemon);
    ASSERT_TRUE(found.default_ds && found.current_ds && found.parent_ds && found.time_properties && found.time_status);
    ASSERT_TRUE(grandmaster.default_ds);
    EXPECT_EQ(found.default_ds->domain, 24);
    EXPECT_TRUE(found.default_ds->slave_only);
    EXPECT_EQ(found.parent_ds->grandmaster, grandmaster.default_ds->identity);
    EXPECT_EQ(found.parent_ds->grandmaster_priority1, 10);
    EXPECT_EQ(found.current_ds->steps_removed, 1);
    EXPECT_TRUE(found.time_status->grandmaster_present);
    EXPECT_EQ(found.time_status->grandmaster, grandmaster.default_ds->identity);
    ASSERT_EQ(found.ports.size(), 1u);
    EXPECT_EQ(found.ports[0].interface, "sl0");
    EXPECT_EQ(found.ports[0].timestamping, 0);
    ASSERT_TRUE(found.ports[0].counters);
    EXPECT_GT(found.ports[0].counters->received[0], 0u) << "Sync";
    EXPECT_LT(found.ports[0].counters->received[0], 1000u) << "as it is when read in the wrong order";
    EXPECT_THAT(pushed, testing::Contains(PortState::Slave));
}

TEST_F(RealPtp4l, IsSetWhileItRunsAndItsSlaveHearsOfIt) {
    const Link link("gm0", "sl0");
    Ptp4lProcess master(directory_.path(), "master", {"gm0"}, {{"priority1", "10"}});
    Ptp4lProcess slave(directory_.path(), "slave", {"sl0"}, {{"slaveOnly", "1"}});
    Ptp4l master_daemon(loop_, options(master)), daemon(loop_, options(slave));
    ASSERT_TRUE(observe_until(daemon, is_slave)) << slave.log();
    Settings settings;
    settings.priority1 = 11;
    settings.priority2 = 12;
    settings.grandmaster = GrandmasterSettings{{6, 0x21, 0x4E5D}, {37, true, false, true, true, true, true, 0x20}};
    std::optional<SettingResult> result;
    master_daemon.set(settings, [&](const SettingResult &each) { result = each; });
    ASSERT_TRUE(run_until(loop_, [&] { return result.has_value(); }));
    EXPECT_EQ(result->outcome, Outcome::Done) << result->reason;
    EXPECT_TRUE(observe_until(daemon, [&](const Observation &found) {
        return found.parent_ds && found.parent_ds->grandmaster_priority1 == 11 &&
               found.parent_ds->grandmaster_priority2 == 12 &&
               found.parent_ds->grandmaster_quality == settings.grandmaster->quality &&
               found.time_properties == settings.grandmaster->properties;
    }));
}

TEST_F(RealPtp4l, IsFoundAgainAfterItWasKilledAndAfterItHung) {
    const Link link("gm0", "sl0");
    Ptp4lProcess process(directory_.path(), "master", {"gm0"});
    Ptp4l daemon(loop_, options(process));
    ASSERT_TRUE(observe_until(daemon, [](const Observation &found) { return found.default_ds.has_value(); }));
    process.signal(SIGSTOP);
    EXPECT_FALSE(observe(daemon).default_ds);
    process.signal(SIGCONT);
    EXPECT_TRUE(observe_until(daemon, [](const Observation &found) { return found.default_ds.has_value(); }));
    process.signal(SIGKILL);
    EXPECT_FALSE(observe(daemon).default_ds);
    process.start();
    EXPECT_TRUE(observe_until(daemon, [](const Observation &found) { return found.default_ds.has_value(); }));
}

TEST_F(RealPtp4l, IsNotHeldUpByASubscriberThatHangs) {
    const Link link("gm0", "sl0");
    Ptp4lProcess process(directory_.path(), "master", {"gm0"});
    Ptp4l hanging(loop_, options(process));
    unsigned events = 0;
    hanging.subscribe([&](const DaemonEvent &) { ++events; });
    ASSERT_TRUE(observe_until(hanging, [](const Observation &found) { return found.default_ds.has_value(); }));
    EventLoop other_loop;
    Ptp4l other(other_loop, options(process));
    for (int i = 0; i < 30; ++i) {
        link.set_up(i % 2 != 0);
        usleep(60'000);
    }
    std::optional<Observation> found;
    other.observe([&](const Observation &each) { found = each; });
    EXPECT_TRUE(run_until(
        other_loop, [&] { return found.has_value(); }, 1000));
    EXPECT_TRUE(found && found->default_ds);
    run_until(
        loop_, [] { return false; }, 300);
    EXPECT_GT(events, 10u) << "more than fit in its socket";
}

}  // namespace
}  // namespace ptp_agent
