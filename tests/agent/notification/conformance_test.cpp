// The API as a consumer sees it: addresses, answers and events.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "consumer.h"
#include "producer.h"

namespace notification_test {
namespace {

using ptp_agent::notification::MemberSpelling;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

const std::string base = "/ocloudNotifications/v2";
const std::string lock_state = "/cluster/node/du1/sync/ptp-status/lock-state";

class Conformance : public testing::Test {
  protected:
    Conformance() { producer_.set_state({}); }

    HttpReply get(const std::string &path) { return http("GET", producer_.url(base + path)); }
    HttpReply subscribe_to(const std::string &resource, const std::string &endpoint) {
        return subscribe(producer_.url(base + "/subscriptions"), resource, endpoint);
    }

    Producer producer_{quick_configuration()};
    Consumer consumer_;
};

TEST_F(Conformance, SubscribesShowsAndEndsASubscription) {
    const HttpReply created = subscribe_to(lock_state, consumer_.endpoint());
    ASSERT_EQ(created.status, 201) << created.text;
    const Json subscription = created.json();
    const std::string id = subscription["SubscriptionId"];
    EXPECT_TRUE(
        std::regex_match(id, std::regex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}")));
    EXPECT_EQ(subscription["ResourceAddress"], lock_state);
    EXPECT_EQ(subscription["EndpointUri"], consumer_.endpoint());

    EXPECT_EQ(http("GET", subscription["UriLocation"]).json(), subscription) << "its location leads to it";
    EXPECT_EQ(get("/subscriptions").json(), Json::array({subscription}));
    EXPECT_EQ(http("DELETE", subscription["UriLocation"]).status, 204);
    EXPECT_EQ(http("DELETE", subscription["UriLocation"]).status, 404);
    EXPECT_EQ(get("/subscriptions/" + id).status, 404);

    producer_.set_state({.ptp = "FREERUN"});
    EXPECT_EQ(producer_.statistics().events.delivered, 1u) << "the first event only";
}

TEST_F(Conformance, SendsTheCurrentStateAtOnceAndEachChangeOnce) {
    ASSERT_EQ(subscribe_to(lock_state, consumer_.endpoint("/my/path")).status, 201);
    ASSERT_EQ(consumer_.received().size(), 1u) << "before the subscription is answered";
    producer_.set_state({.clock_class = 7, .offset_ns = 3});  // nothing new of the lock state
    producer_.set_state({.ptp = "HOLDOVER", .offset_ns = -12.5});
    ASSERT_TRUE(consumer_.wait_for(2));

    const Received first = consumer_.received()[0];
    const Received second = consumer_.received()[1];
    EXPECT_EQ(first.path, "/my/path");
    EXPECT_THAT(first.header, HasSubstr("Content-Type: application/cloudevents+json"));
    EXPECT_EQ(first.value(), "LOCKED");
    EXPECT_EQ(second.event["specversion"], "1.0");
    EXPECT_EQ(second.event["source"], lock_state);
    EXPECT_EQ(second.event["type"], "event.sync.ptp-status.ptp-state-change");
    EXPECT_TRUE(std::regex_match(second.event["time"].get<std::string>(),
                                 std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{9}Z)")));
    EXPECT_NE(first.event["id"], second.event["id"]);
    EXPECT_EQ(second.event["data"], Json::parse(R"({"version": "1.0", "values": [
        {"ResourceAddress": "/cluster/node/du1/sync/ptp-status/lock-state",
         "data_type": "notification", "value_type": "enumeration", "value": "HOLDOVER"},
        {"ResourceAddress": "/cluster/node/du1/sync/ptp-status/lock-state",
         "data_type": "metric", "value_type": "decimal64.3", "value": "-12.5"}]})"));
}

TEST_F(Conformance, UnderstandsEveryWayToNameAResource) {
    ASSERT_EQ(subscribe_to(lock_state, consumer_.endpoint()).status, 201);
    for (const std::string address : {"/cluster/node/./sync/ptp-status/lock-state", "/././sync/ptp-status/lock-state",
                                      "/./du1/sync/ptp-status/lock-state", "cluster/du1/sync/ptp-status/lock-state/",
                                      "/cluster/node/sync/ptp-status/lock-state", "/du1/sync/ptp-status/lock-state"}) {
        EXPECT_EQ(subscribe_to(address, consumer_.endpoint()).status, 409) << address << " is the same resource";
        for (const std::string &prefix : {base, "/api" + base}) {
            const HttpReply state = http("GET", producer_.url(prefix + "/" + address + "/CurrentState"));
            EXPECT_EQ(state.json()["source"], lock_state) << prefix << address << ": " << state.text;
        }
    }
    for (const std::string address :
         {"/cluster/node/other/sync", "/cluster/node/du1/sync/ptp", "/sync/sync-state", "", "/",
          "/cluster/node/du1/sync/ptp-status/lock-state/more", "/cluster/node/du1/sync/gnss-status/gnss-sync-status"}) {
        EXPECT_EQ(subscribe_to(address, consumer_.endpoint()).status, 404) << address;
    }
    EXPECT_EQ(get("/subscriptions").json().size(), 1u);
}

TEST_F(Conformance, TakesAParentForAllBelowIt) {
    ASSERT_EQ(subscribe_to("/cluster/node/du1/sync", consumer_.endpoint()).status, 201);
    ASSERT_TRUE(consumer_.wait_for(4));
    producer_.set_state({.ptp = "HOLDOVER", .clock_class = 7, .os_clock = "FREERUN"});
    ASSERT_TRUE(consumer_.wait_for(8));
    std::vector<std::string> changes;
    for (std::size_t nth = 4; nth < 8; ++nth) {
        changes.push_back(consumer_.received()[nth].type() + "=" + consumer_.received()[nth].value());
    }
    EXPECT_THAT(changes, UnorderedElementsAre("event.sync.sync-status.synchronization-state-change=FREERUN",
                                              "event.sync.sync-status.os-clock-sync-state-change=FREERUN",
                                              "event.sync.ptp-status.ptp-state-change=HOLDOVER",
                                              "event.sync.ptp-status.ptp-clock-class-change=7"));
    EXPECT_EQ(get("/cluster/node/du1/sync/ptp-status/CurrentState").json().size(), 2u);
}

TEST_F(Conformance, AnswersWhatItCannotDoWithTheRightStatus) {
    const std::string subscriptions = producer_.url(base + "/subscriptions");
    EXPECT_EQ(http("GET", producer_.url("/ocloudNotifications/v1/subscriptions")).status, 404);
    EXPECT_EQ(http("GET", producer_.url("/ocloudNotifications/v2x/health")).status, 404);
    EXPECT_EQ(get("/CurrentState").status, 404);
    const HttpReply put = http("PUT", subscriptions, "{}");
    EXPECT_EQ(put.status, 405);
    EXPECT_THAT(put.header, HasSubstr("Allow: GET, POST, DELETE"));
    EXPECT_EQ(get("/health").json()["status"], "OK");
    EXPECT_EQ(get("/publishers").json().size(), 4u);
    for (const Json &publisher : get("/publishers").json()) {
        EXPECT_EQ(http("GET", publisher["UriLocation"]).json()["type"], publisher["type"]);
    }
    ASSERT_EQ(subscribe_to(lock_state, consumer_.endpoint("/a")).status, 201);
    ASSERT_EQ(subscribe_to(lock_state, consumer_.endpoint("/b")).status, 201);
    EXPECT_EQ(subscribe_to(lock_state, consumer_.endpoint("/a")).status, 409);
    EXPECT_EQ(http("DELETE", subscriptions).status, 204);
    EXPECT_EQ(http("GET", subscriptions).text, "[]");
}

TEST_F(Conformance, ClaimsNothingThatIsNotKnown) {
    producer_.set_state({.ptp = "", .clock_class = -1, .os_clock = "LOCKED"});
    EXPECT_EQ(get(lock_state + "/CurrentState").status, 404);
    EXPECT_EQ(get("/cluster/node/du1/sync/sync-status/sync-state/CurrentState").status, 404) << "PTP may be worse";
    producer_.set_state({.ptp = "", .clock_class = -1, .os_clock = "FREERUN"});
    EXPECT_THAT(get("/cluster/node/du1/sync/sync-status/sync-state/CurrentState").text, HasSubstr("FREERUN"));

    ASSERT_EQ(subscribe_to(lock_state, consumer_.endpoint()).status, 201);
    producer_.set_state({});
    ASSERT_TRUE(consumer_.wait_for(2));
    producer_.set_state({.ptp = "", .clock_class = -1});
    ASSERT_TRUE(consumer_.wait_for(3));
    EXPECT_EQ(consumer_.received()[0].event["data"]["values"], Json::array());
    EXPECT_EQ(consumer_.received()[1].value(), "LOCKED");
    EXPECT_EQ(consumer_.received()[2].event["data"]["values"], Json::array()) << "what was LOCKED is so no more";
}

TEST(Configured, ServesGnssAndTheOtherSpellingWhereToldTo) {
    auto configuration = quick_configuration();
    configuration.gnss = true;
    configuration.os_clock = false;
    configuration.cluster_name = "site7";
    configuration.spelling = MemberSpelling::Camel;
    Producer producer(configuration);
    producer.set_state({.os_clock = "", .gnss = "SYNCHRONIZED"});
    const auto value = [&producer](const std::string &resource) {
        return http("GET", producer.url(base + "/site7/node/du1/sync/" + resource + "/CurrentState"))
            .json()["data"]["values"][0];
    };
    EXPECT_EQ(value("gnss-status/gnss-sync-status"),
              Json::parse(R"({"resource": "/site7/node/du1/sync/gnss-status/gnss-sync-status",
                  "dataType": "notification", "valueType": "enumeration", "value": "SYNCHRONIZED"})"));
    EXPECT_EQ(value("sync-status/sync-state")["value"], "LOCKED") << "of PTP alone";
    EXPECT_EQ(value("sync-status/os-clock-sync-state"), Json());
}

}  // namespace
}  // namespace notification_test
