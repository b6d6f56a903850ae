// A NATS server of the test's own, on a loopback port that it chooses and keeps: started, killed, started again.
#pragma once

#include <gtest/gtest.h>
#include <nats/nats.h>
#include <signal.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "velalib.h"

namespace test {

using namespace std::chrono_literals;

inline bool wait_until(const std::function<bool()> &condition, std::chrono::milliseconds limit = 20s) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

class scratch_folder {
  public:
    scratch_folder() {
        char name[] = "/tmp/nats_test_XXXXXX";
        EXPECT_NE(mkdtemp(name), nullptr);
        path = name;
    }
    ~scratch_folder() { std::filesystem::remove_all(path); }
    scratch_folder(const scratch_folder &) = delete;
    scratch_folder &operator=(const scratch_folder &) = delete;

    std::string path;
};

class nats_server {
  public:
    // `more` is appended to the server's configuration.
    explicit nats_server(const std::string &more = "") {
        configure(more);
        start();
    }
    // For the next start.
    void configure(const std::string &more) {
        std::ofstream(folder_.path + "/server.conf") << "jetstream { store_dir: \"" << folder_.path << "/data\" }\n"
                                                     << "ping_interval: \"5s\"\n"
                                                     << more;
    }
    ~nats_server() { end(SIGKILL); }
    nats_server(const nats_server &) = delete;
    nats_server &operator=(const nats_server &) = delete;

    static bool is_installed() { return access(NATS_SERVER, X_OK) == 0; }

    void start() {
        std::filesystem::create_directories(folder_.path + "/ports");
        const std::string log = folder_.path + "/log", ports = folder_.path + "/ports",
                          conf = folder_.path + "/server.conf";
        const std::string listen = port_.empty() ? "-1" : port_;
        pid_ = fork();
        if (pid_ == 0) {
            execl(NATS_SERVER, NATS_SERVER, "-a", "127.0.0.1", "-p", listen.c_str(), "--ports_file_dir", ports.c_str(),
                  "-c", conf.c_str(), "-l", log.c_str(), static_cast<char *>(nullptr));
            _exit(127);
        }
        const std::string file = ports + "/nats-server_" + std::to_string(pid_) + ".ports";
        ASSERT_TRUE(wait_until([&] { return read_port(file); })) << "no port in " << file << "; see " << log;
    }
    void end(int signal) {
        if (pid_ > 0) {
            kill(pid_, signal);
            waitpid(pid_, nullptr, 0);
            pid_ = -1;
        }
    }
    // As a failure of power would, but for what the system has of its files.
    void kill_hard() { end(SIGKILL); }

    std::string address() const { return "127.0.0.1:" + port_; }
    std::string uri(const std::string &subject) const { return "nats://" + address() + "/" + subject; }
    std::string log() const {
        std::ifstream file(folder_.path + "/log");
        return {std::istreambuf_iterator<char>(file), {}};
    }

  private:
    bool read_port(const std::string &path) {
        std::ifstream file(path);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        const size_t at = text.find("127.0.0.1:");
        if (at == std::string::npos) {
            return false;
        }
        port_ = text.substr(at + 10, text.find('"', at) - at - 10);
        return true;
    }

    scratch_folder folder_;
    std::string port_;
    pid_t pid_ = -1;
};

// What a stream has, looked at by a client of the test's own.
class stream {
  public:
    stream(const nats_server &server, const std::string &subjects, const char *name = "TEST") : name_(name) {
        EXPECT_EQ(natsConnection_ConnectTo(&connection_, ("nats://" + server.address()).c_str()), NATS_OK);
        EXPECT_EQ(natsConnection_JetStream(&context_, connection_, nullptr), NATS_OK);
        const char *list[] = {subjects.c_str()};
        jsStreamConfig configuration;
        jsStreamConfig_Init(&configuration);
        configuration.Name = name;
        configuration.Subjects = list;
        configuration.SubjectsLen = 1;
        jsErrCode code = static_cast<jsErrCode>(0);
        EXPECT_TRUE(wait_until([&] {
            return js_AddStream(nullptr, context_, &configuration, nullptr, &code) == NATS_OK ||
                   js_UpdateStream(nullptr, context_, &configuration, nullptr, &code) == NATS_OK;
        })) << "no stream, error "
            << code;
    }
    ~stream() {
        jsCtx_Destroy(context_);
        natsConnection_Destroy(connection_);
    }
    stream(const stream &) = delete;
    stream &operator=(const stream &) = delete;

    u_int64 count() const {
        jsStreamInfo *info = nullptr;
        const bool is_there = js_GetStreamInfo(&info, context_, name_.c_str(), nullptr, nullptr) == NATS_OK;
        const u_int64 count = is_there ? info->State.Msgs : 0;
        jsStreamInfo_Destroy(info);
        return count;
    }

    // A durable consumer that waits for a confirmation no longer than given, where the usual are 30 s.
    void add_consumer(const char *name, int64_t wait_ms) {
        jsConsumerConfig configuration;
        jsConsumerConfig_Init(&configuration);
        configuration.Durable = name;
        configuration.AckPolicy = js_AckExplicit;
        configuration.AckWait = wait_ms * 1000 * 1000;
        EXPECT_EQ(js_AddConsumer(nullptr, context_, name_.c_str(), &configuration, nullptr, nullptr), NATS_OK);
    }

    struct entry {
        std::string subject, id, role;
        std::vector<u_int8> bytes;
    };
    // All of it, in the stream's order.
    std::vector<entry> entries() const {
        std::vector<entry> result;
        const u_int64 total = count();
        natsSubscription *subscription = nullptr;
        jsSubOptions options;
        jsSubOptions_Init(&options);
        options.Stream = name_.c_str();
        options.Ordered = true;
        EXPECT_EQ(js_SubscribeSync(&subscription, context_, ">", nullptr, &options, nullptr), NATS_OK);
        natsMsg *message = nullptr;
        while (result.size() < total && natsSubscription_NextMsg(&message, subscription, 5000) == NATS_OK) {
            const auto header = [&](const char *name) {
                const char *value = nullptr;
                natsMsgHeader_Get(message, name, &value);
                return std::string(value != nullptr ? value : "");
            };
            const char *data = natsMsg_GetData(message);
            result.push_back({natsMsg_GetSubject(message),
                              header("Nats-Msg-Id"),
                              header("Ptp-Role"),
                              {data, data + natsMsg_GetDataLength(message)}});
            natsMsg_Destroy(message);
        }
        natsSubscription_Destroy(subscription);
        return result;
    }
    // How often each id is there.
    std::map<std::string, int> ids() const {
        std::map<std::string, int> found;
        for (const entry &each : entries()) {
            ++found[each.id];
        }
        return found;
    }

  private:
    std::string name_;
    natsConnection *connection_ = nullptr;
    jsCtx *context_ = nullptr;
};

}  // namespace test
