// Consumers that come and go: what each is sent, in which order, and when it is given up.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "agent/notification/files.h"
#include "consumer.h"
#include "producer.h"

namespace notification_test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
namespace files = std::filesystem;

const std::string subscriptions_path = "/ocloudNotifications/v2/subscriptions";
const std::string sync = "/cluster/node/du1/sync";
const std::string lock_state = sync + "/ptp-status/lock-state";
const std::string clock_class = sync + "/ptp-status/clock-class";

HttpReply subscribe_to(const Producer &producer, const std::string &resource, const std::string &endpoint) {
    return subscribe(producer.url(subscriptions_path), resource, endpoint);
}

std::vector<std::string> values(const Consumer &consumer) {
    std::vector<std::string> values;
    for (const Received &received : consumer.received()) {
        values.push_back(received.value());
    }
    return values;
}

class Delivery : public testing::Test {
  protected:
    Delivery() : folder_(files::temp_directory_path() / ("notification_test." + std::to_string(getpid()))) {
        files::create_directories(folder_);
        configuration_.state_file = folder_ / "subscriptions.json";
    }
    ~Delivery() override { files::remove_all(folder_); }

    files::path folder_;
    ptp_agent::notification::Configuration configuration_ = quick_configuration();
};

TEST_F(Delivery, RefusesAnEndpointThatDoesNotTakeItsFirstEvent) {
    configuration_.limits.delivery = 3s;
    Producer producer(configuration_);
    producer.set_state({});
    std::uint16_t free_port = 0;
    {
        const Consumer gone;
        free_port = gone.port();
    }
    const HttpReply nobody = subscribe_to(producer, lock_state, "http://127.0.0.1:" + std::to_string(free_port));
    EXPECT_EQ(nobody.status, 400);
    EXPECT_THAT(nobody.detail(), HasSubstr("connect to server"));

    const auto refusal_of = [&producer](const Reply &reply) {
        const Consumer consumer([reply](const Received &, std::size_t) { return reply; });
        const HttpReply answer = subscribe_to(producer, lock_state, consumer.endpoint());
        EXPECT_EQ(answer.status, 400);
        EXPECT_EQ(consumer.received().size(), 1u) << "a stranger is tried once";
        return answer.detail();
    };
    EXPECT_THAT(refusal_of({.status = 500}), HasSubstr("500"));
    EXPECT_THAT(refusal_of({.vanish = true}), HasSubstr("Empty reply"));
    EXPECT_THAT(refusal_of({.delay_ms = 20000}), HasSubstr("timed out"));
    const Consumer elsewhere;
    EXPECT_THAT(refusal_of({.status = 307, .header = "Location: " + elsewhere.endpoint() + "\r\n"}), HasSubstr("307"));
    EXPECT_TRUE(elsewhere.received().empty()) << "redirections are not followed";
    EXPECT_EQ(http("GET", producer.url(subscriptions_path)).text, "[]");
    EXPECT_EQ(producer.statistics().subscriptions, 0u);
}

TEST_F(Delivery, ReadsNoAnswerWithoutEnd) {
    configuration_.limits.delivery = 60s;
    Producer producer(configuration_);
    const Consumer talkative([](const Received &received, std::size_t) {
        return Reply{.status = received.path == "/good" ? 200 : 404, .endless_body = true};
    });
    const HttpReply refused = subscribe_to(producer, lock_state, talkative.endpoint("/bad"));
    EXPECT_THAT(refused.detail(), HasSubstr("more than 65536 bytes"));
    EXPECT_EQ(subscribe_to(producer, lock_state, talkative.endpoint("/good")).status, 201) << "it has the event";
}

TEST_F(Delivery, AnswersOthersWhileAnEndpointThinks) {
    Producer producer(configuration_);
    producer.set_state({});
    const Consumer slow([](const Received &, std::size_t) { return Reply{.delay_ms = 5000}; });
    long subscribed = 0;
    std::thread subscriber([&] { subscribed = subscribe_to(producer, lock_state, slow.endpoint()).status; });
    ASSERT_TRUE(slow.wait_for(1));
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(http("GET", producer.url("/ocloudNotifications/v2/health")).status, 200);
    EXPECT_EQ(http("GET", producer.url(subscriptions_path)).text, "[]") << "it is not subscribed yet";
    EXPECT_EQ(subscribe_to(producer, lock_state, slow.endpoint()).status, 409) << "but is about to be";
    EXPECT_LT(std::chrono::steady_clock::now() - before, 4s);
    subscriber.join();
    EXPECT_EQ(subscribed, 201);
}

