#include "agent/management/ptp4l.h"

#include <gtest/gtest.h>

#include "fake_server.h"

namespace ptp_agent {
namespace {

using test::FakeServer;
using test::run_until;

class FakePtp4l : public testing::Test {
  protected:
    FakePtp4l() {
        server_.emplace(loop_, path_);
        DefaultDataSet default_ds;
        default_ds.number_ports = 2;
        default_ds.priority1 = 100;
        server_->values[ManagementId::DefaultDataSet] = encode(default_ds);
        server_->values[ManagementId::CurrentDataSet] = encode(CurrentDataSet{1, -5 * 65536, 0});
        server_->values[ManagementId::ParentDataSet] = encode(ParentDataSet());
        server_->values[ManagementId::TimeProperties] = encode(TimeProperties());
        server_->values[ManagementId::TimeStatus] = encode(TimeStatus{-5, 1, true, {}});
        server_->values[ManagementId::PortDataSet] = encode(PortDataSet());
        std::vector<std::uint8_t> properties = encode(PortProperties());
        properties.insert(properties.end(), {2, 'p', '1'});
        server_->values[ManagementId::PortProperties] = properties;
        server_->values[ManagementId::SubscribeEvents] = encode(EventSubscription());
    }

    Ptp4lOptions options() const {
        Ptp4lOptions result;
        result.management.daemon_path = path_;
        result.management.own_directory = directory_.path();
        result.management.timeout_ms = 40;
        return result;
    }

    Observation observe(Ptp4l &daemon) {
        std::optional<Observation> result;
        daemon.observe([&](const Observation &found) { result = found; });
        EXPECT_TRUE(run_until(loop_, [&] { return result.has_value(); }));
        return result.value_or(Observation());
    }

    SettingResult set(Ptp4l &daemon, const Settings &settings) {
        std::optional<SettingResult> result;
        daemon.set(settings, [&](const SettingResult &each) { result = each; });
        EXPECT_TRUE(run_until(loop_, [&] { return result.has_value(); }));
        return result.value_or(SettingResult());
    }

    std::size_t requests_of(ManagementId id) const {
        return static_cast<std::size_t>(std::count_if(server_->requests.begin(), server_->requests.end(),
                                                      [id](const ManagementMessage &each) { return each.id == id; }));
    }

