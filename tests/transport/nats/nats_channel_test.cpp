// Channels over a real server: what was accepted is in the stream once, whoever is killed meanwhile.
#include <gmock/gmock.h>

#include <set>

#include "../channel_end.h"
#include "nats_server.h"

using namespace test;
using testing::Each;
using testing::HasSubstr;

namespace {

constexpr u_int8 report = 'r';
constexpr u_int8 command = 'c';

// The mark of a test's message is in its identity.
vela_message_role describe(const u_int8 *bytes, u_int32, const char **name) {
    const u_int8 mark = bytes[VELA_WIRE_MESSAGE_HEADER];
    *name = mark == report ? "state" : "order";
    return mark == report ? VELA_MESSAGE_REPORT : VELA_MESSAGE_COMMAND;
}

vela_channel_options with_roles() {
    vela_channel_options options = {};
    options.describe = describe;
    return options;
}

// Where the runtime has the application's word, the message's number.
bytes numbered(u_int8 mark, u_int32 number, u_int32 payload = 100) {
    bytes message = make_message(mark, payload);
    put_u32(message, 8, number);
    return message;
}

u_int32 number_of(const bytes &message) {
    return u_int32{message[8]} << 24 | u_int32{message[9]} << 16 | u_int32{message[10]} << 8 | message[11];
}

class NatsChannel : public testing::Test {
  protected:
    void SetUp() override {
        if (!nats_server::is_installed()) {
            GTEST_SKIP() << "nats-server is not installed";
        }
    }
    // Sends all, as fast as the channel takes it.
    static void send_all(channel_end &by, u_int8 mark, u_int32 first, u_int32 count) {
        for (u_int32 number = first; number < first + count; ++number) {
            ASSERT_TRUE(process_until({&by}, [&] { return by.send(numbered(mark, number)) == 0; }));
        }
    }
    static bool is_confirmed(channel_end &of) {
        return process_until({&of},
                             [&] { return of.statistics().queued == 0 && vela_channel_unconfirmed(of.channel) == 0; });
    }
    // Each number from 1 once, and nothing under two ids.
    static void expect_once(const stream &in, u_int32 count) {
        std::multiset<u_int32> numbers;
        for (const stream::entry &each : in.entries()) {
            numbers.insert(number_of(each.bytes));
        }
        EXPECT_EQ(numbers.size(), count);
        EXPECT_EQ(std::set<u_int32>(numbers.begin(), numbers.end()).size(), count);
        EXPECT_EQ(in.ids().size(), count);
    }
};

TEST_F(NatsChannel, PublishesEachMessageOfABundleUnderItsNameUnchanged) {
    nats_server server;
    const stream kept(server, "ptp.>");
    channel_end sender(&vela_channel_connect, server.uri("ptp.tower.0.{message}"), with_roles());
    ASSERT_NE(sender.channel, nullptr) << sender.error_text;
    const bytes one = numbered(report, 1);
    const bytes two = numbered(command, 2);
    bytes bundle(VELA_BUNDLE_HEADER);
    put_u32(bundle, 0, VELA_BUNDLE_MAGIC);
    bundle[4] = VELA_BUNDLE_VERSION;
    put_u32(bundle, 8, 2);
    for (const bytes &each : {one, two}) {
        bundle.resize(bundle.size() + 4);
        put_u32(bundle, bundle.size() - 4, static_cast<u_int32>(each.size()));
        bundle.insert(bundle.end(), each.begin(), each.end());
    }
    put_u32(bundle, 12, static_cast<u_int32>(bundle.size()));
    EXPECT_EQ(sender.send(bundle), 0u);
    ASSERT_TRUE(is_confirmed(sender));
    const auto entries = kept.entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].subject, "ptp.tower.0.state");
    EXPECT_EQ(entries[0].bytes, one);
    EXPECT_EQ(entries[0].role, "report");
    EXPECT_EQ(entries[1].subject, "ptp.tower.0.order");
    EXPECT_EQ(entries[1].bytes, two);
    EXPECT_EQ(entries[0].id.substr(16), "-1");
    EXPECT_EQ(entries[1].id, entries[0].id.substr(0, 16) + "-2");
    EXPECT_EQ(sender.statistics().connects, 1u);
}

