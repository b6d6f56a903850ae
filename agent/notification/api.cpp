// Routes requests and answers them.
#include "agent/notification/api.h"

#include <array>
#include <memory>
#include <span>
#include <utility>

#include "agent/notification/api_call.h"
#include "agent/notification/replies.h"

namespace ptp_agent::notification {
namespace {

constexpr std::string_view api_path = "/ocloudNotifications/v2";
constexpr std::array<std::string_view, 2> prefixes{"/ocloudNotifications/v2", "/api/ocloudNotifications/v2"};
constexpr std::string_view current_state = "CurrentState";

/** What of a path belongs to the API. */
struct Place {
    std::string_view prefix;  ///< empty: the path is none of the API's
    std::string_view rest;
};

Place place_of(std::string_view path) {
    for (const std::string_view prefix : prefixes) {
        if (path.starts_with(prefix) && (path.size() == prefix.size() || path[prefix.size()] == '/')) {
            return {prefix, path.substr(prefix.size())};
        }
    }
    return {};
}

/** Whether segments fit a pattern: `*` stands for one segment, a leading `**` for any number. */
bool fits(const std::vector<std::string_view> &parts, const std::vector<std::string_view> &pattern) {
    if (!pattern.empty() && pattern.front() == "**") {
        return parts.size() >= pattern.size() - 1 && parts.back() == pattern.back();
    }
    if (parts.size() != pattern.size()) {
        return false;
    }
    for (std::size_t index = 0; index < parts.size(); ++index) {
        if (pattern[index] != "*" && pattern[index] != parts[index]) {
            return false;
        }
    }
    return true;
}

bool is_health(const Request &request) { return segments(place_of(request.path).rest) == segments("health"); }

}  // namespace

struct Api::Route {
    std::string_view method;
    std::vector<std::string_view> pattern;
    Action action;
};

const std::vector<Api::Route> &Api::routes() {
    static const std::vector<Route> rows{
        {"GET", {"health"}, &Api::get_health},
        {"GET", {"publishers"}, &Api::get_publishers},
        {"GET", {"subscriptions"}, &Api::get_subscriptions},
        {"POST", {"subscriptions"}, &Api::post_subscription},
        {"DELETE", {"subscriptions"}, &Api::delete_subscriptions},
        {"GET", {"subscriptions", "*"}, &Api::get_subscription},
        {"DELETE", {"subscriptions", "*"}, &Api::delete_subscription},
        {"GET", {"**", current_state}, &Api::get_current_state},
    };
    return rows;
}

std::unique_ptr<Response> Api::admit(const Request &request) {
    // Health says nothing that must be kept secret, and those who probe for it have no token.
    if (is_health(request) || context_.tokens.admit(request.authorization)) {
        return nullptr;
    }
    auto refusal =
        std::make_unique<Response>(problem(401, "send the header 'Authorization: Bearer TOKEN' with a good token"));
    refusal->header.emplace_back("WWW-Authenticate", "Bearer");
    return refusal;
}

void Api::handle(const Request &request, const Answer &answer) {
    const Place place = place_of(request.path);
    const Call call{request, answer, segments(place.rest),
                    base_url(request, context_.has_tls, context_.own_host, place.prefix)};
    std::string allowed;
    for (const Route &route : routes()) {
        if (place.prefix.empty() || !fits(call.parts, route.pattern)) {
            continue;
        }
        if (route.method == request.method) {
            (this->*route.action)(call);
            return;
        }
        allowed.append(allowed.empty() ? "" : ", ").append(route.method);
    }
    if (allowed.empty()) {
        answer(problem(404, request.path + " is nothing here; the API is at " + std::string(api_path)));
        return;
    }
    Response refusal = problem(405, request.path + " takes " + allowed);
    refusal.header.emplace_back("Allow", allowed);
    answer(std::move(refusal));
}

void Api::get_health(const Call &call) const { call.answer(json_response(200, {{"status", "OK"}})); }

void Api::get_publishers(const Call &call) const {
    Json publishers = Json::array();
    for (const ResourceRow &row : resource_rows) {
        if (context_.addresses.served().test(static_cast<std::size_t>(row.resource))) {
            const std::string address = context_.addresses.address_of(row.resource);
            publishers.push_back({{"ResourceAddress", address},
                                  {"UriLocation", call.base + address + "/" + std::string(current_state)},
                                  {"type", row.event_type}});
        }
    }
    call.answer(json_response(200, publishers));
}

Json Api::event_json(Resource resource) const {
    const std::optional<Sample> &sample = context_.samples[static_cast<std::size_t>(resource)];
    return event_of(resource, sample, context_.addresses, context_.spelling);
}

void Api::get_current_state(const Call &call) const {
    std::string address;
    for (const std::string_view part : std::span(call.parts).first(call.parts.size() - 1)) {
        address.append("/").append(part);
    }
    const std::optional<ResolvedAddress> resolved = context_.addresses.resolve(address);
    if (!resolved) {
        call.answer(problem(404, address + " is no resource of this node; GET publishers lists them"));
        return;
    }
    Json events = Json::array();
    for (const ResourceRow &row : resource_rows) {
        const auto index = static_cast<std::size_t>(row.resource);
        if (resolved->resources.test(index) && context_.samples[index]) {
            events.push_back(event_json(row.resource));
        }
    }
    if (events.empty()) {
        call.answer(problem(404, address + ": nothing has been read of it yet; ask again"));
        return;
    }
    const bool is_one = resolved->resources.count() == 1;
    Response response = json_response(200, is_one ? events.front() : events);
    response.content_type = is_one ? "application/cloudevents+json" : "application/cloudevents-batch+json";
    call.answer(std::move(response));
}

void Api::get_subscriptions(const Call &call) const {
    Json list = Json::array();
    for (const auto &[id, subscription] : context_.subscriptions.all()) {
        if (subscription.is_confirmed) {
            list.push_back(subscription_json(subscription, call.base));
        }
    }
    call.answer(json_response(200, list));
}

void Api::delete_subscriptions(const Call &call) const {
    std::vector<std::string> ended;
    for (const auto &[id, subscription] : context_.subscriptions.all()) {
        if (subscription.is_confirmed) {
            ended.push_back(id);
        }
    }
    if (const std::string error = context_.subscriptions.remove_all_confirmed(); !error.empty()) {
        call.answer(problem(507, "the subscriptions stay as they are, their file cannot be written: " + error));
        return;
    }
    for (const std::string &id : ended) {
        context_.notifier.remove(id);
    }
    call.answer(no_content());
}

void Api::get_subscription(const Call &call) const {
    const Subscription *found = context_.subscriptions.confirmed(std::string(call.parts[1]));
    call.answer(found != nullptr ? json_response(200, subscription_json(*found, call.base))
                                 : problem(404, "there is no subscription " + std::string(call.parts[1])));
}

void Api::delete_subscription(const Call &call) const {
    const std::string id(call.parts[1]);
    if (context_.subscriptions.confirmed(id) == nullptr) {
        call.answer(problem(404, "there is no subscription " + id));
        return;
    }
    if (const std::string error = context_.subscriptions.remove(id); !error.empty()) {
        call.answer(problem(507, "the subscription stays, its file cannot be written: " + error));
        return;
    }
    context_.notifier.remove(id);
    call.answer(no_content());
}

}  // namespace ptp_agent::notification
