// Checks the addresses that strangers want events to be sent to.
#include "agent/notification/endpoint.h"

#include <curl/urlapi.h>

#include <algorithm>
#include <memory>

namespace ptp_agent::notification {
namespace {

constexpr std::size_t longest = 2048;

struct UrlRelease {
    void operator()(CURLU *url) const { curl_url_cleanup(url); }
};

std::string part_of(CURLU *url, CURLUPart part) {
    char *text = nullptr;
    if (curl_url_get(url, part, &text, 0) != CURLUE_OK) {
        return {};
    }
    std::string copy = text;
    curl_free(text);
    return copy;
}

/** An IPv6 address stands in brackets in a URI. */
std::string without_brackets(const std::string &host) {
    return host.size() > 2 && host.front() == '[' ? host.substr(1, host.size() - 2) : host;
}

bool has_unprintable(const std::string &text) {
    return text.find_first_of(" \"<>\\^`{|}\x7F") != std::string::npos ||
           std::any_of(text.begin(), text.end(), [](char letter) { return static_cast<signed char>(letter) < 0x20; });
}

}  // namespace

std::string fault_of_endpoint(const std::string &uri, const Networks &allowed) {
    if (uri.size() > longest) {
        return "EndpointUri is longer than " + std::to_string(longest) + " characters";
    }
    const std::unique_ptr<CURLU, UrlRelease> url(curl_url());
    if (has_unprintable(uri) ||
        curl_url_set(url.get(), CURLUPART_URL, uri.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
        return "EndpointUri is no absolute URI; write http://HOST:PORT/PATH";
    }
    const std::string scheme = part_of(url.get(), CURLUPART_SCHEME);
    if (scheme != "http" && scheme != "https") {
        return "EndpointUri has the scheme '" + scheme + "'; http and https are served";
    }
    if (!part_of(url.get(), CURLUPART_USER).empty() || !part_of(url.get(), CURLUPART_PASSWORD).empty()) {
        return "EndpointUri has a user or password in it, which would be shown to every subscriber; leave them out";
    }
    const std::string host = without_brackets(part_of(url.get(), CURLUPART_HOST));
    const std::optional<Address> address = address_from_text(host);
    if (address && !allowed.contain(*address)) {
        return "EndpointUri: " + host + " is not in consumer_networks, where consumers may be";
    }
    return {};
}

}  // namespace ptp_agent::notification
