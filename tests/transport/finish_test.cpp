// Channels that end in order, and what is known of the messages of those that cannot.
#include <arpa/inet.h>

#include <algorithm>

#include "channel_end.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using test::bytes;
using test::channel_end;
using test::make_message;
using test::process_until;

u_int32 finish(channel_end &end, u_int32 timeout_ms = 0) {
    u_int32 err = 0;
    const u_int32 result = vela_channel_finish(end.channel, nullptr, 42, &end, timeout_ms, &err);
    EXPECT_EQ(err, 0u);
    return result;
}

class Finish : public testing::TestWithParam<const char *> {
  protected:
    std::string listen_uri() const {
        const std::string scheme = GetParam();
        return scheme == "unix" ? folder.uri() : scheme == "tcp" ? "tcp:127.0.0.1:0" : "inproc:finish_test";
    }
    bool is_tcp() const { return GetParam() == std::string("tcp"); }

    // Finishes one end while the other does its usual work, a little at a time; false after half a minute.
    static bool finish_beside(channel_end &end, channel_end &other) {
        const auto limit = steady_clock::now() + std::chrono::seconds(30);
        while (finish(end) == 0) {
            if (steady_clock::now() > limit) {
                return false;
            }
            other.process(3);
        }
        return true;
    }
    static void fill(channel_end &end, u_int32 count, u_int32 payload) {
        for (u_int32 i = 0; i < count; ++i) {
            ASSERT_EQ(end.send(make_message(static_cast<u_int8>(i), payload)), 0u);
        }
    }
    static u_int64 missing(const vela_channel_statistics &counted) {
        return counted.lost + counted.unread + counted.dropped + counted.queued;
    }

    test::temporary_folder folder;
};

INSTANTIATE_TEST_SUITE_P(Mechanisms, Finish, testing::Values("inproc", "unix", "tcp"),
                         [](const auto &info) { return std::string(info.param); });

TEST_P(Finish, OfAConnectingEndDeliversAllThatItSentAndTheAnswers) {
    constexpr u_int32 count = 3000, payload = 200;
    vela_channel_options options = {};
    options.max_message = 20'000;
    options.socket_buffer = 20'000;  // far less than all messages
    options.queue_messages = count;
    channel_end server(&vela_channel_listen, listen_uri(), options);
    channel_end client(&vela_channel_connect, server.uri(), options);
    server.on_message = [](channel_end &end, const bytes &message) {
        u_int32 err = 0;
        vela_channel_reply(end.channel, message.data(), static_cast<u_int32>(message.size()), &err);
        EXPECT_EQ(err, 0u);
    };
    fill(client, count, payload);
    EXPECT_EQ(finish(client), 0u);
    EXPECT_EQ(client.send(make_message(1, 0)), static_cast<u_int32>(VELA_ESHUTDOWN));
    ASSERT_TRUE(finish_beside(client, server));
    EXPECT_EQ(server.received.size(), count);
    EXPECT_EQ(server.received, client.received);
    EXPECT_EQ(vela_channel_unconfirmed(client.channel), 0u);
    EXPECT_EQ(missing(client.statistics()), 0u);
    EXPECT_EQ(client.close().peers, 0u);
    EXPECT_TRUE(process_until({&server}, [&] { return server.statistics().peers == 0; }));
    if (!is_tcp()) {  // the last answers came when there was no way back for their confirmation
        EXPECT_EQ(missing(server.statistics()), 0u);
    }
}

TEST_P(Finish, OfAListeningEndServesAllItsPeers) {
    channel_end server(&vela_channel_listen, listen_uri());
    channel_end first(&vela_channel_connect, server.uri());
    channel_end second(&vela_channel_connect, server.uri());
    ASSERT_TRUE(process_until({&server, &first, &second}, [&] { return server.statistics().peers == 2; }));
    fill(server, 500, 100);
    u_int32 is_over = 0;
    EXPECT_TRUE(process_until({&first, &second}, [&] { return (is_over = finish(server)) != 0; }));
    EXPECT_EQ(is_over, 1u);
    EXPECT_EQ(first.received.size() + second.received.size(), 1000u);
    EXPECT_EQ(missing(server.close()), 0u);
    EXPECT_EQ(first.told(VELA_CHANNEL_DISCONNECTED), 1u);
}