    test::TemporaryDirectory directory_;
    std::string path_ = directory_.path() + "/daemon";
    EventLoop loop_;
    std::optional<FakeServer> server_;
};

TEST_F(FakePtp4l, IsAskedForEverythingAndWhatItDoesNotKnowIsAbsent) {
    Ptp4l daemon(loop_, options());
    const Observation found = observe(daemon);
    ASSERT_TRUE(found.default_ds);
    EXPECT_EQ(found.default_ds->priority1, 100);
    EXPECT_EQ(found.current_ds->offset_from_master, -5 * 65536);
    EXPECT_TRUE(found.parent_ds && found.time_properties && found.time_status);
    ASSERT_EQ(found.ports.size(), 2u);
    EXPECT_EQ(found.ports[1].number, 2);
    EXPECT_TRUE(found.ports[1].data_set);
    EXPECT_EQ(found.ports[1].interface, "p1");
    EXPECT_FALSE(found.ports[1].counters) << "NO_SUCH_ID is absent, not zero";
    EXPECT_GT(found.monotonic_ns, 0u);
    const std::size_t asked = requests_of(ManagementId::PortStatistics);
    observe(daemon);
    EXPECT_EQ(requests_of(ManagementId::PortStatistics), asked) << "what it does not know is not asked again";
}

TEST_F(FakePtp4l, HasAbsentPartsWhereAnswersAreCutOrMissing) {
    server_->values[ManagementId::ParentDataSet].resize(9);
    server_->behaviour = [](FakeServer &self, const ManagementMessage &request) {
        const bool silent = request.id == ManagementId::TimeProperties ||
                            (request.id == ManagementId::PortDataSet && request.target.port == 1);
        if (!silent) {
            self.answer(request);
        }
    };
    Ptp4l daemon(loop_, options());
    const Observation found = observe(daemon);
    EXPECT_TRUE(found.default_ds && found.current_ds && found.time_status);
    EXPECT_FALSE(found.parent_ds || found.time_properties);
    ASSERT_EQ(found.ports.size(), 2u);
    EXPECT_FALSE(found.ports[0].data_set);
    EXPECT_TRUE(found.ports[1].data_set);
}

TEST_F(FakePtp4l, ThatIsSilentGivesAnEmptyObservationInTime) {
    server_->behaviour = [](FakeServer &, const ManagementMessage &) {};
    Ptp4l daemon(loop_, options());
    const Observation found = observe(daemon);
    EXPECT_FALSE(found.default_ds);
    EXPECT_TRUE(found.ports.empty());
    EXPECT_EQ(server_->requests.size(), 3u) << "nothing else is asked of somebody who is not there";
}

TEST_F(FakePtp4l, ServesObserversOneAfterTheOtherWithAnObservationEach) {
    Ptp4l daemon(loop_, options());
    std::vector<std::uint64_t> times;
    for (int i = 0; i < 3; ++i) {
        daemon.observe([&](const Observation &found) { times.push_back(found.monotonic_ns); });
    }
    EXPECT_TRUE(run_until(loop_, [&] { return times.size() == 3; }));
    EXPECT_LT(times[0], times[1]);
    EXPECT_LT(times[1], times[2]);
}

TEST_F(FakePtp4l, IsSetInOrderAndStopsAtTheFirstRefusal) {
    server_->values[ManagementId::Priority1] = {1, 0};
    server_->values[ManagementId::Priority2] = {2, 0};
    server_->values[ManagementId::GrandmasterSettings] = encode(GrandmasterSettings());
    Ptp4l daemon(loop_, options());
    Settings settings;
    settings.priority1 = 10;
    settings.priority2 = 20;
    settings.grandmaster = GrandmasterSettings{{6, 0x21, 0x4E5D}, {37, true, false, true, true, true, true, 0x20}};
    EXPECT_EQ(set(daemon, settings).outcome, Outcome::Done);
    EXPECT_EQ(server_->values[ManagementId::Priority2][0], 20);
    EXPECT_EQ(decode<GrandmasterSettings>(server_->values[ManagementId::GrandmasterSettings]), settings.grandmaster);
    EXPECT_EQ(set(daemon, Settings()).outcome, Outcome::Done);

    server_->behaviour = [](FakeServer &self, const ManagementMessage &request) {
        ManagementMessage reply = self.reply_to(request);
        reply.error = request.id == ManagementId::Priority2 ? 4 : 0;
        self.send(reply);
    };
    const std::size_t before = requests_of(ManagementId::GrandmasterSettings);
    const SettingResult refused = set(daemon, settings);
    EXPECT_EQ(refused.outcome, Outcome::Refused);
    EXPECT_EQ(refused.reason, "PRIORITY2: the daemon answered WRONG_VALUE");
    EXPECT_EQ(requests_of(ManagementId::GrandmasterSettings), before);
}

TEST_F(FakePtp4l, IsSubscribedToAgainWhenItWasStartedAnew) {
    Ptp4l daemon(loop_, options());
    std::vector<PortState> states;
    daemon.subscribe([&](const DaemonEvent &event) { states.push_back(event.port.data_set->state); });
    ASSERT_TRUE(run_until(loop_, [&] { return requests_of(ManagementId::SubscribeEvents) == 1; }));
    ManagementMessage pushed;
    pushed.action = ManagementAction::Response;
    pushed.target = server_->last_client();
    pushed.id = ManagementId::PortDataSet;
    PortDataSet port;
    port.state = PortState::Slave;
    const std::vector<std::uint8_t> data = encode(port);
    pushed.data = data;
    server_->send(pushed);
    EXPECT_TRUE(run_until(loop_, [&] { return states == std::vector<PortState>{PortState::Slave}; }));
    const auto values = server_->values;
    server_.emplace(loop_, path_);
    server_->values = values;
    observe(daemon);
    EXPECT_TRUE(run_until(loop_, [&] { return requests_of(ManagementId::SubscribeEvents) == 1; }));
}

}  // namespace
}  // namespace ptp_agent
