// An HTTP server on the event loop, whose answers may come later than the request.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "agent/base/event_loop.h"
#include "agent/notification/networks.h"

namespace ptp_agent::notification {

struct Request {
    std::string method;
    std::string path;  ///< with %XX replaced, without the query
    std::string host;  ///< as the client calls this server, for addresses in answers
    std::string authorization;
    Address peer{};
    std::string body;
};

struct Response {
    unsigned status = 200;
    std::string body;
    std::string content_type = "application/json";
    std::vector<std::pair<std::string, std::string>> header;  ///< what else is wanted there
};

/** Gives the response to its request, once; at once or later. Without effect when the server or the client is gone. */
using Answer = std::function<void(Response)>;

struct ServerOptions {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;
    std::string certificate;  ///< PEM text, not a file's name; empty: no TLS
    std::string key;
    unsigned connections = 256;
    unsigned connections_per_peer = 128;
    std::size_t body_bytes = 16384;
    std::chrono::milliseconds request{5000};
};

/** What it does with requests. */
struct ServerHandlers {
    /** Looks at a request before its body is read: a response refuses it. */
    std::function<std::unique_ptr<Response>(const Request &)> admit;
    std::function<void(const Request &, Answer)> handle;
    /** What a request whose body is too long is told. */
    std::function<Response(std::size_t limit)> too_long;
};

class HttpServer {
  public:
    /** Throws std::runtime_error, which says why it cannot listen. */
    HttpServer(EventLoop &loop, const ServerOptions &options, ServerHandlers handlers);
    ~HttpServer();

    std::uint16_t port() const;

  private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace ptp_agent::notification
