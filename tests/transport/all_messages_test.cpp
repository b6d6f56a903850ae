// Every message of the library between two programs, over every mechanism, also when one of them dies.
#include <random>

#include "peers.h"
#include "records.h"

namespace {

using test::bytes;
using test::channel_end;
using test::diary;
using test::process_until;

constexpr u_int32 no_end = 0xFFFFFFFFu;

// Each message of the library with a value in each field.
const std::vector<bytes> &all_messages() {
    static const std::vector<bytes> messages = [] {
        std::vector<bytes> result;
        ptp_cfg_test::test_handle handle;
        for (const ptp_cfg_test::record_type &type : ptp_cfg_test::record_types(PTP_CFG_MESSAGE)) {
            const auto message = type.create(handle);
            ptp_cfg_test::fill(type, handle, message.get(), ptp_cfg_test::filling::random);
            result.push_back(type.marshal(handle, message.get()));
        }
        return result;
    }();
    return messages;
}

bytes numbered(bytes message, u_int32 number) {
    test::put_u32(message, test::number_offset, number);
    return message;
}

bytes bundle_of(const std::vector<bytes> &messages) {
    test::handle_ptr handle = test::make_handle();
    u_int32 err = 0;
    vela_bundle *bundle = vela_bundle_open(handle.get(), 1, 1024 * 1024, &err);
    for (const bytes &message : messages) {
        std::copy(message.begin(), message.end(), vela_bundle_space(handle.get(), nullptr));
        vela_bundle_commit(handle.get(), static_cast<u_int32>(message.size()), &err);
    }
    const u_int8 *start = nullptr;
    u_int32 length = 0;
    vela_bundle_close(handle.get(), &start, &length, &err);
    EXPECT_EQ(err, 0u);
    bytes result(start, start + length);
    vela_bundle_destroy(bundle);
    return result;
}

struct setting {
    const char *mechanism;
    bool is_listener_mortal;  // else it is the connecting end that dies
};

class AllMessages : public testing::TestWithParam<setting> {
  protected:
    void SetUp() override {
        const std::string mechanism = GetParam().mechanism;
        uri = mechanism == "inproc" ? "inproc:all_messages" : mechanism == "unix" ? folder.uri() : "tcp:127.0.0.1:0";
        if (!GetParam().is_listener_mortal) {
            near = std::make_unique<channel_end>(&vela_channel_listen, uri);
            uri = near->uri();
        } else {
            uri = mechanism == "tcp" ? test::free_tcp_uri() : uri;
            near = std::make_unique<channel_end>(&vela_channel_connect, uri, test::quick_to_reconnect());
        }
        ASSERT_NE(near->channel, nullptr) << near->error_text;
    }

    std::unique_ptr<test::peer> start_peer(u_int32 most) const {
        const auto open = GetParam().is_listener_mortal ? &vela_channel_listen : &vela_channel_connect;
        const test::peer_task task = {open, uri, most, &notes};
        if (GetParam().mechanism == std::string("inproc")) {
            return std::make_unique<test::thread_peer>(task);
        }
        return std::make_unique<test::process_peer>(task);
    }

    // Sends every message once, each with the next number.
    void send_all() {
        for (const bytes &message : all_messages()) {
            u_int32 err = 0;
            EXPECT_TRUE(process_until({near.get()}, [&] {
                err = near->send(numbered(message, accepted + 1));
                return err != VELA_EAGAIN;
            }));
            ASSERT_EQ(err, 0u);
            ++accepted;
        }
    }

