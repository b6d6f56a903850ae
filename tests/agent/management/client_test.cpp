#include "agent/management/client.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <filesystem>

#include "fake_server.h"

namespace ptp_agent {
namespace {

using test::FakeServer;
using test::run_until;

class Client : public testing::Test {
  protected:
    ManagementOptions options() const {
        ManagementOptions result;
        result.daemon_path = path_;
        result.own_directory = directory_.path();
        result.timeout_ms = 40;
        return result;
    }

    /** Asks for priority1 and waits for the outcome. */
    ManagementReply ask(ManagementClient &client, std::uint16_t port = all_ports) {
        std::optional<ManagementReply> result;
        client.get(port, ManagementId::Priority1, [&](const ManagementReply &reply) { result = reply; });
        EXPECT_TRUE(run_until(loop_, [&] { return result.has_value(); }));
        return result.value_or(ManagementReply());
    }

    void prepare(FakeServer &server) { server.values[ManagementId::Priority1] = {128, 0}; }

    test::TemporaryDirectory directory_;
    std::string path_ = directory_.path() + "/daemon";
    EventLoop loop_;
};

TEST_F(Client, AnswersManyRequestsEachOnce) {
    FakeServer server(loop_, path_);
    prepare(server);
    ManagementClient client(loop_, options());
    int answers = 0;
    for (int i = 0; i < 200; ++i) {
        client.get(all_ports, ManagementId::Priority1, [&](const ManagementReply &reply) {
            EXPECT_EQ(reply.outcome, Outcome::Done);
            EXPECT_EQ(reply.data.size(), 2u);
            ++answers;
        });
    }
    EXPECT_EQ(answers, 0) << "no callback before the caller has returned";
    EXPECT_TRUE(run_until(loop_, [&] { return answers == 200; }));
    EXPECT_EQ(client.statistics().replies, 200u);
    EXPECT_EQ(client.statistics().retries, 0u);
}

TEST_F(Client, MatchesAnswersThatComeInAnotherOrder) {
    FakeServer server(loop_, path_);
    prepare(server);
    server.values[ManagementId::Priority2] = {7, 0};
    std::vector<ManagementMessage> held;
    server.behaviour = [&](FakeServer &self, const ManagementMessage &request) {
        held.push_back(request);
        if (held.size() == 2) {
            self.answer(held[1]);
            self.answer(held[0]);
        }
    };
    ManagementClient client(loop_, options());
    int first = -1, second = -1;
    client.get(all_ports, ManagementId::Priority1, [&](const ManagementReply &reply) { first = reply.data[0]; });
    client.get(all_ports, ManagementId::Priority2, [&](const ManagementReply &reply) { second = reply.data[0]; });
    EXPECT_TRUE(run_until(loop_, [&] { return first >= 0 && second >= 0; }));
    EXPECT_EQ(first, 128);
    EXPECT_EQ(second, 7);
}

TEST_F(Client, AsksAgainAndTakesALateAnswer) {
    FakeServer server(loop_, path_);
    prepare(server);
    int asked = 0;
    ManagementMessage first;
    server.behaviour = [&](FakeServer &self, const ManagementMessage &request) {
        if (++asked == 1) {
            first = request;
            first.data = {};
        } else if (asked == 2) {
            self.answer(first);
            self.answer(request);  // nothing waits for this one any more
        }
    };
    ManagementClient client(loop_, options());
    EXPECT_EQ(ask(client).outcome, Outcome::Done);
    EXPECT_TRUE(run_until(loop_, [&] { return client.statistics().stray == 1; }));
    EXPECT_EQ(client.statistics().retries, 1u);
}

TEST_F(Client, SaysWhyNothingWasAnswered) {
    ManagementClient client(loop_, options());
    const ManagementReply absent = ask(client);
    EXPECT_EQ(absent.outcome, Outcome::NoAnswer);
    EXPECT_EQ(absent.reason,
              "PRIORITY1: no answer, cannot reach the daemon at " + path_ + ": No such file or directory");
    FakeServer server(loop_, path_);
    server.domain = 44;  // silent in every other
    const ManagementReply silent = ask(client);
    EXPECT_EQ(silent.outcome, Outcome::NoAnswer);
    EXPECT_EQ(silent.reason, "PRIORITY1: no answer");
    EXPECT_EQ(server.requests.size(), 3u);
}

TEST_F(Client, TellsWhatTheDaemonDoesNotKnowFromWhatItRefuses) {
    FakeServer server(loop_, path_);
    ManagementClient client(loop_, options());
    EXPECT_EQ(ask(client).outcome, Outcome::Unsupported);
    server.behaviour = [](FakeServer &self, const ManagementMessage &request) {
        ManagementMessage reply = self.reply_to(request);
        reply.error = 5;
        self.send(reply);
    };
    const ManagementReply refused = ask(client);
    EXPECT_EQ(refused.outcome, Outcome::Refused);
    EXPECT_EQ(refused.reason, "PRIORITY1: the daemon answered NOT_SETABLE");
}

TEST_F(Client, DropsWhatAnswersNothingThatWasAsked) {
    FakeServer server(loop_, path_);
    prepare(server);
    server.behaviour = [](FakeServer &self, const ManagementMessage &request) {
        ManagementMessage wrong = self.reply_to(request);
        wrong.sequence = static_cast<std::uint16_t>(wrong.sequence + 77);
        self.send(wrong);
        wrong = self.reply_to(request);
        wrong.target.clock[3] ^= 1;
        self.send(wrong);
        wrong = self.reply_to(request);
        wrong.id = ManagementId::Priority2;
        self.send(wrong);
        wrong = self.reply_to(request);
        wrong.source.port = 9;
        self.send(wrong);
        self.send_bytes({'g', 'a', 'r', 'b', 'a', 'g', 'e'});
        std::vector<std::uint8_t> split = encode_management(self.reply_to(request));
        const std::vector<std::uint8_t> rest(split.begin() + 50, split.end());
        split.resize(50);
        self.send_bytes(split);
        self.send_bytes(rest);
    };
    ManagementClient client(loop_, options());
    EXPECT_EQ(ask(client, 1).outcome, Outcome::NoAnswer);
    EXPECT_EQ(client.statistics().stray, 4u * 3);
    EXPECT_EQ(client.statistics().malformed, 3u * 3);
}

TEST_F(Client, IsReachedByTheDaemonAlone) {
    FakeServer server(loop_, path_);
    prepare(server);
    ManagementClient client(loop_, options());
    ASSERT_EQ(ask(client).outcome, Outcome::Done);
    const base::file_descriptor stranger(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un to = {};
    to.sun_family = AF_UNIX;
    server.client_path().copy(to.sun_path, sizeof to.sun_path - 1);
    EXPECT_EQ(sendto(stranger.get(), "x", 1, 0, reinterpret_cast<const sockaddr *>(&to), sizeof to), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST_F(Client, DropsTheAnswersOfAnotherUser) {
    FakeServer server(loop_, path_);
    prepare(server);
    ManagementOptions other = options();
    other.daemon_uid = geteuid() + 1;
    ManagementClient client(loop_, other);
    EXPECT_EQ(ask(client).outcome, Outcome::NoAnswer);
    EXPECT_EQ(client.statistics().foreign, 3u);
}

TEST_F(Client, ReachesADaemonThatWentAwayAndCameBack) {
    ManagementOptions patient = options();
    patient.tries = 50;
    ManagementClient client(loop_, patient);
    int connects = 0;
    client.on_connect([&] { ++connects; });
    auto server = std::make_unique<FakeServer>(loop_, path_);
    prepare(*server);
    ASSERT_EQ(ask(client).outcome, Outcome::Done);
    server.reset();
    std::optional<Outcome> outcome;
    client.get(all_ports, ManagementId::Priority1, [&](const ManagementReply &reply) { outcome = reply.outcome; });
    EXPECT_FALSE(run_until(
        loop_, [&] { return outcome.has_value(); }, 150));
    server = std::make_unique<FakeServer>(loop_, path_);
    prepare(*server);
    EXPECT_TRUE(run_until(loop_, [&] { return outcome.has_value(); }));
    EXPECT_EQ(outcome, Outcome::Done);
    EXPECT_EQ(connects, 2);
}

TEST_F(Client, HandsOnWhatIsPushed) {
    FakeServer server(loop_, path_);
    prepare(server);
    ManagementClient client(loop_, options());
    std::vector<std::uint16_t> ports;
    client.on_event([&](ManagementId id, std::span<const std::uint8_t> data, const PortIdentity &source) {
        EXPECT_EQ(id, ManagementId::PortDataSet);
        EXPECT_TRUE(decode<PortDataSet>(data));
        ports.push_back(source.port);
    });
    ASSERT_EQ(ask(client).outcome, Outcome::Done);
    const std::vector<std::uint8_t> data = encode(PortDataSet());
    ManagementMessage pushed;
    pushed.action = ManagementAction::Response;
    pushed.target = server.last_client();
    pushed.source = {{1}, 2};
    pushed.id = ManagementId::PortDataSet;
    pushed.data = data;
    server.send(pushed);
    EXPECT_TRUE(run_until(loop_, [&] { return ports == std::vector<std::uint16_t>{2}; }));
    pushed.target.port ^= 1;  // somebody else's subscription
    server.send(pushed);
    EXPECT_TRUE(run_until(loop_, [&] { return client.statistics().stray == 1; }));
}

TEST_F(Client, MayBeDestroyedByItsOwnAnswerAndLeavesNoSocket) {
    FakeServer server(loop_, path_);
    prepare(server);
    auto client = std::make_unique<ManagementClient>(loop_, options());
    int answers = 0;
    for (int i = 0; i < 3; ++i) {
        client->get(all_ports, ManagementId::Priority1, [&](const ManagementReply &) {
            ++answers;
            client.reset();
        });
    }
    EXPECT_TRUE(run_until(loop_, [&] { return client == nullptr; }));
    run_until(
        loop_, [] { return false; }, 100);
    EXPECT_EQ(answers, 1);
    int left = 0;
    for (const auto &entry : std::filesystem::directory_iterator(directory_.path())) {
        left += entry.path() == path_ ? 0 : 1;
    }
    EXPECT_EQ(left, 0);
}

}  // namespace
}  // namespace ptp_agent
