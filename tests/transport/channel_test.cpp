// What every mechanism has to do.
#include "channel_end.h"

#include <numeric>
#include <thread>

namespace {

using test::bytes;
using test::channel_end;
using test::make_message;
using test::process_until;

class Channel : public testing::TestWithParam<const char *> {
  protected:
    std::string listen_uri() const {
        std::string scheme = GetParam();
        return scheme == "unix" ? folder.uri() : scheme == "tcp" ? "tcp:127.0.0.1:0" : "inproc:channel_test";
    }
    test::temporary_folder folder;
};

INSTANTIATE_TEST_SUITE_P(Mechanisms, Channel, testing::Values("inproc", "unix", "tcp"),
                         [](const auto &info) { return std::string(info.param); });

TEST_P(Channel, CarriesMessagesBothWaysInOrder) {
    channel_end server(&vela_channel_listen, listen_uri());
    ASSERT_NE(server.channel, nullptr) << server.error_text;
    channel_end client(&vela_channel_connect, server.uri());
    server.on_message = [](channel_end &end, const bytes &message) {
        u_int32 err = 0;
        bytes answer = make_message(static_cast<u_int8>(message.back() + 100), 5);
        vela_channel_reply(end.channel, answer.data(), static_cast<u_int32>(answer.size()), &err);
        EXPECT_EQ(err, 0u);
    };
    std::vector<bytes> sent;
    std::vector<bytes> answers;
    for (u_int8 i = 0; i < 100; ++i) {
        sent.push_back(make_message(i, i * 10u + 1));
        answers.push_back(make_message(static_cast<u_int8>(i + 100), 5));
        EXPECT_EQ(client.send(sent.back()), 0u);
    }
    EXPECT_TRUE(process_until({&server, &client}, [&] { return client.received.size() == 100; }));
    EXPECT_EQ(server.received, sent);
    EXPECT_EQ(client.received, answers);

    vela_channel_statistics counted = client.statistics();
    EXPECT_EQ(counted.sent, 100u);
    EXPECT_EQ(counted.received, 100u);
    EXPECT_EQ(counted.sent_bytes, server.statistics().received_bytes);
    EXPECT_EQ(counted.queued + counted.dropped + counted.lost + counted.refused, 0u);
    u_int32 err = 0;
    vela_channel_reply(server.channel, sent[0].data(), static_cast<u_int32>(sent[0].size()), &err);
    EXPECT_EQ(err, static_cast<u_int32>(VELA_ENOTCONN)) << "outside a handler";
}

TEST_P(Channel, NamesThePeerWhoseMessageIsDelivered) {
    channel_end server(&vela_channel_listen, listen_uri());
    ASSERT_NE(server.channel, nullptr) << server.error_text;
    channel_end client(&vela_channel_connect, server.uri());
    std::string peer;
    server.on_message = [&peer](channel_end &end, const bytes &) { peer = vela_channel_peer(end.channel); };
    EXPECT_EQ(client.send(make_message(1, 1)), 0u);
    EXPECT_TRUE(process_until({&server, &client}, [&] { return !server.received.empty(); }));
    const std::string begin = GetParam() == std::string("inproc") ? "inproc:"
                              : GetParam() == std::string("unix") ? "process " + std::to_string(getpid())
                                                                  : "127.0.0.1:";
    EXPECT_EQ(peer.substr(0, begin.size()), begin);
    EXPECT_EQ(vela_channel_peer(server.channel), nullptr) << "outside a handler";
}

TEST_P(Channel, CarriesTheLongestMessageAndRefusesALongerOne) {
    vela_channel_options options = {};
    options.max_message = 300'000;
    options.socket_buffer = 8192;  // far less than one message
    channel_end server(&vela_channel_listen, listen_uri(), options);
    channel_end client(&vela_channel_connect, server.uri(), options);
    std::vector<bytes> sent;
    for (u_int32 length : {300'000u, 100'000u, 43u, 299'999u, 70'000u}) {
        sent.push_back(make_message(static_cast<u_int8>(length), length - VELA_BUNDLE_LEAST_MESSAGE));
        std::iota(sent.back().begin() + VELA_BUNDLE_LEAST_MESSAGE, sent.back().end(), u_int8{0});
        EXPECT_EQ(client.send(sent.back()), 0u);
    }
    EXPECT_EQ(client.send(make_message(1, 300'000)), static_cast<u_int32>(VELA_EMSGSIZE));
    EXPECT_EQ(client.send(bytes(50, 1)), static_cast<u_int32>(VELA_EINVAL));
    EXPECT_TRUE(process_until({&server, &client}, [&] { return server.received.size() == sent.size(); }));
    EXPECT_EQ(server.received, sent);
    EXPECT_EQ(client.statistics().sent, sent.size());
}

TEST_P(Channel, DropsAndReportsWhatIsTooLongForTheReceiver) {
    vela_channel_options options = {};
    options.max_message = 1000;
    channel_end server(&vela_channel_listen, listen_uri(), options);
    channel_end client(&vela_channel_connect, server.uri());
    for (u_int32 payload : {2000u, 10u, 200'000u, 20u}) {
        EXPECT_EQ(client.send(make_message(1, payload)), 0u);
    }
    EXPECT_TRUE(process_until({&server, &client}, [&] { return server.received.size() == 2; }));
    EXPECT_EQ(server.received, (std::vector<bytes>{make_message(1, 10), make_message(1, 20)}));
    EXPECT_EQ(server.statistics().dropped, 2u);
    EXPECT_EQ(server.told(VELA_CHANNEL_DROPPED), 2u);
}

TEST_P(Channel, ShowsBackPressureAndLosesNothing) {
    vela_channel_options options = {};
    options.queue_messages = 10;
    options.max_message = 20'000;
    options.socket_buffer = 20'000;
    channel_end server(&vela_channel_listen, listen_uri());
    channel_end client(&vela_channel_connect, server.uri(), options);
    server.process();
    client.process();
    size_t accepted = 0;
    u_int32 result = 0;
    while (result == 0 && accepted < 100'000) {
        result = client.send(make_message(static_cast<u_int8>(accepted), 15'000));
        accepted += result == 0 ? 1 : 0;
    }
    EXPECT_EQ(result, static_cast<u_int32>(VELA_EAGAIN));
    EXPECT_EQ(client.statistics().queued, 10u);
    EXPECT_EQ(client.statistics().refused, 1u);
    EXPECT_TRUE(process_until({&server, &client}, [&] { return server.received.size() == accepted; }));
    for (size_t i = 0; i < accepted; ++i) {
        ASSERT_EQ(server.received[i].back(), static_cast<u_int8>(i));
    }
    EXPECT_EQ(client.send(make_message(1, 15'000)), 0u);
    EXPECT_EQ(client.statistics().lost, 0u);
}

TEST_P(Channel, KeepsItsQueueWhileNobodyListensAndReconnects) {
    std::string uri;
    {
        channel_end first(&vela_channel_listen, listen_uri());
        uri = first.uri();
    }
    vela_channel_options options = {};
    options.queue_messages = 3;
    channel_end client(&vela_channel_connect, uri, options);
    for (u_int8 i = 0; i < 3; ++i) {
        EXPECT_EQ(client.send(make_message(i, 0)), 0u);
    }
    EXPECT_EQ(client.send(make_message(3, 0)), static_cast<u_int32>(VELA_EAGAIN));
    for (int round = 1; round <= 3; ++round) {
        channel_end server(&vela_channel_listen, uri);
        ASSERT_NE(server.channel, nullptr) << server.error_text;
        EXPECT_TRUE(process_until({&client, &server}, [&] { return server.received.size() == 3; })) << round;
        EXPECT_EQ(client.statistics().peers, 1u);
        server.close();
        EXPECT_TRUE(process_until({&client}, [&] { return client.statistics().peers == 0; }));
        for (u_int8 i = 0; i < 3; ++i) {
            EXPECT_EQ(client.send(make_message(i, 0)), 0u);
        }
    }
    EXPECT_EQ(client.statistics().reconnects, 2u);
    EXPECT_EQ(client.told(VELA_CHANNEL_CONNECTED), 3u);
    EXPECT_EQ(client.told(VELA_CHANNEL_DISCONNECTED), 3u);
    vela_channel_statistics last = client.close();
    EXPECT_EQ(last.lost, 3u);
    EXPECT_EQ(client.told(VELA_CHANNEL_LOST), 3u);
}

TEST_P(Channel, SendsToEveryPeerOfTheListeningEnd) {
    channel_end server(&vela_channel_listen, listen_uri());
    channel_end first(&vela_channel_connect, server.uri());
    EXPECT_EQ(server.send(make_message(1, 0)), 0u) << "kept for the first peer";
    EXPECT_TRUE(process_until({&server, &first}, [&] { return first.received.size() == 1; }));
    channel_end second(&vela_channel_connect, server.uri());
    EXPECT_TRUE(process_until({&server, &second}, [&] { return server.statistics().peers == 2; }));
    EXPECT_EQ(server.send(make_message(2, 0)), 0u);
    EXPECT_TRUE(process_until({&first, &second}, [&] { return first.received.size() + second.received.size() == 3; }));
    EXPECT_EQ(second.received, std::vector<bytes>{make_message(2, 0)});

    first.close();
    EXPECT_TRUE(process_until({&server}, [&] { return server.statistics().peers == 1; }));
    EXPECT_EQ(server.send(make_message(3, 0)), 0u);
    EXPECT_TRUE(process_until({&second}, [&] { return second.received.size() == 2; }));
    EXPECT_EQ(server.statistics().lost + server.statistics().unread, 0u);
}

TEST_P(Channel, KeepsWhatWaitsForAPeerThatIsReplacedAtOnce) {
    channel_end server(&vela_channel_listen, listen_uri());
    {
        channel_end first(&vela_channel_connect, server.uri());
        ASSERT_TRUE(process_until({&server, &first}, [&] { return server.statistics().peers == 1; }));
    }
    channel_end second(&vela_channel_connect, server.uri());
    for (u_int8 i = 0; i < 3; ++i) {  // the server has yet to notice that the first has gone and the second come
        EXPECT_EQ(server.send(make_message(i, 0)), 0u);
    }
    EXPECT_TRUE(process_until({&server, &second}, [&] {
        return second.received.size() + server.statistics().unread == 3;  // TCP notices at its second message
    }));
    EXPECT_EQ(server.statistics().lost, 0u);
}

TEST_P(Channel, HoldsASlowPeerFromNobodyElse) {
    vela_channel_options options = {};
    options.queue_messages = 2;
    options.max_message = 20'000;
    options.socket_buffer = 20'000;
    channel_end server(&vela_channel_listen, listen_uri(), options);
    channel_end slow(&vela_channel_connect, server.uri(), options);
    channel_end quick(&vela_channel_connect, server.uri(), options);
    ASSERT_TRUE(process_until({&server, &quick, &slow}, [&] { return server.statistics().peers == 2; }));
    constexpr size_t count = 1000;
    for (size_t i = 0; i < count; ++i) {
        ASSERT_EQ(server.send(make_message(static_cast<u_int8>(i), 15'000)), 0u);
        ASSERT_TRUE(process_until({&server, &quick}, [&] { return quick.received.size() == i + 1; }));
    }
    EXPECT_GT(server.statistics().lost, 0u);
    EXPECT_EQ(server.told(VELA_CHANNEL_LOST), server.statistics().lost);
    EXPECT_EQ(server.statistics().sent + server.statistics().queued + server.statistics().lost, 2 * count);
}

TEST_P(Channel, DeliversOneByOneWhenAsked) {
    channel_end server(&vela_channel_listen, listen_uri());
    channel_end client(&vela_channel_connect, server.uri());
    ASSERT_TRUE(process_until({&server, &client}, [&] { return client.statistics().peers == 1; }));
    for (u_int8 i = 0; i < 40; ++i) {
        EXPECT_EQ(client.send(make_message(i, 0)), 0u);
    }
    for (size_t i = 1; i <= 40; ++i) {
        while (server.received.size() < i) {
            // Messages that are there already must keep the descriptor readable.
            ASSERT_EQ(vela_channel_wait(server.channel, 1000), 1u) << i;
            EXPECT_LE(server.process(1), 1u);
        }
        EXPECT_EQ(server.received.size(), i);
    }
    EXPECT_EQ(server.process(1), 0u);
}

TEST_P(Channel, IsQuietWhenNothingHappens) {
    channel_end server(&vela_channel_listen, listen_uri());
    channel_end client(&vela_channel_connect, server.uri());
    client.send(make_message(1, 0));
    ASSERT_TRUE(process_until({&server, &client}, [&] { return server.received.size() == 1; }));
    for (int i = 0; i < 10; ++i) {  // what was left to do is done
        client.process();
        server.process();
    }
    EXPECT_EQ(vela_channel_wait(server.channel, 0), 0u);
    EXPECT_EQ(vela_channel_wait(client.channel, 0), 0u);
}

TEST_P(Channel, RefusesPeersBeyondItsMost) {
    vela_channel_options options = {};
    options.max_peers = 1;
    channel_end server(&vela_channel_listen, listen_uri(), options);
    channel_end first(&vela_channel_connect, server.uri());
    ASSERT_TRUE(process_until({&server, &first}, [&] { return server.statistics().peers == 1; }));
    channel_end second(&vela_channel_connect, server.uri());
    EXPECT_TRUE(process_until({&server, &second}, [&] { return server.told(VELA_CHANNEL_REFUSED) > 0; }));
    EXPECT_EQ(server.statistics().peers, 1u);
    first.close();
    second.send(make_message(1, 0));
    EXPECT_TRUE(process_until({&server, &second}, [&] { return server.received.size() == 1; }));
}

TEST_P(Channel, WithoutAHandlerReportsWhatItDrops) {
    channel_end server(&vela_channel_listen, listen_uri());
    channel_end client(&vela_channel_connect, server.uri());
    EXPECT_EQ(gable_bundle_handler_unregister(), 0u);
    EXPECT_EQ(gable_bundle_handler_unregister(), static_cast<u_int32>(VELA_ENOENT));
    client.send(make_message(1, 0));
    EXPECT_TRUE(process_until({&server, &client}, [&] { return server.statistics().dropped == 1; }));
    EXPECT_EQ(server.told(VELA_CHANNEL_DROPPED), 1u);
    EXPECT_TRUE(server.received.empty());
}

TEST_P(Channel, RefusesToBeProcessedFromWithin) {
    channel_end server(&vela_channel_listen, listen_uri());
    channel_end client(&vela_channel_connect, server.uri());
    u_int32 err = 0;
    server.on_message = [&err](channel_end &end, const bytes &) {
        vela_channel_process(end.channel, nullptr, 42, &end, 0, &err);
    };
    client.send(make_message(1, 0));
    EXPECT_TRUE(process_until({&server, &client}, [&] { return server.received.size() == 1; }));
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EINVAL));
}

TEST_P(Channel, RefusesAPlaceThatIsTaken) {
    channel_end server(&vela_channel_listen, listen_uri());
    channel_end again(&vela_channel_listen, server.uri());
    EXPECT_EQ(again.channel, nullptr);
    EXPECT_EQ(again.open_error, static_cast<u_int32>(VELA_EADDRINUSE));
    EXPECT_NE(again.error_text.find(server.uri()), std::string::npos) << again.error_text;
    channel_end client(&vela_channel_connect, server.uri());
    client.send(make_message(1, 0));
    EXPECT_TRUE(process_until({&server, &client}, [&] { return server.received.size() == 1; })) << "undisturbed";
}

TEST(ChannelOpen, SaysWhatIsWrong) {
    struct {
        const char *domain, *uri, *part;
    } const cases[] = {
        {"marble", "inproc:x", "'marble' is no domain"},
        {nullptr, "inproc:x", "is no domain"},
        {"gable", "carrier:pigeon", "'carrier:pigeon'"},
        {"gable", "", "inproc:NAME"},
        {"gable", "unix:", "'unix:'"},
        {"gable", "tcp:localhost:1", "numeric"},
        {"gable", "tcp:127.0.0.1", "numeric"},
        {"gable", "tcp:127.0.0.1:", "numeric"},
        {"gable", "tcp:127.0.0.1:65536", "a port from 0 to 65535"},
        {"gable", "tcp:127.0.0.1:70000", "a port from 0 to 65535"},
        {"gable", "tcp:127.0.0.1:4294967297", "a port from 0 to 65535"},
        {"gable", "tcp:127.0.0.1:-1", "a port from 0 to 65535"},
        {"gable", "tcp:127.0.0.1: 80", "a port from 0 to 65535"},
        {"gable", "unix:/no/such/folder/socket", "No such file"},
    };
    for (const auto &each : cases) {
        u_int32 err = 0;
        char text[200] = "";
        EXPECT_EQ(vela_channel_listen(each.domain, each.uri, nullptr, text, sizeof text, &err), nullptr);
        EXPECT_NE(err, 0u);
        EXPECT_NE(std::string(text).find(each.part), std::string::npos) << text;
    }
    vela_channel_options options = {};
    u_int32 err = 0;
    EXPECT_EQ(vela_channel_listen("gable", "inproc:x", &options, nullptr, 0, &err), nullptr) << "no size";
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EINVAL));
    channel_end too_long(&vela_channel_connect, "unix:/" + std::string(200, 'x'));
    EXPECT_EQ(too_long.open_error, static_cast<u_int32>(ENAMETOOLONG));
}

TEST(ChannelDomains, EachHaveTheirOwnHandlerAndDefaultPlace) {
    struct {
        const char *name;
        u_int32 (*register_handler)(vela_bundle_handler);
        u_int32 (*unregister_handler)(void);
        vela_bundle_handler handler;
    } const domains[] = {
        {"gable", gable_bundle_handler_register, gable_bundle_handler_unregister,
         [](vela_handle *, u_int32, const u_int8 *, u_int32, void *context) { *static_cast<int *>(context) += 1; }},
        {"wicket", wicket_bundle_handler_register, wicket_bundle_handler_unregister,
         [](vela_handle *, u_int32, const u_int8 *, u_int32, void *context) { *static_cast<int *>(context) += 10; }},
        {"skein", skein_bundle_handler_register, skein_bundle_handler_unregister,
         [](vela_handle *, u_int32, const u_int8 *, u_int32, void *context) { *static_cast<int *>(context) += 100; }},
        {"osprey", osprey_bundle_handler_register, osprey_bundle_handler_unregister,
         [](vela_handle *, u_int32, const u_int8 *, u_int32, void *context) { *static_cast<int *>(context) += 1000; }},
    };
    for (const auto &each : domains) {
        EXPECT_EQ(each.register_handler(each.handler), 0u);
    }
    int calls = 0;
    u_int32 err = 0;
    bytes message = make_message(1, 0);
    for (const auto &each : domains) {
        vela_channel *server = vela_channel_listen(each.name, nullptr, nullptr, nullptr, 0, &err);
        ASSERT_NE(server, nullptr);
        EXPECT_EQ(vela_channel_uri(server), "inproc:" + std::string(each.name));
        vela_channel *client = vela_channel_connect(each.name, nullptr, nullptr, nullptr, 0, &err);
        vela_channel_send(client, message.data(), static_cast<u_int32>(message.size()), &err);
        while (vela_channel_wait(server, 0) != 0) {
            vela_channel_process(server, nullptr, 0, &calls, 0, &err);
        }
        vela_channel_close(client, nullptr);
        vela_channel_close(server, nullptr);
        EXPECT_EQ(each.unregister_handler(), 0u);
    }
    EXPECT_EQ(calls, 1111);
    EXPECT_EQ(err, 0u);
}

TEST(InprocChannel, JoinsTwoThreads) {
    static constexpr size_t count = 20'000;
    channel_end server(&vela_channel_listen, "inproc:threads");
    std::thread sender([] {
        channel_end client(&vela_channel_connect, "inproc:threads");
        for (size_t sent = 0; sent < count || client.statistics().queued > 0;) {
            sent += sent < count && client.send(make_message(static_cast<u_int8>(sent), 7)) == 0 ? 1 : 0;
            if (client.statistics().queued > 0) {
                vela_channel_wait(client.channel, 100);
                client.process();
            }
        }
        EXPECT_EQ(client.statistics().sent, count);
    });
    EXPECT_TRUE(process_until({&server}, [&] { return server.received.size() == count; }));
    sender.join();
    for (size_t i = 0; i < count; ++i) {
        ASSERT_EQ(server.received[i].back(), static_cast<u_int8>(i));
    }
}

}  // namespace
