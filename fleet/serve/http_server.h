// An HTTP server with its own threads, which holds to limits whatever clients do.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "http_message.h"

namespace ptp_fleet {

struct http_options {
    std::string address = "127.0.0.1";
    std::uint16_t port = 8080;  // 0: one that is free
    std::string certificate;    // PEM text, not a file's name; empty: no TLS
    std::string key;
    unsigned threads = 4;
    unsigned connections = 512;
    unsigned connections_per_peer = 64;
    unsigned feeds = 128;
    std::size_t body_bytes = 65536;
    unsigned request_seconds = 10;  // for a request to be whole
    unsigned answer_seconds = 60;   // for an answer to be taken, and for the next request to begin
};

/** Any thread may call it, several do at once. What it throws is answered with 500. */
using http_handler = std::function<http_response(const http_request &)>;

class http_server {
  public:
    /** Throws std::runtime_error, which says why it cannot listen. */
    http_server(const http_options &options, http_handler handler);
    ~http_server();
    http_server(const http_server &) = delete;
    http_server &operator=(const http_server &) = delete;

    std::uint16_t port() const;

    /** Asks all feeds whether there is something to tell; to be called often, as it also ends slow clients. */
    void wake();

  private:
    class core;
    std::unique_ptr<core> core_;
};

}  // namespace ptp_fleet