TEST_F(Delivery, KeepsTheOrderOverFailuresAndTriesUntilItIsTaken) {
    Producer producer(configuration_);
    producer.set_state({.clock_class = 1});
    const Consumer moody([](const Received &, std::size_t nth) {
        return nth % 3 == 1 ? Reply{.status = 503} : nth % 3 == 2 ? Reply{.vanish = true} : Reply{};
    });
    ASSERT_EQ(subscribe_to(producer, clock_class, moody.endpoint()).status, 201);
    for (int number = 2; number <= 5; ++number) {
        producer.set_state({.clock_class = number});
    }
    ASSERT_TRUE(moody.wait_for(13));
    EXPECT_THAT(values(moody), ElementsAre("1", "2", "2", "2", "3", "3", "3", "4", "4", "4", "5", "5", "5"));
    EXPECT_EQ(moody.received()[1].event["id"], moody.received()[3].event["id"]) << "so that a consumer knows it again";
    EXPECT_EQ(producer.statistics().events.failed_attempts, 8u);
    EXPECT_EQ(producer.statistics().events.dropped, 0u);
}

TEST_F(Delivery, LetsAStalledConsumerCostTheOthersNothing) {
    Producer producer(configuration_);
    producer.set_state({});
    std::vector<std::unique_ptr<Consumer>> stalled;
    for (int number = 0; number < 5; ++number) {
        stalled.push_back(std::make_unique<Consumer>(
            [](const Received &, std::size_t nth) { return Reply{.delay_ms = nth == 0 ? 0 : 20000}; }));
        ASSERT_EQ(subscribe_to(producer, lock_state, stalled.back()->endpoint()).status, 201);
    }
    const Consumer good;
    ASSERT_EQ(subscribe_to(producer, lock_state, good.endpoint()).status, 201);
    const auto before = std::chrono::steady_clock::now();
    for (const char *state : {"HOLDOVER", "FREERUN", "LOCKED"}) {
        producer.set_state({.ptp = state});
    }
    ASSERT_TRUE(good.wait_for(4));
    EXPECT_LT(std::chrono::steady_clock::now() - before, 10s) << "the stalled ones are given 20 s";
    EXPECT_THAT(values(good), ElementsAre("LOCKED", "HOLDOVER", "FREERUN", "LOCKED"));
}

TEST_F(Delivery, KeepsTheLastStateOfEachResourceWhenAQueueIsFull) {
    configuration_.limits.queued_events = 8;
    configuration_.limits.first_retry = configuration_.limits.most_retry = 60s;
    Producer producer(configuration_);
    producer.set_state({.clock_class = 0});
    auto consumer = std::make_unique<Consumer>();
    const std::uint16_t port = consumer->port();
    ASSERT_EQ(subscribe_to(producer, sync + "/ptp-status", consumer->endpoint()).status, 201);
    ASSERT_TRUE(eventually([&] { return producer.statistics().events.delivered == 2; }));
    consumer.reset();
    for (int number = 1; number <= 100; ++number) {
        producer.set_state({.ptp = "FREERUN", .clock_class = number});
    }
    EXPECT_EQ(producer.statistics().events.queued, 8u);
    EXPECT_EQ(producer.statistics().events.dropped, 93u) << "of one lock state and 100 classes";
    EXPECT_EQ(producer.statistics().events.failed_attempts, 1u) << "changes do not shorten the wait";

    const Consumer back({}, port);
    EXPECT_EQ(subscribe_to(producer, sync + "/ptp-status", back.endpoint()).status, 409) << "which ends it";
    ASSERT_TRUE(back.wait_for(8));
    EXPECT_THAT(values(back), testing::Contains("FREERUN"));
    EXPECT_EQ(values(back).back(), "100");
}

TEST_F(Delivery, KeepsTheLastStateAlsoWhileAnOlderOneIsUnderWay) {
    configuration_.limits.queued_events = 8;
    configuration_.limits.delivery = 30s;
    Producer producer(configuration_);
    producer.set_state({.clock_class = 0});
    const Consumer slow([](const Received &, std::size_t nth) { return Reply{.delay_ms = nth == 2 ? 1500 : 0}; });
    ASSERT_EQ(subscribe_to(producer, sync + "/ptp-status", slow.endpoint()).status, 201);
    ASSERT_TRUE(eventually([&] { return producer.statistics().events.delivered == 2; }));
    producer.set_state({.ptp = "FREERUN", .clock_class = 0});
    ASSERT_TRUE(slow.wait_for(3));
    for (int number = 0; number <= 100; ++number) {
        producer.set_state({.ptp = "HOLDOVER", .clock_class = number});
    }
    ASSERT_TRUE(eventually([&] { return values(slow).back() == "100"; }));
    EXPECT_THAT(values(slow), testing::IsSupersetOf({"FREERUN", "HOLDOVER"}));
}