TEST_P(Finish, IsBoundedAndLeavesAnAccountWhenThePeerDoesNotRead) {
    channel_end server(&vela_channel_listen, listen_uri());
    channel_end client(&vela_channel_connect, server.uri());
    ASSERT_TRUE(process_until({&server, &client}, [&] { return client.statistics().peers == 1; }));
    fill(client, 40, 10);
    const auto start = steady_clock::now();
    EXPECT_EQ(finish(client, 100), 0u);
    EXPECT_GE(steady_clock::now() - start, milliseconds(95));
    EXPECT_LT(steady_clock::now() - start, milliseconds(2000));
    EXPECT_EQ(vela_channel_unconfirmed(client.channel), 40u);
    const vela_channel_statistics last = client.close();
    EXPECT_EQ(last.sent, 40u);
    EXPECT_EQ(last.unread, is_tcp() ? 40u : 0u) << "elsewhere closing takes nothing away";
    EXPECT_EQ(client.told(VELA_CHANNEL_UNREAD), last.unread);
    EXPECT_TRUE(process_until({&server}, [&] { return server.statistics().disconnects == 1; }));
    EXPECT_EQ(server.received.size(), 40u);
}

TEST_P(Finish, OfAReceiverTellsTheSenderWhatItHandled) {
    channel_end server(&vela_channel_listen, listen_uri());
    channel_end client(&vela_channel_connect, server.uri());
    ASSERT_TRUE(process_until({&server, &client}, [&] { return client.statistics().peers == 1; }));
    fill(client, 100, 10);
    while (server.received.size() < 10) {
        server.process(1);
    }
    server.close();  // it has enough
    ASSERT_TRUE(process_until({&client}, [&] { return client.statistics().peers == 0; }));
    const vela_channel_statistics counted = client.statistics();
    EXPECT_GE(counted.unread + counted.queued, 90u) << "a small queue of the mechanism's leaves some in the channel's";
    EXPECT_EQ(finish(client, 100), counted.queued == 0 ? 1u : 0u);
    if (is_tcp()) {
        EXPECT_EQ(counted.unread, 90u);
    }
}

TEST_P(Finish, WithoutAPeerKeepsWhatWaitsUntilTheTimeIsOver) {
    std::string uri;
    {
        channel_end server(&vela_channel_listen, listen_uri());
        uri = server.uri();
    }
    vela_channel_options options = {};
    options.reconnect_most_ms = 20;
    channel_end client(&vela_channel_connect, uri, options);
    EXPECT_EQ(finish(client, 1000), 1u) << "nothing waits";
    channel_end other(&vela_channel_connect, uri, options);
    fill(other, 3, 0);
    EXPECT_EQ(finish(other, 50), 0u);
    EXPECT_EQ(other.statistics().queued, 3u);
    channel_end server(&vela_channel_listen, uri);
    EXPECT_TRUE(finish_beside(other, server));
    EXPECT_EQ(server.received.size(), 3u);
}

TEST_P(Finish, IsRefusedFromWithin) {
    channel_end server(&vela_channel_listen, listen_uri());
    channel_end client(&vela_channel_connect, server.uri());
    u_int32 err = 0;
    server.on_message = [&err](channel_end &end, const bytes &) {
        vela_channel_finish(end.channel, nullptr, 42, &end, 100, &err);
    };
    client.send(make_message(1, 0));
    EXPECT_TRUE(process_until({&server, &client}, [&] { return server.received.size() == 1; }));
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EINVAL));
}

// ---- places ---------------------------------------------------------------------------------------------------------

class Places : public Finish {
  protected:
    // Becomes a peer and stays silent.
    std::unique_ptr<channel_end> connected(channel_end &server) const {
        auto client = std::make_unique<channel_end>(&vela_channel_connect, server.uri());
        const u_int64 before = server.statistics().connects;
        EXPECT_TRUE(process_until({&server, client.get()}, [&] { return server.statistics().connects > before; }));
        return client;
    }
};

INSTANTIATE_TEST_SUITE_P(Mechanisms, Places, testing::Values("inproc", "unix", "tcp"),
                         [](const auto &info) { return std::string(info.param); });