TEST_F(NatsChannel, LeavesItsConnectionToNoProgramThatThisOneStarts) {
    nats_server server;
    channel_end sender(&vela_channel_connect, server.uri("x?ack=none"));
    ASSERT_TRUE(process_until({&sender}, [&] { return sender.statistics().connects == 1; }));
    const int status = std::system(
        "for each in $(ls /proc/$$/fd); do test $each -gt 2 && readlink /proc/$$/fd/$each; done | grep -q socket:");
    EXPECT_NE(WEXITSTATUS(status), 0);
}

TEST_F(NatsChannel, DeliversToPlainListenersAndAnswersOnAnotherSubject) {
    nats_server server;
    const stream kept(server, "ptp.>");
    channel_end agent(&vela_channel_listen, server.uri("cmd.tower.*?send=ptp.tower.0.{message}"), with_roles());
    channel_end viewer(&vela_channel_listen, server.uri("ptp.>"));
    channel_end operators(&vela_channel_connect, server.uri("cmd.tower.order?ack=none&receive=ptp.tower.>"));
    ASSERT_TRUE(process_until({&agent, &viewer, &operators}, [&] {
        return agent.statistics().connects + viewer.statistics().connects + operators.statistics().connects == 3;
    }));
    std::this_thread::sleep_for(200ms);  // for the server to know of the subscriptions
    agent.on_message = [](channel_end &self, const bytes &message) {
        u_int32 err = 0;
        const bytes answer = numbered(report, number_of(message) + 1);
        vela_channel_reply(self.channel, answer.data(), static_cast<u_int32>(answer.size()), &err);
        EXPECT_EQ(err, 0u);
        EXPECT_THAT(vela_channel_peer(self.channel), HasSubstr("127.0.0.1:"));
    };
    EXPECT_EQ(operators.send(numbered(command, 7)), 0u);
    ASSERT_TRUE(process_until({&agent, &viewer, &operators},
                              [&] { return !viewer.received.empty() && !operators.received.empty(); }));
    EXPECT_EQ(viewer.received, std::vector<bytes>{numbered(report, 8)});
    EXPECT_EQ(operators.received, viewer.received);
}

TEST_F(NatsChannel, LosesAndRepeatsNothingWhenTheServerIsKilledInTheMiddle) {
    nats_server server;
    const auto before = std::make_unique<stream>(server, "ptp.>");
    channel_end sender(&vela_channel_connect, server.uri("ptp.x"), with_roles());
    u_int32 sent = 0;
    for (int round = 0; round < 3; ++round) {
        send_all(sender, report, sent + 1, 500);
        ASSERT_TRUE(is_confirmed(sender));
        send_all(sender, report, sent + 501, 5000);
        ASSERT_TRUE(process_until({&sender}, [&] { return vela_channel_unconfirmed(sender.channel) < 4500; }));
        server.kill_hard();
        EXPECT_GT(vela_channel_unconfirmed(sender.channel), 0u);
        send_all(sender, command, sent + 5501, 1500);
        sent += 7000;
        std::this_thread::sleep_for(300ms);
        server.start();
    }
    ASSERT_TRUE(is_confirmed(sender));
    const stream after(server, "ptp.>");
    expect_once(after, sent);
    const vela_channel_statistics statistics = sender.close();
    EXPECT_EQ(statistics.lost + statistics.unread, 0u);
    EXPECT_GE(statistics.reconnects, 3u);
}

// A process that sends as fast as it can until it is killed. Tells how far it got by the pipe.
void send_until_killed(const std::string &uri, u_int32 first, int progress) {
    channel_end sender(&vela_channel_connect, uri, with_roles());
    for (u_int32 number = first; sender.channel != nullptr; ++number) {
        while (sender.send(numbered(number % 10 == 0 ? command : report, number)) != 0) {
            vela_channel_wait(sender.channel, 5);
            sender.process();
        }
        if (write(progress, &number, sizeof number) != ssize_t{sizeof number}) {
            break;
        }
        sender.process();
    }
    _exit(1);
}