    // Accepted messages that no peer noted. Each was noted at most once, in order, and was understood.
    u_int32 missing() {
        const std::vector<u_int32> &numbers = notes.read_on();
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end(), std::less_equal<>()));
        EXPECT_TRUE(numbers.empty() || numbers.back() <= accepted) << "one was not understood";
        return accepted - static_cast<u_int32>(numbers.size());
    }

    bool last_is_noted() {
        return process_until({near.get()}, [&] {
            return !notes.read_on().empty() && notes.read_on().back() >= accepted && near->statistics().queued == 0;
        });
    }

    // What events told and counters count, which must agree.
    u_int32 reported() const {
        const vela_channel_statistics counted = near->statistics();
        const u_int32 told = near->told(VELA_CHANNEL_LOST) + near->told(VELA_CHANNEL_UNREAD);
        EXPECT_EQ(counted.lost + counted.unread, told);
        return told;
    }

    // What a killed peer sent arrived whole or not at all.
    void expect_whole_answers() const {
        for (const bytes &answer : near->received) {
            const u_int32 number = test::number_of(answer.data());
            ASSERT_EQ(answer, numbered(all_messages()[(number - 1) % all_messages().size()], number));
        }
        EXPECT_EQ(near->statistics().dropped, 0u);
    }

    test::temporary_folder folder;
    std::string uri;
    mutable diary notes;
    std::unique_ptr<channel_end> near;  // the end that lives
    u_int32 accepted = 0;
};

INSTANTIATE_TEST_SUITE_P(Mechanisms, AllMessages,
                         testing::Values(setting{"inproc", true}, setting{"inproc", false}, setting{"unix", true},
                                         setting{"unix", false}, setting{"tcp", true}, setting{"tcp", false}),
                         [](const auto &info) {
                             return std::string(info.param.mechanism) +
                                    (info.param.is_listener_mortal ? "_listener" : "_connector");
                         });

TEST_P(AllMessages, GoThereAndBackAloneAndInABundle) {
    const auto far = start_peer(no_end);
    std::vector<bytes> sent;
    for (const bytes &message : all_messages()) {
        sent.push_back(numbered(message, ++accepted));
        ASSERT_EQ(near->send(sent.back()), 0u);
    }
    ASSERT_TRUE(process_until({near.get()}, [&] { return near->received.size() == sent.size(); }));
    EXPECT_EQ(near->received, sent);
    for (bytes &message : sent) {
        message = numbered(message, ++accepted);
    }
    ASSERT_EQ(near->send(bundle_of(sent)), 0u);
    ASSERT_TRUE(process_until({near.get()}, [&] { return near->received.size() == 2 * sent.size(); }));
    EXPECT_EQ(
        std::vector<bytes>(near->received.begin() + static_cast<std::ptrdiff_t>(sent.size()), near->received.end()),
        sent);
    EXPECT_EQ(missing() + reported(), 0u);
}

TEST_P(AllMessages, AreReportedWhenAPeerIsKilledBeforeItReadThem) {
    constexpr u_int32 read_by_first = 20;
    {
        const auto first = start_peer(read_by_first);
        send_all();
        ASSERT_TRUE(process_until({near.get()}, [&] { return notes.read_on().size() == read_by_first; }));
        send_all();
    }
    const u_int32 accepted_by_first = accepted;
    ASSERT_TRUE(process_until({near.get()}, [&] { return near->statistics().peers == 0; }));
    send_all();  // while nobody is there
    const auto second = start_peer(no_end);
    ASSERT_TRUE(last_is_noted());
    EXPECT_GT(missing(), 0u);
    EXPECT_LE(missing(), reported());
    EXPECT_LE(reported(), accepted_by_first);
    EXPECT_EQ(near->told(VELA_CHANNEL_DISCONNECTED), 1u);
}

TEST_P(AllMessages, AreNotLostSilentlyHoweverOftenAPeerIsKilled) {
    constexpr u_int32 lives = 8;
    std::mt19937 random(1588);  // the same in each run
    for (u_int32 life = 0; life < lives; ++life) {
        const auto mortal = start_peer(no_end);
        send_all();
        const size_t enough = notes.read_on().size() + random() % (all_messages().size() / 2);
        EXPECT_TRUE(process_until({near.get()}, [&] { return notes.read_on().size() >= enough; }));
    }
    const auto last = start_peer(no_end);
    send_all();
    ASSERT_TRUE(last_is_noted());
    // A message that a peer had taken when it was killed, and not noted yet, was delivered.
    EXPECT_LE(missing(), reported() + lives);
    expect_whole_answers();
}

}  // namespace
