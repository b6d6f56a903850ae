// Brings events to consumers: in order for each, one at a time, again until they are taken.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "agent/base/event_loop.h"
#include "agent/notification/configuration.h"
#include "agent/notification/http_caller.h"
#include "agent/notification/resources.h"

namespace ptp_agent::notification {

struct Event {
    Resource resource = Resource::SyncState;
    std::shared_ptr<const std::string> body;
};

struct NotifierCounts {
    std::uint64_t delivered = 0;
    std::uint64_t failed_attempts = 0;
    std::uint64_t dropped = 0;   ///< events for which a queue had no room
    std::uint64_t given_up = 0;  ///< consumers
    std::uint64_t queued = 0;    ///< events that wait now, over all consumers
};

/**
 * A queue that is full loses the oldest event that a later one of the same resource makes void: however long a consumer is
 * away, the last state of each resource reaches it. A consumer that answers 410, or takes nothing for `remove_after`, is
 * given up.
 */
class Notifier {
  public:
    using Tried = std::function<void(const CallResult &)>;
    using GivenUp = std::function<void(const std::string &id, const std::string &why)>;

    Notifier(EventLoop &loop, HttpCaller &caller, const Limits &limits, GivenUp given_up);
    Notifier(const Notifier &) = delete;
    Notifier &operator=(const Notifier &) = delete;
    ~Notifier();

    void add(const std::string &id, const std::string &endpoint_uri, ResourceSet resources);
    /**
     * The same for a stranger, who is sent the first of the events alone and is gone when that fails.
     * @param first  at least one
     * @param tried  called once, with the end of the first delivery
     */
    void add_on_trial(const std::string &id, const std::string &endpoint_uri, ResourceSet resources,
                      std::vector<Event> first, Tried tried);
    void remove(const std::string &id);
    /** Tries at once what would wait for its next attempt. */
    void hurry(const std::string &id);
    /** Queues the event for all consumers of its resource. */
    void publish(const Event &event);

    NotifierCounts counts() const;

  private:
    struct Consumer;

    Consumer &make(const std::string &id, const std::string &endpoint_uri, ResourceSet resources);
    void enqueue(Consumer &consumer, const Event &event);
    void make_room(Consumer &consumer);
    void deliver(Consumer &consumer);
    void on_result(const std::string &id, const CallResult &result);
    void on_trial_ended(const std::string &id, const CallResult &result);
    void on_failure(Consumer &consumer, const CallResult &result);
    std::uint64_t delay_ms(unsigned failures);

    EventLoop &loop_;
    HttpCaller &caller_;
    Limits limits_;
    GivenUp given_up_;
    NotifierCounts counts_;
    std::minstd_rand spread_{std::random_device{}()};
    std::map<std::string, std::unique_ptr<Consumer>> consumers_;
};

}  // namespace ptp_agent::notification
