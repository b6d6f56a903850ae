// Tokens and TLS, at both ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <microhttpd.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "agent/notification/files.h"
#include "consumer.h"
#include "producer.h"

namespace notification_test {
namespace {

using ptp_agent::notification::Configuration;
using ptp_agent::notification::file_text;
using testing::HasSubstr;
namespace files = std::filesystem;

const std::string base = "/ocloudNotifications/v2";
const std::string lock_state = "/cluster/node/du1/sync/ptp-status/lock-state";

/** An endpoint that speaks TLS and takes everything. */
class TlsConsumer {
  public:
    TlsConsumer(const std::string &certificate, const std::string &key)
        : daemon_(MHD_start_daemon(MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_TLS, 0, nullptr, nullptr, on_request, this,
                                   MHD_OPTION_HTTPS_MEM_CERT, certificate.c_str(), MHD_OPTION_HTTPS_MEM_KEY,
                                   key.c_str(), MHD_OPTION_END)) {}
    ~TlsConsumer() { MHD_stop_daemon(daemon_); }

    std::string endpoint() const {
        return "https://127.0.0.1:" + std::to_string(MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT)->port) +
               "/";
    }
    int taken() const { return taken_; }

  private:
    static MHD_Result on_request(void *cookie, MHD_Connection *connection, const char *, const char *, const char *,
                                 const char *, std::size_t *size, void **place) {
        if (*place == nullptr || *size > 0) {
            *place = cookie;
            *size = 0;
            return MHD_YES;
        }
        ++static_cast<TlsConsumer *>(cookie)->taken_;
        MHD_Response *response = MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT);
        const MHD_Result result = MHD_queue_response(connection, 204, response);
        MHD_destroy_response(response);
        return result;
    }

    std::atomic<int> taken_ = 0;
    MHD_Daemon *daemon_;
};

class Protected : public testing::Test {
  protected:
    Protected() : folder_(files::temp_directory_path() / ("protected_test." + std::to_string(getpid()))) {
        files::create_directories(folder_);
        make_certificate("good");
        configuration_.token_file = folder_ / "tokens";
        write("tokens", "# of the radio unit\nfirst-token\n\nsecond-token\n");
        configuration_.certificate_file = folder_ / "good.pem";
        configuration_.key_file = folder_ / "good.key";
        configuration_.limits.request = std::chrono::seconds(60);
        configuration_.limits.connect = configuration_.limits.delivery = std::chrono::seconds(60);
    }
    ~Protected() override { files::remove_all(folder_); }

