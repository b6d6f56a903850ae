// Requests and what they are answered, without the library that carries them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ptp_fleet {

struct http_request {
    std::string method;
    std::string path;  // with %XX replaced, without the query
    std::map<std::string, std::string> query;
    std::string authorization;
    std::string last_event_id;
    std::string known_tag;  // of what the client has already
    bool takes_gzip = false;
    std::string body;
};

/** Server-sent events to one client. */
class event_feed {
  public:
    virtual ~event_feed() = default;
    /** What there is to tell since it was asked last; empty when there is nothing. */
    virtual std::string next() = 0;
};

struct http_response {
    unsigned status = 200;
    std::shared_ptr<const std::string> body;
    std::string content_type = "application/json";
    std::vector<std::pair<std::string, std::string>> header;  // what else is wanted there
    std::unique_ptr<event_feed> feed;                         // in place of a body
};

inline http_response text_response(unsigned status, std::string body, std::string content_type) {
    http_response response;
    response.status = status;
    response.body = std::make_shared<const std::string>(std::move(body));
    response.content_type = std::move(content_type);
    return response;
}

}  // namespace ptp_fleet
