// Makes the API's answers.
#include "agent/notification/replies.h"

namespace ptp_agent::notification {
namespace {

const char *title_of(unsigned status) {
    switch (status) {
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 409:
            return "Conflict";
        case 413:
            return "Content Too Large";
        case 429:
            return "Too Many Requests";
        case 503:
            return "Service Unavailable";
        case 507:
            return "Insufficient Storage";
        default:
            return "Internal Server Error";
    }
}

bool is_plain_host(const std::string &host) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789.-_:[]";
    return !host.empty() && host.size() < 256 && host.find_first_not_of(plain) == std::string::npos;
}

}  // namespace

Response json_response(unsigned status, const Json &body) { return {status, text_of(body), "application/json", {}}; }

Response problem(unsigned status, const std::string &detail) {
    const Json body{{"type", "about:blank"}, {"title", title_of(status)}, {"status", status}, {"detail", detail}};
    return {status, text_of(body), "application/problem+json", {}};
}

Response no_content() { return {204, "", "", {}}; }

std::string base_url(const Request &request, bool has_tls, const std::string &own_host, std::string_view prefix) {
    const std::string scheme = has_tls ? "https://" : "http://";
    return scheme + (is_plain_host(request.host) ? request.host : own_host) + std::string(prefix);
}

Json subscription_json(const Subscription &subscription, const std::string &base) {
    return {{"ResourceAddress", subscription.address},
            {"EndpointUri", subscription.endpoint_uri},
            {"SubscriptionId", subscription.id},
            {"UriLocation", base + "/subscriptions/" + subscription.id}};
}

}  // namespace ptp_agent::notification
