// Puts the parts of the notification API together, and turns changes of state into events.
#include "agent/notification/service.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "agent/notification/api.h"
#include "agent/notification/events.h"
#include "agent/notification/files.h"
#include "agent/notification/http_server.h"
#include "agent/notification/replies.h"

namespace ptp_agent::notification {
namespace {

std::string host_name() {
    char name[256] = "";
    gethostname(name, sizeof name - 1);
    return name;
}

ResourceSet served_resources(const Configuration &configuration) {
    ResourceSet served;
    served.set();
    served.set(static_cast<std::size_t>(Resource::OsClockSyncState), configuration.os_clock);
    served.set(static_cast<std::size_t>(Resource::GnssSyncStatus), configuration.gnss);
    return served;
}

bool listens_on_loopback(const Configuration &configuration) {
    const std::optional<Address> address = address_from_text(configuration.listen_address);
    return address && is_loopback(*address);
}

std::string pem_text(const char *option, const std::string &path) {
    if (path.empty()) {
        return {};
    }
    std::optional<std::string> text = file_text(path);
    if (!text) {
        throw std::runtime_error(std::string(option) + ": " + path + ": " + std::strerror(errno));
    }
    return std::move(*text);
}

/** Fills in what follows from the rest, and refuses what contradicts itself. */
Configuration completed(Configuration configuration) {
    if (configuration.node_name.empty()) {
        configuration.node_name = host_name();
    }
    for (const std::string *name : {&configuration.node_name, &configuration.cluster_name}) {
        if (segments(*name).size() != 1 || name->find('/') != std::string::npos || *name == ".") {
            throw std::runtime_error("'" + *name +
                                     "' cannot be part of a resource address; give a name without slashes");
        }
    }
    if (configuration.certificate_file.empty() != configuration.key_file.empty()) {
        throw std::runtime_error("certificate_file and key_file go together: give both, or neither");
    }
    const bool is_protected = !configuration.token_file.empty() && !configuration.certificate_file.empty();
    if (!listens_on_loopback(configuration) && !is_protected && !configuration.allow_unprotected) {
        throw std::runtime_error("listen_address " + configuration.listen_address +
                                 " is not loopback: give token_file, certificate_file and key_file, or set "
                                 "allow_unprotected where the network itself keeps strangers out");
    }
    if (configuration.consumer_networks.empty()) {
        configuration.consumer_networks = default_consumer_networks(listens_on_loopback(configuration));
    }
    return configuration;
}

ServerOptions server_options(const Configuration &configuration) {
    ServerOptions options;
    options.address = configuration.listen_address;
    options.port = configuration.port;
    options.certificate = pem_text("certificate_file", configuration.certificate_file);
    options.key = pem_text("key_file", configuration.key_file);
    options.connections = configuration.limits.connections;
    options.connections_per_peer = configuration.limits.connections_per_peer;
    options.body_bytes = configuration.limits.body_bytes;
    options.request = configuration.limits.request;
    return options;
}

}  // namespace

class NotificationService::Parts {
  public:
    Parts(EventLoop &loop, Configuration given, Log log)
        : configuration_(completed(std::move(given))),
          log_(std::move(log)),
          addresses_(configuration_.cluster_name, configuration_.node_name, served_resources(configuration_)),
          consumer_networks_(configuration_.consumer_networks),
          tokens_(configuration_.token_file),
          subscriptions_(configuration_.state_file, configuration_.limits),
          caller_(loop,
                  {configuration_.limits.connect, configuration_.limits.delivery, configuration_.limits.reply_bytes,
                   configuration_.consumer_ca_file},
                  consumer_networks_),
          notifier_(loop, caller_, configuration_.limits,
                    [this](const std::string &id, const std::string &why) { give_up(id, why); }),
          api_({addresses_, samples_, consumer_networks_, subscriptions_, notifier_, tokens_, configuration_.spelling,
                !configuration_.certificate_file.empty(), own_host()}),
          server_(loop, server_options(configuration_),
                  {[this](const Request &request) { return api_.admit(request); },
                   [this](const Request &request, const Answer &answer) { handle(request, answer); },
                   [](std::size_t limit) {
                       return problem(413, "the body is longer than " + std::to_string(limit) + " bytes");
                   }}) {
        subscriptions_.load(addresses_, log_);
        for (const auto &[id, subscription] : subscriptions_.all()) {
            notifier_.add(id, subscription.endpoint_uri, subscription.resolved.resources);
        }
    }

    void set_state(const NodeState &state) {
        const Samples before = std::exchange(samples_, samples_of(state, addresses_.served()));
        for (const ResourceRow &row : resource_rows) {
            const auto index = static_cast<std::size_t>(row.resource);
            const bool is_known = samples_[index].has_value();
            if (is_known != before[index].has_value() ||
                (is_known && !samples_[index]->says_the_same_as(*before[index]))) {
                const Json event = event_of(row.resource, samples_[index], addresses_, configuration_.spelling);
                notifier_.publish({row.resource, std::make_shared<std::string>(text_of(event))});
            }
        }
    }

    std::uint16_t port() const { return server_.port(); }

    Statistics statistics() const { return {subscriptions_.all().size(), notifier_.counts()}; }

  private:
    std::string own_host() const { return configuration_.node_name + ":" + std::to_string(configuration_.port); }

    void handle(const Request &request, const Answer &answer) {
        try {
            api_.handle(request, answer);
        } catch (const std::exception &error) {
            log_("notification API: " + request.method + " " + request.path + ": " + error.what());
            answer(problem(500, "the request failed for a reason that the agent's log has"));
        }
    }

    void give_up(const std::string &id, const std::string &why) {
        const Subscription *ended = subscriptions_.confirmed(id);
        if (ended == nullptr) {
            return;
        }
        log_("notification API: " + ended->endpoint_uri + " is subscribed no more, it takes no events: " + why);
        if (const std::string error = subscriptions_.remove(id); !error.empty()) {
            log_("notification API: it will be back after a restart, the file cannot be written: " + error);
        }
    }

    Configuration configuration_;
    Log log_;
    AddressSpace addresses_;
    Networks consumer_networks_;
    Samples samples_;
    Tokens tokens_;
    Subscriptions subscriptions_;
    HttpCaller caller_;
    Notifier notifier_;
    Api api_;
    HttpServer server_;
};

NotificationService::NotificationService(EventLoop &loop, Configuration configuration, Log log)
    : parts_(std::make_unique<Parts>(loop, std::move(configuration), std::move(log))) {}

NotificationService::~NotificationService() = default;

void NotificationService::set_state(const NodeState &state) { parts_->set_state(state); }

std::uint16_t NotificationService::port() const { return parts_->port(); }

Statistics NotificationService::statistics() const { return parts_->statistics(); }

}  // namespace ptp_agent::notification
