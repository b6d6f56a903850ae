// A radio application's side: an endpoint that takes events, well or badly, and requests to the API.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "base/file_descriptor.h"

namespace notification_test {

using Json = nlohmann::json;

/** What a consumer makes of one event. */
struct Reply {
    int status = 204;
    int delay_ms = 0;
    bool vanish = false;        ///< close instead of answering
    bool endless_body = false;  ///< send bytes until the other end has enough
    std::string header = {};    ///< lines, each with its end
};

struct Received {
    std::string path;
    std::string header;
    Json event;

    std::string value() const { return event["data"]["values"].at(0).value("value", ""); }
    std::string type() const { return event.value("type", ""); }
};

/** Listens on 127.0.0.1 with a thread for each connection, until it is destroyed. */
class Consumer {
  public:
    using Behaviour = std::function<Reply(const Received &, std::size_t nth)>;

    /** @param port  0: any */
    explicit Consumer(Behaviour behaviour = {}, std::uint16_t port = 0);
    ~Consumer();

    std::string endpoint(const std::string &path = "/event") const;
    std::uint16_t port() const { return port_; }

    std::vector<Received> received() const;
    /** Waits until as many came; false after a minute and a half. */
    bool wait_for(std::size_t count) const;

  private:
    void accept_all();
    void serve(base::file_descriptor connection);

    Behaviour behaviour_;
    base::file_descriptor listener_;
    std::uint16_t port_ = 0;
    std::atomic<bool> ends_ = false;
    mutable std::mutex mutex_;
    std::vector<Received> received_;
    std::vector<std::thread> serving_;  ///< of the accepting thread, until that has ended
    std::thread accepting_;
};

struct HttpReply {
    long status = 0;
    std::string header;
    std::string text;

    Json json() const { return Json::parse(text, nullptr, false); }
    std::string detail() const { return json().value("detail", ""); }
};

struct HttpRequest {
    std::string token;
    std::string ca_file;
};

/** A request as a client makes it; status 0 where no answer came. */
HttpReply http(const std::string &method, const std::string &url, const std::string &body = {},
               const HttpRequest &with = {});

/** POST subscriptions. */
HttpReply subscribe(const std::string &subscriptions_url, const std::string &resource, const std::string &endpoint);

/** Calls until it is true; false after a minute and a half. */
bool eventually(const std::function<bool()> &is_true);

}  // namespace notification_test
