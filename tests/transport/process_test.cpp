// Channels between processes: credentials, socket files, and peers that end without warning.
#include "channel_end.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstring>

namespace {

using test::bytes;
using test::channel_end;
using test::make_message;
using test::process_until;

// A child that runs `body` and is killed, if it still runs, when the test is over.
class child_process {
  public:
    explicit child_process(const std::function<void()> &body) : pid_(fork()) {
        if (pid_ == 0) {
            alarm(20);
            body();
            _exit(testing::Test::HasFailure() ? 1 : 0);
        }
    }
    ~child_process() { end(SIGKILL); }
    child_process(const child_process &) = delete;
    child_process &operator=(const child_process &) = delete;

    void send(int signal) { kill(pid_, signal); }
    // Sends a signal (0: none) and waits. Returns the exit status, or minus the signal that ended it.
    int end(int signal) {
        int status = 0;
        if (pid_ <= 0) {
            return 0;
        }
        if (signal != 0) {
            kill(pid_, signal);
        }
        waitpid(std::exchange(pid_, 0), &status, 0);
        return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }

  private:
    pid_t pid_;
};

// Answers each message with itself until it is killed.
void echo(const std::string &uri) {
    channel_end server(&vela_channel_listen, uri);
    server.on_message = [](channel_end &end, const bytes &message) {
        u_int32 err = 0;
        vela_channel_reply(end.channel, message.data(), static_cast<u_int32>(message.size()), &err);
    };
    process_until({&server}, [] { return false; });
}

class Process : public testing::TestWithParam<const char *> {
  protected:
    // A place to listen that another process can be told of.
    std::string listen_uri() const {
        if (GetParam() == std::string("unix")) {
            return folder.uri();
        }
        return test::free_tcp_uri();
    }
    test::temporary_folder folder;
};

INSTANTIATE_TEST_SUITE_P(Mechanisms, Process, testing::Values("unix", "tcp"),
                         [](const auto &info) { return std::string(info.param); });

TEST_P(Process, SurvivesAPeerThatIsKilledAndStartedAgain) {
    const std::string uri = listen_uri();
    channel_end client(&vela_channel_connect, uri);
    size_t answered = 0;
    for (int life = 0; life < 3; ++life) {
        child_process server([&] { echo(uri); });
        for (u_int8 i = 0; i < 50; ++i) {
            ASSERT_EQ(client.send(make_message(i, 10)), 0u);
        }
        answered += 50;
        ASSERT_TRUE(process_until({&client}, [&] { return client.received.size() == answered; })) << life;
        EXPECT_EQ(server.end(SIGKILL), -SIGKILL);
        ASSERT_TRUE(process_until({&client}, [&] { return client.statistics().peers == 0; }));
    }
    EXPECT_EQ(client.statistics().reconnects, 2u);
    EXPECT_EQ(client.statistics().lost, 0u);
    if (GetParam() == std::string("unix")) {  // the system knows; a TCP peer may not have come to confirm it
        EXPECT_EQ(client.statistics().unread, 0u) << "everything had been answered";
    }
}

TEST_P(Process, ReportsWhatAKilledPeerDidNotRead) {
    const std::string uri = listen_uri();
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    child_process server([&] {
        channel_end stalled(&vela_channel_listen, uri);
        process_until({&stalled}, [&] { return stalled.received.size() == 5; });
        EXPECT_EQ(write(ready[1], "x", 1), 1);
        pause();
    });
    channel_end client(&vela_channel_connect, uri);
    for (u_int8 i = 0; i < 5; ++i) {
        ASSERT_EQ(client.send(make_message(i, 10)), 0u);
    }
    ASSERT_TRUE(process_until({&client}, [&] { return client.statistics().sent == 5; }));
    char x;
    ASSERT_EQ(read(ready[0], &x, 1), 1);
    client.process();  // what was read so far is known to be read
    usleep(20'000);
    client.process();
    for (u_int8 i = 0; i < 7; ++i) {
        ASSERT_EQ(client.send(make_message(i, 10)), 0u);
    }
    EXPECT_EQ(client.statistics().sent, 12u);
    server.end(SIGKILL);
    ASSERT_TRUE(process_until({&client}, [&] { return client.statistics().peers == 0; }));
    EXPECT_GE(client.statistics().unread, 7u);
    EXPECT_LE(client.statistics().unread, 12u);
    EXPECT_EQ(client.told(VELA_CHANNEL_UNREAD), client.statistics().unread);
    close(ready[0]);
    close(ready[1]);
}

TEST_P(Process, NeverBlocksOnAPeerThatIsStopped) {
    const std::string uri = listen_uri();
    child_process server([&] { echo(uri); });
    vela_channel_options options = {};
    options.queue_messages = 20;
    options.max_message = options.socket_buffer = 50'000;
    channel_end client(&vela_channel_connect, uri, options);
    client.send(make_message(0, 0));
    ASSERT_TRUE(process_until({&client}, [&] { return client.received.size() == 1; }));
    server.send(SIGSTOP);
    auto start = std::chrono::steady_clock::now();
    u_int32 accepted = 0;
    while (client.send(make_message(1, 40'000)) == 0 && accepted < 10'000) {
        ++accepted;
        client.process();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(client.statistics().refused, 1u);
    server.send(SIGCONT);
    EXPECT_TRUE(process_until({&client}, [&] { return client.received.size() == accepted + 1; }));
}

// ---- socket files -----------------------------------------------------------------------------------------------

class UnixSocket : public testing::Test {
  protected:
    int mode() const {
        struct stat found = {};
        return lstat(folder.socket().c_str(), &found) == 0 ? static_cast<int>(found.st_mode) : -1;
    }
    int raw_connection() const {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        folder.socket().copy(address.sun_path, sizeof address.sun_path - 1);
        int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        return fd;
    }
    test::temporary_folder folder;
};

TEST_F(UnixSocket, FileOfAKilledListenerIsReplacedAndThatOfALiveOneKept) {
    child_process server([&] { echo(folder.uri()); });
    channel_end client(&vela_channel_connect, folder.uri());
    client.send(make_message(1, 0));
    ASSERT_TRUE(process_until({&client}, [&] { return client.received.size() == 1; }));
    {
        channel_end second(&vela_channel_listen, folder.uri());
        EXPECT_EQ(second.open_error, static_cast<u_int32>(VELA_EADDRINUSE));
    }
    server.end(SIGKILL);
    ASSERT_NE(mode(), -1) << "a killed listener leaves its file";
    channel_end third(&vela_channel_listen, folder.uri());
    EXPECT_EQ(third.open_error, 0u) << third.error_text;
    third.close();
    EXPECT_EQ(mode(), -1) << "closing removes the file";
}

TEST_F(UnixSocket, NeverReplacesAnotherFile) {
    int fd = open(folder.socket().c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    EXPECT_EQ(write(fd, "precious", 8), 8);
    close(fd);
    {
        channel_end server(&vela_channel_listen, folder.uri());
        EXPECT_EQ(server.open_error, static_cast<u_int32>(VELA_EADDRINUSE));
        EXPECT_NE(server.error_text.find("no socket"), std::string::npos) << server.error_text;
    }
    EXPECT_TRUE(S_ISREG(mode()));
}

TEST_F(UnixSocket, DoesNotRemoveTheFileOfItsSuccessor) {
    channel_end first(&vela_channel_listen, folder.uri());
    unlink(folder.socket().c_str());
    channel_end second(&vela_channel_listen, folder.uri());
    first.close();
    EXPECT_TRUE(S_ISSOCK(mode()));
}

TEST_F(UnixSocket, HasTheModeThatWasAskedFor) {
    mode_t before = umask(077);
    for (u_int32 wanted : {0u, 0660u, 0666u}) {
        vela_channel_options options = {};
        options.socket_mode = wanted;
        channel_end server(&vela_channel_listen, folder.uri(), options);
        EXPECT_EQ(static_cast<u_int32>(mode()) & 0777u, wanted != 0 ? wanted : 0600u);
    }
    umask(before);
}

TEST_F(UnixSocket, OnlyOneOfManyThatStartAtOnceListens) {
    child_process left([&] {
        channel_end killed(&vela_channel_listen, folder.uri());
        raise(SIGKILL);
    });
    left.end(0);
    int winners[2];
    ASSERT_EQ(pipe(winners), 0);
    {
        std::vector<std::unique_ptr<child_process>> starters;
        starters.reserve(8);
        for (int i = 0; i < 8; ++i) {
            starters.push_back(std::make_unique<child_process>([&] {
                channel_end server(&vela_channel_listen, folder.uri());
                EXPECT_EQ(write(winners[1], server.channel != nullptr ? "w" : "l", 1), 1);
                pause();
            }));
        }
        std::string results;
        char result;
        while (results.size() < 8 && read(winners[0], &result, 1) == 1) {
            results += result;
        }
        EXPECT_EQ(std::count(results.begin(), results.end(), 'w'), 1) << results;
    }
    close(winners[0]);
    close(winners[1]);
}

TEST_F(UnixSocket, WaitsForADescriptorWithoutTurningInCircles) {
    channel_end server(&vela_channel_listen, folder.uri());
    channel_end client(&vela_channel_connect, folder.uri());
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    int lowest_free = dup(STDIN_FILENO);
    close(lowest_free);
    rlimit none_left = {static_cast<rlim_t>(lowest_free), before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none_left);
    int turns = 0;
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(250);
    while (std::chrono::steady_clock::now() < end) {
        turns += static_cast<int>(vela_channel_wait(server.channel, 50));
        server.process();
    }
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_LT(turns, 20);
    EXPECT_EQ(server.statistics().connects, 0u);
    EXPECT_TRUE(process_until({&server, &client}, [&] { return server.statistics().peers == 1; }));
}

// ---- peers of other users, and hostile ones -----------------------------------------------------------------------

// Connects as another user, sends one message and stays for a while.
void connect_as_nobody(const std::string &uri) {
    EXPECT_EQ(setuid(65534), 0);
    vela_channel_options options = {};
    options.allow_other_users = 1;
    channel_end client(&vela_channel_connect, uri, options);
    client.send(make_message(1, 0));
    process_until({&client}, [&] { return client.statistics().disconnects > 0; });
}

TEST_F(UnixSocket, AdmitsPeersOfOtherUsersOnlyWhenTold) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can start a peer of another user";
    }
    chmod(folder.path.c_str(), 0755);
    for (u_int32 allowed : {0u, 1u}) {
        vela_channel_options options = {};
        options.socket_mode = 0666;
        options.allow_other_users = allowed;
        channel_end server(&vela_channel_listen, folder.uri(), options);
        child_process stranger([&] { connect_as_nobody(folder.uri()); });
        EXPECT_TRUE(
            process_until({&server}, [&] { return server.received.size() + server.statistics().refused_peers > 0; }));
        EXPECT_EQ(server.received.size(), allowed);
        EXPECT_EQ(server.told(VELA_CHANNEL_REFUSED) > 0, allowed == 0);
    }
}

TEST_F(UnixSocket, IsNotConnectedToAListenerOfAnotherUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can start a listener of another user";
    }
    chmod(folder.path.c_str(), 0777);
    child_process impostor([&] {
        EXPECT_EQ(setuid(65534), 0);
        echo(folder.uri());
    });
    channel_end client(&vela_channel_connect, folder.uri());
    client.send(make_message(1, 0));
    EXPECT_TRUE(process_until({&client}, [&] { return client.told(VELA_CHANNEL_REFUSED) > 0; }));
    EXPECT_EQ(client.statistics().sent, 0u);
    EXPECT_EQ(client.statistics().queued, 1u);
}

TEST_F(UnixSocket, OutlastsAHostilePeer) {
    vela_channel_options options = {};
    options.max_message = 1000;
    channel_end server(&vela_channel_listen, folder.uri(), options);
    const std::vector<bytes> packets = {
        {0x00},
        {0xBC},
        bytes(999, 0xBC),
        bytes(70'000, 0x77),
        {'V', 'B', 'N', 'D', 1},
        {0x01},                             // a first part without a length
        {0x01, 0, 0, 0, 0, 7},              // of a message without a length
        {0x01, 0xFF, 0xFF, 0xFF, 0xFF, 7},  // of a message that is too long
        {0x02, 7, 7},                       // and a part of it
        {0x01, 0, 0, 0, 9, 7},
        bytes(50, 0x02),  // more parts than announced
        {0x02},
        {0x02, 1},
        {0x01, 0, 0, 0, 50, 7},
    };
    int fd = raw_connection();
    for (const bytes &packet : packets) {
        EXPECT_EQ(send(fd, packet.data(), packet.size(), MSG_NOSIGNAL), static_cast<ssize_t>(packet.size()));
    }
    bytes good = make_message(5, 5);
    EXPECT_EQ(send(fd, good.data(), good.size(), MSG_NOSIGNAL), static_cast<ssize_t>(good.size()));
    EXPECT_TRUE(process_until({&server}, [&] { return server.received.size() == 1; }));
    EXPECT_EQ(server.received.front(), good);
    EXPECT_GE(server.statistics().dropped, 10u);
    shutdown(fd, SHUT_RD);  // takes nothing any more, and does not go
    EXPECT_EQ(server.send(good), 0u);
    EXPECT_TRUE(process_until({&server}, [&] { return server.statistics().peers == 0; }));
    close(fd);
}

TEST(TcpSocket, OutlastsAHostilePeer) {
    vela_channel_options options = {};
    options.max_message = 1000;
    channel_end server(&vela_channel_listen, "tcp:127.0.0.1:0", options);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(std::stoi(server.uri().substr(server.uri().rfind(':') + 1))));
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);

    bytes stream = {0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0x80, 0, 0, 0, 0, 0, 0x40, 0};  // the last: 16384 follow
    stream.insert(stream.end(), 16'384, 0xBC);
    bytes good = make_message(5, 5);
    stream.insert(stream.end(), {0, 0, 0, static_cast<u_int8>(good.size())});
    stream.insert(stream.end(), good.begin(), good.end());
    stream.insert(stream.end(), {0, 0, 0, 48, 0xBC});  // and an end in the middle
    for (size_t at = 0; at < stream.size();) {
        size_t piece = std::min<size_t>(stream.size() - at, at < 40 ? 1 : 1000);
        ASSERT_EQ(send(fd, stream.data() + at, piece, MSG_NOSIGNAL), static_cast<ssize_t>(piece));
        at += piece;
        server.process();
    }
    EXPECT_TRUE(process_until({&server}, [&] { return server.received.size() == 1; }));
    EXPECT_EQ(server.received.front(), good);
    EXPECT_EQ(server.statistics().dropped, 2u);
    close(fd);
    EXPECT_TRUE(process_until({&server}, [&] { return server.statistics().peers == 0; }));
}

}  // namespace
