// The resources of the API: what each request does.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "agent/notification/configuration.h"
#include "agent/notification/events.h"
#include "agent/notification/http_server.h"
#include "agent/notification/networks.h"
#include "agent/notification/notifier.h"
#include "agent/notification/resources.h"
#include "agent/notification/samples.h"
#include "agent/notification/subscriptions.h"
#include "agent/notification/tokens.h"

namespace ptp_agent::notification {

/** What the API works on; all of it outlives the API. */
struct ApiContext {
    const AddressSpace &addresses;
    const Samples &samples;  ///< as they are now
    const Networks &consumer_networks;
    Subscriptions &subscriptions;
    Notifier &notifier;
    Tokens &tokens;
    MemberSpelling spelling;
    bool has_tls;
    std::string own_host;  ///< host and port, for clients that do not say how they call it
};

class Api {
  public:
    explicit Api(ApiContext context) : context_(std::move(context)) {}

    /** Null where the request may go on; otherwise why not. */
    std::unique_ptr<Response> admit(const Request &request);
    /** For a request that was admitted. */
    void handle(const Request &request, const Answer &answer);

  private:
    struct Call;
    struct Route;
    using Action = void (Api::*)(const Call &) const;

    static const std::vector<Route> &routes();

    void get_health(const Call &call) const;
    void get_publishers(const Call &call) const;
    void get_current_state(const Call &call) const;
    void get_subscriptions(const Call &call) const;
    void delete_subscriptions(const Call &call) const;
    void get_subscription(const Call &call) const;
    void delete_subscription(const Call &call) const;
    void post_subscription(const Call &call) const;

    void refuse_second(const Subscription &same, const Call &call) const;
    std::string refusal_for_want_of_room(const std::string &peer, unsigned &status) const;
    void try_subscription(Subscription subscription, const Call &call) const;
    std::vector<Event> present_state(ResourceSet resources) const;
    Json event_json(Resource resource) const;

    ApiContext context_;
};

}  // namespace ptp_agent::notification