TEST_F(NatsChannel, DeliversWhatAKilledProcessHadAcceptedOnceItRunsAgain) {
    nats_server server;
    const stream kept(server, "ptp.>");
    const scratch_folder store;
    const std::string uri = server.uri("ptp.x?store=" + store.path);
    u_int32 accepted = 0;
    for (const auto pause : {0ms, 150ms, 400ms}) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            send_until_killed(uri, accepted + 1, ends[1]);
        }
        close(ends[1]);
        const u_int32 before = accepted;
        for (u_int32 number = 0; accepted < before + 500 && read(ends[0], &number, sizeof number) > 0;) {
            accepted = number;
        }
        std::this_thread::sleep_for(pause);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        for (u_int32 number = 0; read(ends[0], &number, sizeof number) > 0; accepted = number) {
        }
        close(ends[0]);
    }
    channel_end successor(&vela_channel_connect, uri, with_roles());
    ASSERT_TRUE(is_confirmed(successor));
    std::multiset<u_int32> numbers;
    for (const stream::entry &each : kept.entries()) {
        numbers.insert(number_of(each.bytes));
    }
    for (u_int32 number = 1; number <= accepted; ++number) {
        // The last of a process may have been taken without its pipe knowing: its successor used the number again.
        ASSERT_GE(numbers.count(number), 1u) << number << " of " << accepted;
    }
    EXPECT_EQ(kept.ids().size(), kept.count()) << "an id came twice";
    EXPECT_LE(kept.count(), accepted + 3);
}

TEST_F(NatsChannel, KeepsWhatNoStreamTakesYet) {
    nats_server server;
    channel_end sender(&vela_channel_connect, server.uri("ptp.x"), with_roles());
    send_all(sender, report, 1, 50);
    ASSERT_TRUE(process_until({&sender}, [&] { return sender.told(VELA_CHANNEL_REFUSED) > 0; }));
    EXPECT_EQ(vela_channel_unconfirmed(sender.channel), 50u);
    const stream kept(server, "ptp.>");
    ASSERT_TRUE(is_confirmed(sender));
    expect_once(kept, 50);
    u_int32 err = 0;
    EXPECT_EQ(vela_channel_finish(sender.channel, nullptr, 42, &sender, 5000, &err), 1u);
    EXPECT_EQ(sender.close().unread, 0u);
}

TEST_F(NatsChannel, DropsOldReportsAndSaysSoWhileNoServerIsThere) {
    nats_server server;
    const stream kept(server, "ptp.>");
    server.kill_hard();
    channel_end sender(&vela_channel_connect, server.uri("ptp.{message}?store_bytes=1M"), with_roles());
    constexpr u_int32 commands = 300, reports = 9000;
    send_all(sender, command, 1, commands);
    send_all(sender, report, commands + 1, reports);
    ASSERT_TRUE(process_until({&sender}, [&] { return sender.told(VELA_CHANNEL_LOST) > 0; }));
    EXPECT_EQ(sender.statistics().connects, 0u);
    server.start();
    ASSERT_TRUE(is_confirmed(sender));
    const u_int64 lost = sender.statistics().lost;
    EXPECT_EQ(sender.told(VELA_CHANNEL_LOST), lost);
    const stream after(server, "ptp.>");
    EXPECT_EQ(after.count(), commands + reports - lost);
    u_int32 orders = 0;
    for (const stream::entry &each : after.entries()) {
        orders += each.subject == "ptp.order" ? 1 : 0;
    }
    EXPECT_EQ(orders, commands);
}

TEST_F(NatsChannel, RemembersHowFarADurableListenerGot) {
    nats_server server;
    stream kept(server, "ptp.>");
    // What the server sends when the first listener has just gone comes again after this time.
    kept.add_consumer("page", 2000);
    channel_end sender(&vela_channel_connect, server.uri("ptp.x"));
    send_all(sender, report, 1, 1000);
    ASSERT_TRUE(is_confirmed(sender));
    std::set<u_int32> seen;
    for (const size_t wanted : {400u, 1000u}) {
        channel_end listener(&vela_channel_listen, server.uri("ptp.>?durable=page"));
        const auto note_received = [&] {
            for (const bytes &each : listener.received) {
                seen.insert(number_of(each));
            }
        };
        EXPECT_TRUE(process_until({&listener},
                                  [&] {
                                      listener.process(1);
                                      note_received();
                                      return seen.size() >= wanted;
                                  }))
            << seen.size() << " seen";
        u_int32 err = 0;
        vela_channel_finish(listener.channel, nullptr, 42, &listener, 2000, &err);
        note_received();
    }
    EXPECT_EQ(seen.size(), 1000u);
    channel_end late(&vela_channel_listen, server.uri("ptp.>?durable=page"));
    send_all(sender, command, 1001, 1);
    ASSERT_TRUE(process_until({&sender, &late}, [&] { return !late.received.empty(); }));
    EXPECT_EQ(number_of(late.received.front()), 1001u) << "nothing that was dealt with comes again";
}

