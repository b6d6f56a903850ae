// Posts to consumers over HTTP, many at a time, on the event loop.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "agent/base/event_loop.h"
#include "agent/notification/networks.h"

namespace ptp_agent::notification {

struct CallOptions {
    std::chrono::milliseconds connect{2000};
    std::chrono::milliseconds total{5000};
    std::size_t reply_bytes = 65536;
    std::string ca_file;  ///< to verify https peers by; empty: the system's
};

struct CallResult {
    long status = 0;    ///< of HTTP; 0 where none came
    std::string error;  ///< for people; empty when delivered

    /** The status decides: a consumer that said 2xx has the event, whatever became of the rest of its answer. */
    bool delivered() const { return status >= 200 && status < 300; }
};

/**
 * Follows no redirection, uses no proxy, and connects only to addresses of the networks it is given, as they are after
 * the name was looked up. Names are looked up by libcurl, in a thread of its own that touches nothing here; numeric
 * addresses need none.
 */
class HttpCaller {
  public:
    using Done = std::function<void(const CallResult &)>;

    HttpCaller(EventLoop &loop, CallOptions options, Networks allowed);
    HttpCaller(const HttpCaller &) = delete;
    HttpCaller &operator=(const HttpCaller &) = delete;
    /** Drops what is under way without calling back. */
    ~HttpCaller();

    /** @param done  called once, later, from the loop; may post and cancel */
    std::uint64_t post(const std::string &url, std::shared_ptr<const std::string> body, Done done);
    /** Ends a call without calling back. */
    void cancel(std::uint64_t call);

  private:
    struct Call;

    static int on_socket(CURL *, curl_socket_t socket, int what, void *cookie, void *);
    static int on_timer(CURLM *, long timeout_ms, void *cookie);
    void watch(curl_socket_t socket, int what);
    void act(curl_socket_t socket, int events);
    void finish_done();
    void finish(CURL *easy, CURLcode code);

    EventLoop &loop_;
    CallOptions options_;
    Networks allowed_;
    Timer timer_;
    std::map<curl_socket_t, EventSource> sockets_;
    std::map<std::uint64_t, std::unique_ptr<Call>> calls_;
    std::uint64_t last_call_ = 0;
    CURLM *multi_ = nullptr;
};

}  // namespace ptp_agent::notification
