// What the API's answers look like.
#pragma once

#include <string>

#include "agent/notification/events.h"
#include "agent/notification/http_server.h"
#include "agent/notification/subscriptions.h"

namespace ptp_agent::notification {

Response json_response(unsigned status, const Json &body);

/** A refusal (RFC 9457). @param detail  what was wrong, where, and what to do */
Response problem(unsigned status, const std::string &detail);

Response no_content();

/**
 * The address under which a client reaches this server, down to the API's prefix. The client's own words for the host are
 * used where they are harmless, since only it knows how it got here.
 */
std::string base_url(const Request &request, bool has_tls, const std::string &own_host, std::string_view prefix);

Json subscription_json(const Subscription &subscription, const std::string &base);

}  // namespace ptp_agent::notification