TEST_F(NatsChannel, ShowsPasswordAndCertificateAndSaysWhenTheyAreWrong) {
    const scratch_folder folder;
    const std::string make = "cd " + folder.path +
                             " && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout "
                             "key.pem -out cert.pem -days 2 "
                             "-subj /CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1 2>/dev/null";
    ASSERT_EQ(std::system(make.c_str()), 0);
    std::ofstream(folder.path + "/right") << "sesame\n";
    std::ofstream(folder.path + "/wrong") << "barley\n";
    nats_server server("authorization { user: tower, password: sesame }\ntls { cert_file: \"" + folder.path +
                       "/cert.pem\", key_file: \"" + folder.path + "/key.pem\" }\n");
    const std::string common = "x?ack=none&ca=" + folder.path + "/cert.pem&user=tower&password_file=" + folder.path;
    channel_end welcome(&vela_channel_connect, server.uri(common + "/right"));
    EXPECT_EQ(welcome.send(numbered(command, 1)), 0u);
    EXPECT_TRUE(is_confirmed(welcome));
    channel_end stranger(&vela_channel_connect, server.uri(common + "/wrong"));
    channel_end trusting(&vela_channel_connect,
                         server.uri("x?tls=1&user=tower&password_file=" + folder.path + "/right"));
    ASSERT_TRUE(process_until({&stranger, &trusting}, [&] {
        return stranger.told(VELA_CHANNEL_REFUSED) > 0 && trusting.told(VELA_CHANNEL_REFUSED) > 0;
    }));
    EXPECT_EQ(stranger.statistics().connects + trusting.statistics().connects, 0u);
}

TEST_F(NatsChannel, ComesBackAfterItWasRefusedForAWhile) {
    const scratch_folder folder;
    std::ofstream(folder.path + "/password") << "sesame\n";
    const std::string right = "authorization { user: tower, password: sesame }\n";
    nats_server server(right);
    channel_end sender(&vela_channel_connect,
                       server.uri("x?ack=none&receive=y&user=tower&password_file=" + folder.path + "/password"));
    ASSERT_TRUE(process_until({&sender}, [&] { return sender.statistics().connects == 1; }));
    server.kill_hard();
    server.configure("authorization { user: tower, password: barley }\n");
    server.start();
    ASSERT_TRUE(process_until({&sender}, [&] { return sender.told(VELA_CHANNEL_REFUSED) > 0; }));
    EXPECT_EQ(sender.send(numbered(command, 1)), 0u);
    server.kill_hard();
    server.configure(right);
    server.start();
    EXPECT_TRUE(process_until({&sender}, [&] { return sender.statistics().connects == 2; }));
    EXPECT_TRUE(is_confirmed(sender));
}

TEST(Plugin, IsLookedForBesideTheLibraryAlone) {
    channel_end wrong(&vela_channel_connect, "carrier:pigeon");
    EXPECT_EQ(wrong.channel, nullptr);
    EXPECT_EQ(wrong.open_error, u_int32{VELA_EINVAL});
    EXPECT_THAT(wrong.error_text, HasSubstr("'carrier:pigeon' is no channel address: use inproc:NAME, unix:PATH or"));
    EXPECT_THAT(wrong.error_text, HasSubstr("there is no libvela_carrier.so in /"));
    for (const char *uri : {"../nats:x", "Nats:x", "abcdefghijklmnopqr:x", ":x"}) {
        channel_end refused(&vela_channel_connect, uri);
        EXPECT_THAT(refused.error_text, testing::Not(HasSubstr("libvela_"))) << uri;
    }
    channel_end misspelt(&vela_channel_connect, "nats://127.0.0.1/x");
    EXPECT_THAT(misspelt.error_text, HasSubstr("nats://127.0.0.1/x: '127.0.0.1': HOST:PORT is wanted"));
}

TEST(Options, OfOlderProgramsAreTaken) {
    vela_channel_options older = {};
    older.size = offsetof(vela_channel_options, describe);
    u_int32 err = 0;
    vela_channel *channel = vela_channel_listen("gable", "inproc:older", &older, nullptr, 0, &err);
    EXPECT_EQ(err, 0u);
    vela_channel_close(channel, nullptr);
}

}  // namespace