TEST_P(Places, OfSilentPeersAreForThoseWhoCome) {
    vela_channel_options options = {};
    options.max_peers = 3;
    options.idle_ms = 100;
    channel_end server(&vela_channel_listen, listen_uri(), options);
    const auto speaker = connected(server);
    speaker->send(make_message(1, 0));
    ASSERT_TRUE(process_until({&server, speaker.get()}, [&] { return server.received.size() == 1; }));
    const auto reader = connected(server);
    server.send(make_message(2, 0));
    ASSERT_TRUE(process_until({&server, speaker.get(), reader.get()}, [&] {
        return reader->received.size() == 1 && vela_channel_unconfirmed(server.channel) == 0;
    }));
    const auto silent = connected(server);

    channel_end newcomer(&vela_channel_connect, server.uri());
    newcomer.send(make_message(3, 0));
    ASSERT_TRUE(process_until({&server, &newcomer}, [&] { return newcomer.told(VELA_CHANNEL_REFUSED) > 0; }));

    ASSERT_TRUE(process_until({&server, &newcomer}, [&] {
        if (newcomer.statistics().queued == 0 && server.received.size() == 1) {
            newcomer.send(make_message(3, 0));  // the first went to where there was no place
        }
        return server.received.size() > 1;
    }));
    const auto made_room = [](const vela_channel_event &event) {
        return event.kind == VELA_CHANNEL_DISCONNECTED && event.err == VELA_ETIMEDOUT;
    };
    EXPECT_EQ(std::count_if(server.events.begin(), server.events.end(), made_room), 1);
    EXPECT_TRUE(process_until({silent.get()}, [&] { return silent->statistics().disconnects == 1; }));
    EXPECT_EQ(speaker->statistics().disconnects + reader->statistics().disconnects, 0u);
    EXPECT_EQ(server.statistics().peers, 3u);
}

TEST_P(Places, AreKeptForEverWhenToldSo) {
    vela_channel_options options = {};
    options.max_peers = 1;
    options.idle_ms = 0xFFFFFFFF;
    channel_end server(&vela_channel_listen, listen_uri(), options);
    const auto silent = connected(server);
    usleep(20'000);
    channel_end newcomer(&vela_channel_connect, server.uri());
    EXPECT_TRUE(process_until({&server, &newcomer}, [&] { return newcomer.told(VELA_CHANNEL_REFUSED) > 0; }));
    EXPECT_EQ(silent->statistics().disconnects, 0u);
}

TEST(Refusals, AreToldOnceASecondWithTheirNumber) {
    vela_channel_options options = {};
    options.max_peers = 1;
    channel_end server(&vela_channel_listen, "tcp:127.0.0.1:0", options);
    channel_end peer(&vela_channel_connect, server.uri());
    ASSERT_TRUE(process_until({&server, &peer}, [&] { return server.statistics().peers == 1; }));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(std::stoi(server.uri().substr(server.uri().rfind(':') + 1))));
    constexpr u_int32 flood = 300;
    const auto start = steady_clock::now();
    for (u_int32 i = 0; i < flood; ++i) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        server.process();
        close(fd);
    }
    ASSERT_TRUE(process_until({&server}, [&] { return server.told(VELA_CHANNEL_REFUSED) == flood; }))
        << "the rest is told a second later, without another connection";
    EXPECT_EQ(server.statistics().refused_peers, flood);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start).count();
    EXPECT_LE(server.events.size(), 2 + static_cast<size_t>(seconds) + 1) << "with that of the peer";
}

TEST(Dropped, TellsAStrangerFromAPeer) {
    channel_end server(&vela_channel_listen, "inproc:strangers");
    vela_channel_options long_ones = {};
    long_ones.max_message = 2 * 1024 * 1024;
    channel_end client(&vela_channel_connect, "inproc:strangers", long_ones);
    client.send(make_message(1, 1'500'000));
    client.send(make_message(2, 0));
    client.send(make_message(3, 1'500'000));
    ASSERT_TRUE(process_until({&server, &client}, [&] { return server.told(VELA_CHANNEL_DROPPED) == 2; }));
    std::vector<u_int64> delivered;
    for (const vela_channel_event &event : server.events) {
        if (event.kind == VELA_CHANNEL_DROPPED) {
            delivered.push_back(event.delivered);
        }
    }
    EXPECT_EQ(delivered, (std::vector<u_int64>{0, 1}));
}

}  // namespace