TEST_F(Delivery, GivesUpAConsumerThatIsGoneForGood) {
    configuration_.limits.remove_after = 2s;
    Producer producer(configuration_);
    producer.set_state({});
    const Consumer leaving([](const Received &, std::size_t nth) { return Reply{.status = nth == 0 ? 204 : 410}; });
    const Consumer broken([](const Received &, std::size_t nth) { return Reply{.status = nth == 0 ? 204 : 500}; });
    const Consumer staying;
    for (const Consumer *consumer : {&leaving, &broken, &staying}) {
        ASSERT_EQ(subscribe_to(producer, lock_state, consumer->endpoint()).status, 201);
    }
    producer.set_state({.ptp = "FREERUN"});
    ASSERT_TRUE(eventually([&] { return producer.statistics().events.given_up == 2; }));
    EXPECT_EQ(leaving.received().size(), 2u) << "410 is an end";
    EXPECT_GT(broken.received().size(), 3u) << "500 is not";
    const Json left = http("GET", producer.url(subscriptions_path)).json();
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0]["EndpointUri"], staying.endpoint());
    EXPECT_THAT(ptp_agent::notification::file_text(configuration_.state_file).value(),
                testing::Not(HasSubstr(leaving.endpoint())));
}

TEST_F(Delivery, TakesSubscriptionsUpAfterAKillAndReadsTheStateAnew) {
    std::string id;
    std::uint16_t port = 0;
    {
        Producer producer(configuration_);
        producer.set_state({});
        const Consumer consumer(
            [](const Received &, std::size_t nth) { return Reply{.status = nth == 0 ? 204 : 500}; });
        port = consumer.port();
        id = subscribe_to(producer, lock_state, consumer.endpoint()).json()["SubscriptionId"];
        producer.set_state({.ptp = "HOLDOVER"});
        ASSERT_TRUE(consumer.wait_for(2)) << "and it is not taken";
        producer.kill();
    }
    Producer producer(configuration_);
    const Consumer consumer({}, port);
    EXPECT_EQ(http("GET", producer.url(subscriptions_path + "/" + id)).status, 200);
    producer.set_state({.ptp = "FREERUN"});
    ASSERT_TRUE(consumer.wait_for(1));
    EXPECT_THAT(values(consumer), ElementsAre("FREERUN")) << "HOLDOVER is over";
}

TEST_F(Delivery, StartsWithAnyFileAndKeepsWhatItCannotUnderstand) {
    for (const char *text : {"", "{", "[]", R"({"format": 2, "subscriptions": []})",
                             R"({"format": 1, "subscriptions": [{"SubscriptionId": 7}]})"}) {
        std::ofstream(configuration_.state_file) << text;
        const Producer producer(configuration_);
        EXPECT_EQ(http("GET", producer.url(subscriptions_path)).text, "[]");
        EXPECT_EQ(ptp_agent::notification::file_text(configuration_.state_file + ".unreadable"), text);
    }
}

TEST_F(Delivery, PromisesNothingThatItCannotKeep) {
    configuration_.state_file = folder_ / "later" / "subscriptions.json";
    Producer producer(configuration_);
    producer.set_state({});
    const Consumer consumer;
    EXPECT_EQ(subscribe_to(producer, lock_state, consumer.endpoint()).status, 507);
    EXPECT_EQ(producer.statistics().subscriptions, 0u);

    files::create_directories(folder_ / "later");
    const HttpReply kept = subscribe_to(producer, lock_state, consumer.endpoint());
    ASSERT_EQ(kept.status, 201);
    files::remove_all(folder_ / "later");
    EXPECT_EQ(http("DELETE", kept.json()["UriLocation"]).status, 507);
    EXPECT_EQ(http("DELETE", producer.url(subscriptions_path)).status, 507);
    EXPECT_EQ(http("GET", kept.json()["UriLocation"]).status, 200) << "it would be back after a restart";
}

TEST_F(Delivery, ServesAHundredSubscriptions) {
    configuration_.limits.delivery = 90s;
    Producer producer(configuration_);
    producer.set_state({});
    const Consumer consumer;
    std::vector<std::thread> subscribers;
    std::atomic<int> taken = 0;
    for (int part = 0; part < 4; ++part) {
        subscribers.emplace_back([&, part] {
            for (int number = 0; number < 25; ++number) {
                const std::string path = "/" + std::to_string(part) + "/" + std::to_string(number);
                taken += subscribe_to(producer, lock_state, consumer.endpoint(path)).status == 201 ? 1 : 0;
            }
        });
    }
    for (std::thread &subscriber : subscribers) {
        subscriber.join();
    }
    ASSERT_EQ(taken, 100);
    producer.set_state({.ptp = "HOLDOVER"});
    producer.set_state({.ptp = "FREERUN"});
    ASSERT_TRUE(consumer.wait_for(300));
    EXPECT_TRUE(eventually([&] { return producer.statistics().events.delivered == 300; }));
    EXPECT_EQ(producer.statistics().events.failed_attempts, 0u);
}

}  // namespace
}  // namespace notification_test
