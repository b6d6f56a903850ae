// The O-RAN notification API of a node: tells radio applications how well the node is synchronised.
//
// Applications subscribe over HTTP to resources of the node and are sent CloudEvents when these change
// (docs/notifications.md). The rest of the agent hands over the state; everything else happens on the event loop.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "agent/base/event_loop.h"
#include "agent/notification/configuration.h"
#include "agent/notification/notifier.h"
#include "agent/notification/state.h"

namespace ptp_agent::notification {

struct Statistics {
    std::size_t subscriptions = 0;
    NotifierCounts events;
};

class NotificationService {
  public:
    /** Given a line for people. */
    using Log = std::function<void(const std::string &)>;

    /**
     * Listens, and takes up the subscriptions that were kept: they are sent the state that is handed over from now on.
     * Throws std::runtime_error, which says what is wrong with the configuration or why it cannot listen.
     */
    NotificationService(EventLoop &loop, Configuration configuration, Log log);
    /** Drops what is under way. Not to be called from a callback of the service's own. */
    ~NotificationService();

    /** To be called after each poll, whether or not something changed; only changes are sent. */
    void set_state(const NodeState &state);

    std::uint16_t port() const;
    Statistics statistics() const;

  private:
    class Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace ptp_agent::notification
