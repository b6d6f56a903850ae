// POST subscriptions: what is asked before a consumer is taken.
#include <nlohmann/json.hpp>
#include <utility>

#include "agent/notification/api.h"
#include "agent/notification/api_call.h"
#include "agent/notification/endpoint.h"
#include "agent/notification/replies.h"

namespace ptp_agent::notification {
namespace {

/** The text of a member, or nothing where there is none. */
std::optional<std::string> member(const Json &body, const char *name) {
    const auto found = body.find(name);
    return found != body.end() && found->is_string() ? std::optional(found->get<std::string>()) : std::nullopt;
}

}  // namespace

void Api::post_subscription(const Call &call) const {
    const Json body = Json::parse(call.request.body, nullptr, false);
    if (!body.is_object()) {
        call.answer(problem(400, "the body is no JSON object; send ResourceAddress and EndpointUri"));
        return;
    }
    const std::optional<std::string> address = member(body, "ResourceAddress");
    const std::optional<std::string> endpoint = member(body, "EndpointUri");
    if (!address || !endpoint) {
        call.answer(problem(400, std::string(address ? "EndpointUri" : "ResourceAddress") +
                                     " is missing or no text; send ResourceAddress and EndpointUri"));
        return;
    }
    if (const std::string fault = fault_of_endpoint(*endpoint, context_.consumer_networks); !fault.empty()) {
        call.answer(problem(400, fault));
        return;
    }
    std::optional<ResolvedAddress> resolved = context_.addresses.resolve(*address);
    if (!resolved) {
        call.answer(problem(404, *address + " is no resource of this node; GET publishers lists them"));
        return;
    }
    if (const Subscription *same = context_.subscriptions.find_same(resolved->canonical, *endpoint)) {
        refuse_second(*same, call);
        return;
    }
    unsigned status = 0;
    const std::string peer = text_of(call.request.peer);
    if (const std::string refusal = refusal_for_want_of_room(peer, status); !refusal.empty()) {
        call.answer(problem(status, refusal));
        return;
    }
    try_subscription({new_uuid(), *address, *endpoint, peer, std::move(*resolved), false}, call);
}

/** Who asks again is there again: what waits for it is tried at once. */
void Api::refuse_second(const Subscription &same, const Call &call) const {
    Response refusal = problem(409, same.endpoint_uri + " is already subscribed to " + same.address);
    if (same.is_confirmed) {
        refusal.header.emplace_back("Location", call.base + "/subscriptions/" + same.id);
        context_.notifier.hurry(same.id);
    }
    call.answer(std::move(refusal));
}

std::string Api::refusal_for_want_of_room(const std::string &peer, unsigned &status) const {
    if (context_.subscriptions.is_full_for(peer)) {
        status = 429;
        return peer + " has as many subscriptions as one peer may have; delete one first";
    }
    if (context_.subscriptions.is_full()) {
        status = 503;
        return "there are as many subscriptions as this node keeps; delete one first";
    }
    return {};
}

/** The client is answered when its endpoint has taken the first event, or has not. */
void Api::try_subscription(Subscription subscription, const Call &call) const {
    const std::string id = subscription.id;
    std::vector<Event> first = present_state(subscription.resolved.resources);
    const std::string endpoint = subscription.endpoint_uri;
    const ResourceSet resources = subscription.resolved.resources;
    context_.subscriptions.add(std::move(subscription));
    context_.notifier.add_on_trial(
        id, endpoint, resources, std::move(first),
        [this, id, endpoint, base = call.base, answer = call.answer](const CallResult &result) {
            if (!result.delivered()) {
                context_.subscriptions.remove(id);
                answer(problem(400, "EndpointUri " + endpoint + " did not take its first event: " + result.error));
                return;
            }
            if (const std::string error = context_.subscriptions.confirm(id); !error.empty()) {
                context_.notifier.remove(id);
                answer(problem(507, "the subscription cannot be kept: " + error));
                return;
            }
            Response created = json_response(201, subscription_json(*context_.subscriptions.confirmed(id), base));
            created.header.emplace_back("Location", base + "/subscriptions/" + id);
            answer(std::move(created));
        });
}

/** One event for each resource that something is known of, or one that says that nothing is. */
std::vector<Event> Api::present_state(ResourceSet resources) const {
    std::vector<Event> events;
    std::optional<Resource> any;
    for (const ResourceRow &row : resource_rows) {
        const auto index = static_cast<std::size_t>(row.resource);
        if (!resources.test(index)) {
            continue;
        }
        any = any ? any : row.resource;
        if (context_.samples[index]) {
            events.push_back({row.resource, std::make_shared<std::string>(text_of(event_json(row.resource)))});
        }
    }
    if (events.empty()) {
        events.push_back({*any, std::make_shared<std::string>(text_of(event_json(*any)))});
    }
    return events;
}

}  // namespace ptp_agent::notification
