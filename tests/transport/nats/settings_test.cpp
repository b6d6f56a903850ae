// What a nats: URI may say, and what a wrong one is told.
#include "settings.h"

#include <gmock/gmock.h>

using vela::nats::read_settings;
using vela::nats::settings;

namespace {

struct result {
    bool is_right;
    settings values;
    std::string reason;
};

result read(const std::string &rest, bool listens) {
    result out = {};
    base::failure why;
    out.is_right = read_settings({rest.c_str(), listens ? 1u : 0u, 1024, nullptr}, out.values, why);
    out.reason = why.text;
    return out;
}

TEST(NatsUri, NamesServersSubjectAndOptions) {
    const result sends =
        read("//a:1,[::1]:2/ptp.tower7.0.{message}?store=/var%20lib&store_bytes=2G&receive=cmd.>", false);
    ASSERT_TRUE(sends.is_right) << sends.reason;
    EXPECT_EQ(sends.values.servers, "nats://a:1,nats://[::1]:2");
    EXPECT_EQ(sends.values.send, "ptp.tower7.0.{message}");
    EXPECT_EQ(sends.values.receive, "cmd.>");
    EXPECT_EQ(sends.values.store, "/var lib");
    EXPECT_EQ(sends.values.store_bytes, 2ull << 30);
    const result listens = read("//a:1/ptp.*.0.>?durable=page&deliver=last", true);
    ASSERT_TRUE(listens.is_right) << listens.reason;
    EXPECT_EQ(listens.values.receive, "ptp.*.0.>");
    EXPECT_TRUE(listens.values.send.empty());
}

TEST(NatsUri, TakesWhatItDoesNotSayFromTheEnvironment) {
    setenv("VELA_NATS_STORE", "/from/environment", 1);
    setenv("VELA_NATS_CA", "/ca.pem", 1);
    const result plain = read("//a:1/x", false);
    const result own = read("//a:1/x?store=/own", false);
    setenv("VELA_NATS_STORE_BYTES", "many", 1);
    const result wrong = read("//a:1/x", false);
    for (const char *name : {"VELA_NATS_STORE", "VELA_NATS_CA", "VELA_NATS_STORE_BYTES"}) {
        unsetenv(name);
    }
    EXPECT_EQ(plain.values.store, "/from/environment");
    EXPECT_TRUE(plain.values.has_tls);
    EXPECT_EQ(own.values.store, "/own");
    EXPECT_THAT(wrong.reason, testing::HasSubstr("VELA_NATS_STORE_BYTES=many: bytes"));
}

TEST(NatsUri, SaysWhatIsWrong) {
    constexpr struct {
        const char *rest;
        bool listens;
        const char *reason;
    } cases[] = {
        {"a:1/x", false, "use nats://HOST:PORT/SUBJECT"},
        {"//a:1", false, "use nats://HOST:PORT/SUBJECT"},
        {"//a/x", false, "'a': HOST:PORT is wanted"},
        {"//a:99999/x", false, "HOST:PORT is wanted"},
        {"//me:secret@a:1/x", false, "others can read a URI"},
        {"//a:1/", false, "'' is no subject to send to"},
        {"//a:1/x..y", false, "is no subject"},
        {"//a:1/x.>", false, "is no subject to send to"},
        {"//a:1/x.{clock}", false, "{message} is the message's name"},
        {"//a:1/>.x", true, "is no subject to listen to"},
        {"//a:1/x?stor=/tmp", false, "there is no option 'stor': use send, receive"},
        {"//a:1/x?window=0", false, "window=0: a number from 1 to 65536"},
        {"//a:1/x?store_bytes=99999999999G", false, "store_bytes=99999999999G: bytes"},
        {"//a:1/x?cert=/c", false, "cert and key belong together"},
        {"//a:1/x?user=me", false, "user and password_file belong together"},
        {"//a:1/x?durable=d", false, "name a subject by receive"},
        {"//a:1/x?durable=a.b", true, "a name without dots"},
        {"//a:1/x?store=%4", false, "OPTION=VALUE is wanted"},
    };
    for (const auto &each : cases) {
        const result outcome = read(each.rest, each.listens);
        EXPECT_FALSE(outcome.is_right) << each.rest;
        EXPECT_THAT(outcome.reason, testing::HasSubstr(each.reason)) << each.rest;
    }
}

}  // namespace