    void write(const std::string &name, const std::string &text) const {
        ptp_agent::notification::replace_file(folder_ / name, text);
    }
    void make_certificate(const std::string &name) const {
        const std::string path = folder_ / name;
        const std::string command =
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 "
            "-subj /CN=test -addext subjectAltName=IP:127.0.0.1 -keyout " +
            path + ".key -out " + path + ".pem 2>/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
    HttpReply ask(const Producer &producer, const std::string &path, const std::string &token) const {
        return http("GET", producer.url(base + path), {}, {token, folder_ / "good.pem"});
    }
    std::string refusal() const {
        try {
            const Producer producer(configuration_);
        } catch (const std::runtime_error &error) {
            return error.what();
        }
        return "it started";
    }

    files::path folder_;
    Configuration configuration_ = quick_configuration();
};

TEST_F(Protected, AdmitsGoodTokensOnly) {
    const Producer producer(configuration_);
    EXPECT_EQ(ask(producer, "/subscriptions", "first-token").status, 200);
    EXPECT_EQ(ask(producer, "/subscriptions", "second-token").status, 200);
    for (const std::string token : {"", "first-toke", "first-token1", "First-token", "# of the radio unit", "x"}) {
        const HttpReply reply = ask(producer, "/subscriptions", token);
        EXPECT_EQ(reply.status, 401) << token;
        EXPECT_THAT(reply.header, HasSubstr("WWW-Authenticate: Bearer"));
    }
    EXPECT_EQ(ask(producer, "/health", "").status, 200) << "probes have no token";
    const std::string long_body(100000, ' ');
    EXPECT_EQ(http("POST", producer.url(base + "/subscriptions"), long_body, {"", folder_ / "good.pem"}).status, 401);

    write("tokens", "third-token\n");
    EXPECT_EQ(ask(producer, "/subscriptions", "first-token").status, 401);
    EXPECT_EQ(ask(producer, "/subscriptions", "third-token").status, 200);
    files::remove(folder_ / "tokens");
    EXPECT_EQ(ask(producer, "/subscriptions", "third-token").status, 401) << "without the file nobody is good";
}

TEST_F(Protected, SpeaksTlsAndNothingElse) {
    const Producer producer(configuration_);
    const HttpReply reply = ask(producer, "/publishers", "first-token");
    EXPECT_THAT(reply.json()[0].value("UriLocation", ""), testing::StartsWith("https://127.0.0.1:"));
    const std::string plain = "http://127.0.0.1:" + std::to_string(producer.port()) + base + "/health";
    EXPECT_EQ(http("GET", plain).status, 0);
    make_certificate("other");
    EXPECT_EQ(http("GET", producer.url(base + "/health"), {}, {"", folder_ / "other.pem"}).status, 0);
    EXPECT_EQ(ask(producer, "/health", "").status, 200);
}

TEST_F(Protected, TrustsHttpsConsumersByTheirCertificate) {
    make_certificate("consumer");
    int taken = 0;
    const auto subscribe_with = [&](const std::string &ca_file) {
        configuration_.consumer_ca_file = ca_file;
        Producer producer(configuration_);
        producer.set_state({});
        const TlsConsumer consumer(*file_text(folder_ / "consumer.pem"), *file_text(folder_ / "consumer.key"));
        const Json body{{"ResourceAddress", lock_state}, {"EndpointUri", consumer.endpoint()}};
        HttpReply reply =
            http("POST", producer.url(base + "/subscriptions"), body.dump(), {"first-token", folder_ / "good.pem"});
        taken = consumer.taken();
        return reply;
    };
    EXPECT_THAT(subscribe_with(folder_ / "good.pem").detail(), HasSubstr("certificate"));
    EXPECT_EQ(taken, 0);
    EXPECT_EQ(subscribe_with("").status, 400) << "the system does not know it";
    EXPECT_EQ(taken, 0);
    EXPECT_EQ(subscribe_with(folder_ / "consumer.pem").status, 201);
    EXPECT_EQ(taken, 1);
}

TEST_F(Protected, SaysWhyItDoesNotStart) {
    const Configuration good = configuration_;
    const auto with = [&](auto change) {
        configuration_ = good;
        change(configuration_);
        return refusal();
    };
    EXPECT_THAT(with([&](Configuration &c) { c.key_file.clear(); }), HasSubstr("go together"));
    EXPECT_THAT(with([&](Configuration &c) { c.key_file = folder_ / "none"; }), HasSubstr("key_file: "));
    EXPECT_THAT(with([&](Configuration &c) { c.key_file = c.token_file; }), HasSubstr("cannot be used"));
    EXPECT_THAT(with([&](Configuration &c) { c.token_file = folder_ / "none"; }), HasSubstr("token_file: "));
    EXPECT_THAT(with([&](Configuration &c) { c.node_name = "a/b"; }), HasSubstr("'a/b'"));
    EXPECT_THAT(with([&](Configuration &c) { c.listen_address = "localhost"; }), HasSubstr("is no"));
    EXPECT_THAT(with([&](Configuration &c) { c.consumer_networks = {"10.0.0.0/40"}; }), HasSubstr("10.0.0.0/40"));
    EXPECT_THAT(with([&](Configuration &c) { c.listen_address = "192.0.2.1"; }), HasSubstr("192.0.2.1 port"));
    EXPECT_THAT(with([&](Configuration &c) {
                    c.listen_address = "0.0.0.0";
                    c.token_file.clear();
                }),
                HasSubstr("allow_unprotected"));
    configuration_ = good;
    const Producer first(configuration_);
    configuration_.port = first.port();
    EXPECT_THAT(refusal(), HasSubstr("in use"));
}

}  // namespace
}  // namespace notification_test
