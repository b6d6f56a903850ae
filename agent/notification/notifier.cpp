// Queues of events, and when what is tried again.
#include "agent/notification/notifier.h"

#include <algorithm>
#include <array>
#include <utility>

namespace ptp_agent::notification {
namespace {

using Clock = std::chrono::steady_clock;

constexpr long http_gone = 410;
constexpr std::size_t least_queue = 8;  // more than there are resources, so that an event without effect is found

}  // namespace

struct Notifier::Consumer {
    Consumer(EventLoop &loop, std::function<void()> due) : retry(loop, std::move(due)) {}

    std::string id;
    std::string endpoint_uri;
    ResourceSet resources;
    std::deque<Event> queue;  ///< its first event is the one that is under way
    std::uint64_t call = 0;   ///< 0: none is under way
    unsigned failures = 0;    ///< since the last success
    Clock::time_point failing_since;
    Tried tried;  ///< while it is on trial
    Timer retry;
};

Notifier::Notifier(EventLoop &loop, HttpCaller &caller, const Limits &limits, GivenUp given_up)
    : loop_(loop), caller_(caller), limits_(limits), given_up_(std::move(given_up)) {
    limits_.queued_events = std::max(limits_.queued_events, least_queue);
}

Notifier::~Notifier() {
    while (!consumers_.empty()) {
        remove(consumers_.begin()->first);
    }
}

Notifier::Consumer &Notifier::make(const std::string &id, const std::string &endpoint_uri, ResourceSet resources) {
    auto made = std::make_unique<Consumer>(loop_, [this, id] { hurry(id); });
    made->id = id;
    made->endpoint_uri = endpoint_uri;
    made->resources = resources;
    return *consumers_.insert_or_assign(id, std::move(made)).first->second;
}

void Notifier::add(const std::string &id, const std::string &endpoint_uri, ResourceSet resources) {
    make(id, endpoint_uri, resources);
}

void Notifier::add_on_trial(const std::string &id, const std::string &endpoint_uri, ResourceSet resources,
                            std::vector<Event> first, Tried tried) {
    Consumer &consumer = make(id, endpoint_uri, resources);
    consumer.tried = std::move(tried);
    for (Event &event : first) {
        consumer.queue.push_back(std::move(event));
    }
    deliver(consumer);
}

void Notifier::remove(const std::string &id) {
    if (const auto found = consumers_.find(id); found != consumers_.end()) {
        caller_.cancel(found->second->call);
        consumers_.erase(found);
    }
}

void Notifier::hurry(const std::string &id) {
    if (const auto found = consumers_.find(id); found != consumers_.end()) {
        found->second->retry.stop();
        deliver(*found->second);
    }
}

void Notifier::publish(const Event &event) {
    for (const auto &[id, consumer] : consumers_) {
        if (consumer->resources.test(static_cast<std::size_t>(event.resource))) {
            enqueue(*consumer, event);
        }
    }
}

void Notifier::enqueue(Consumer &consumer, const Event &event) {
    consumer.queue.push_back(event);
    if (consumer.queue.size() > limits_.queued_events) {
        make_room(consumer);
    }
    deliver(consumer);
}

void Notifier::make_room(Consumer &consumer) {
    std::array<unsigned, resource_count> left{};
    for (const Event &event : consumer.queue) {
        ++left[static_cast<std::size_t>(event.resource)];
    }
    auto first = consumer.queue.begin();
    if (consumer.call != 0) {
        --left[static_cast<std::size_t>(first->resource)];
        ++first;
    }
    const auto oldest = std::find_if(first, consumer.queue.end(), [&left](const Event &event) {
        return left[static_cast<std::size_t>(event.resource)] > 1;
    });
    if (oldest != consumer.queue.end()) {
        consumer.queue.erase(oldest);
        ++counts_.dropped;
    }
}

void Notifier::deliver(Consumer &consumer) {
    if (consumer.call != 0 || consumer.queue.empty() || consumer.retry.is_running()) {
        return;
    }
    consumer.call = caller_.post(consumer.endpoint_uri, consumer.queue.front().body,
                                 [this, id = consumer.id](const CallResult &result) { on_result(id, result); });
}

void Notifier::on_result(const std::string &id, const CallResult &result) {
    Consumer &consumer = *consumers_.at(id);
    consumer.call = 0;
    ++(result.delivered() ? counts_.delivered : counts_.failed_attempts);
    if (consumer.tried) {
        on_trial_ended(id, result);
    } else if (result.delivered()) {
        consumer.queue.pop_front();
        consumer.failures = 0;
        deliver(consumer);
    } else {
        on_failure(consumer, result);
    }
}

void Notifier::on_trial_ended(const std::string &id, const CallResult &result) {
    const Tried tried = std::exchange(consumers_.at(id)->tried, nullptr);
    if (result.delivered()) {
        consumers_.at(id)->queue.pop_front();
    } else {
        remove(id);
    }
    tried(result);
    hurry(id);  // unless it was removed
}

void Notifier::on_failure(Consumer &consumer, const CallResult &result) {
    const Clock::time_point now = Clock::now();
    if (consumer.failures++ == 0) {
        consumer.failing_since = now;
    }
    const bool is_too_long = limits_.remove_after.count() > 0 && now - consumer.failing_since >= limits_.remove_after;
    if (result.status == http_gone || is_too_long) {
        ++counts_.given_up;
        const std::string id = consumer.id;
        remove(id);
        given_up_(id, result.error);
        return;
    }
    consumer.retry.start_ms(delay_ms(consumer.failures));
}

/** Doubled with each failure, and spread so that the consumers of a node do not return in step. */
std::uint64_t Notifier::delay_ms(unsigned failures) {
    const auto first = static_cast<std::uint64_t>(limits_.first_retry.count());
    const auto most = static_cast<std::uint64_t>(limits_.most_retry.count());
    const std::uint64_t delay = std::min(first << std::min(failures - 1, 20u), most);
    return delay - delay / 4 + std::uniform_int_distribution<std::uint64_t>(0, delay / 4)(spread_);
}

NotifierCounts Notifier::counts() const {
    NotifierCounts counts = counts_;
    for (const auto &[id, consumer] : consumers_) {
        counts.queued += consumer->queue.size();
    }
    return counts;
}

}  // namespace ptp_agent::notification
