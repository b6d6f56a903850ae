// Plain sockets on the endpoint's side, libcurl's easy interface for requests.
#include "consumer.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdlib>

#include "agent/notification/listening.h"

namespace notification_test {
namespace {

using namespace std::chrono_literals;

std::size_t append(char *bytes, std::size_t size, std::size_t count, void *text) {
    static_cast<std::string *>(text)->append(bytes, size * count);
    return size * count;
}

/** Reads one request, or gives up when the other end does. */
bool read_request(int connection, Received &received, const std::atomic<bool> &ends) {
    std::string text;
    while (!ends) {
        pollfd ready{connection, POLLIN, 0};
        if (poll(&ready, 1, 20) <= 0) {
            continue;
        }
        std::array<char, 4096> bytes{};
        const ssize_t count = recv(connection, bytes.data(), bytes.size(), 0);
        if (count <= 0) {
            return false;
        }
        text.append(bytes.data(), static_cast<std::size_t>(count));
        const std::size_t end = text.find("\r\n\r\n");
        const std::size_t length = text.find("Content-Length: ");
        if (end == std::string::npos || length == std::string::npos) {
            continue;
        }
        if (text.size() >= end + 4 + std::strtoul(text.c_str() + length + 16, nullptr, 10)) {
            received.header = text.substr(0, end);
            received.path = text.substr(5, text.find(' ', 5) - 5);
            received.event = Json::parse(text.substr(end + 4), nullptr, false);
            return true;
        }
    }
    return false;
}

}  // namespace

Consumer::Consumer(Behaviour behaviour, std::uint16_t port)
    : behaviour_(behaviour ? std::move(behaviour) : [](const Received &, std::size_t) { return Reply{}; }),
      listener_(ptp_agent::notification::listen_on("127.0.0.1", port)),
      port_(ptp_agent::notification::port_of(listener_.get())) {
    accepting_ = std::thread([this] { accept_all(); });
}

Consumer::~Consumer() {
    ends_ = true;
    accepting_.join();
    for (std::thread &thread : serving_) {
        thread.join();
    }
}

void Consumer::accept_all() {
    while (!ends_) {
        pollfd ready{listener_.get(), POLLIN, 0};
        if (poll(&ready, 1, 20) <= 0) {
            continue;
        }
        base::file_descriptor connection(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (connection) {
            serving_.emplace_back([this, taken = std::make_shared<base::file_descriptor>(
                                             std::move(connection))]() mutable { serve(std::move(*taken)); });
        }
    }
}

void Consumer::serve(base::file_descriptor connection) {
    Received received;
    if (!read_request(connection.get(), received, ends_)) {
        return;
    }
    Reply reply;
    {
        const std::lock_guard lock(mutex_);
        reply = behaviour_(received, received_.size());
        received_.push_back(received);
    }
    for (int waited = 0; waited < reply.delay_ms && !ends_; waited += 10) {
        std::this_thread::sleep_for(10ms);
    }
    if (reply.vanish) {
        return;
    }
    std::string text = "HTTP/1.1 " + std::to_string(reply.status) + " X\r\n" + reply.header;
    text += reply.endless_body ? "\r\n" : "Content-Length: 0\r\n\r\n";
    ssize_t sent = send(connection.get(), text.data(), text.size(), MSG_NOSIGNAL);
    const std::string more(4096, 'x');
    while (reply.endless_body && sent > 0 && !ends_) {
        sent = send(connection.get(), more.data(), more.size(), MSG_NOSIGNAL);
    }
}

std::string Consumer::endpoint(const std::string &path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::vector<Received> Consumer::received() const {
    const std::lock_guard lock(mutex_);
    return received_;
}

bool Consumer::wait_for(std::size_t count) const {
    return eventually([this, count] { return received().size() >= count; });
}

HttpReply http(const std::string &method, const std::string &url, const std::string &body, const HttpRequest &with) {
    HttpReply reply;
    CURL *easy = curl_easy_init();
    curl_slist *header = curl_slist_append(nullptr, "Content-Type: application/json");
    if (!with.token.empty()) {
        header = curl_slist_append(header, ("Authorization: Bearer " + with.token).c_str());
    }
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(easy, CURLOPT_PROXY, "");
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, 90000L);
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, header);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &reply.text);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, append);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &reply.header);
    if (!body.empty()) {
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.data());
    }
    if (!with.ca_file.empty()) {
        curl_easy_setopt(easy, CURLOPT_CAINFO, with.ca_file.c_str());
    }
    curl_easy_perform(easy);
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &reply.status);
    curl_slist_free_all(header);
    curl_easy_cleanup(easy);
    return reply;
}

HttpReply subscribe(const std::string &subscriptions_url, const std::string &resource, const std::string &endpoint) {
    return http("POST", subscriptions_url, Json{{"ResourceAddress", resource}, {"EndpointUri", endpoint}}.dump());
}

bool eventually(const std::function<bool()> &is_true) {
    const auto until = std::chrono::steady_clock::now() + 90s;
    while (!is_true()) {
        if (std::chrono::steady_clock::now() > until) {
            return false;
        }
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

}  // namespace notification_test
