// libcurl's multi interface behind the event loop.
#include "agent/notification/http_caller.h"

#include <sys/epoll.h>

#include <stdexcept>
#include <utility>

namespace ptp_agent::notification {

struct HttpCaller::Call {
    std::uint64_t number = 0;
    const HttpCaller *caller = nullptr;
    CURL *easy = nullptr;
    curl_slist *header = nullptr;
    std::shared_ptr<const std::string> body;
    std::size_t replied = 0;
    std::string denied;  ///< the address that was not allowed
    char error[CURL_ERROR_SIZE] = "";
    Done done;

    Call() = default;
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;
    ~Call() {
        curl_easy_cleanup(easy);
        curl_slist_free_all(header);
    }

    /** Of the reply nothing but the status is wanted, and that no more of it comes than is allowed. */
    static std::size_t on_reply(char *, std::size_t size, std::size_t count, void *cookie) {
        Call &call = *static_cast<Call *>(cookie);
        call.replied += size * count;
        return call.replied <= call.caller->options_.reply_bytes ? size * count : 0;
    }

    /** The last moment before a connection, and the only one at which its address is certain. */
    static curl_socket_t on_open(void *cookie, curlsocktype, curl_sockaddr *target) {
        Call &call = *static_cast<Call *>(cookie);
        const std::optional<Address> address = address_from_socket(target->addr);
        if (!address || !call.caller->allowed_.contain(*address)) {
            call.denied = address ? text_of(*address) : "no IP address";
            return CURL_SOCKET_BAD;
        }
        return ::socket(target->family, target->socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, target->protocol);
    }

    void configure(const std::string &url) {
        const auto set = [this](CURLoption option, auto value) {
            if (const CURLcode code = curl_easy_setopt(easy, option, value); code != CURLE_OK) {
                throw std::runtime_error(std::string("prepare a call: ") + curl_easy_strerror(code));
            }
        };
        const CallOptions &options = caller->options_;
        set(CURLOPT_URL, url.c_str());
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_FOLLOWLOCATION, 0L);
        set(CURLOPT_PROXY, "");
        set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
        set(CURLOPT_NOSIGNAL, 1L);
        // Events are rare: a new connection each time finds a consumer that has moved, and is checked anew.
        set(CURLOPT_FORBID_REUSE, 1L);
        // A look-up that hangs is left to its end instead of being waited for.
        set(CURLOPT_QUICK_EXIT, 1L);
        set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options.connect.count()));
        set(CURLOPT_TIMEOUT_MS, static_cast<long>(options.total.count()));
        set(CURLOPT_ERRORBUFFER, error);
        set(CURLOPT_WRITEFUNCTION, on_reply);
        set(CURLOPT_WRITEDATA, this);
        set(CURLOPT_HEADERFUNCTION, on_reply);
        set(CURLOPT_HEADERDATA, this);
        set(CURLOPT_OPENSOCKETFUNCTION, on_open);
        set(CURLOPT_OPENSOCKETDATA, this);
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
        set(CURLOPT_POSTFIELDS, body->data());
        set(CURLOPT_HTTPHEADER, header);
        set(CURLOPT_PRIVATE, this);
        if (!options.ca_file.empty()) {
            set(CURLOPT_CAINFO, options.ca_file.c_str());
            set(CURLOPT_CAPATH, static_cast<const char *>(nullptr));
        }
    }

    CallResult result(CURLcode code) const {
        CallResult result;
        curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &result.status);
        if (result.delivered()) {
            return result;
        }
        if (!denied.empty()) {
            result.error = denied + " is not in consumer_networks";
        } else if (replied > caller->options_.reply_bytes) {
            result.error = "answered with more than " + std::to_string(caller->options_.reply_bytes) + " bytes";
        } else if (code != CURLE_OK) {
            result.error = error[0] != '\0' ? error : curl_easy_strerror(code);
        } else {
            result.error = "answered with HTTP status " + std::to_string(result.status);
        }
        return result;
    }
};

HttpCaller::HttpCaller(EventLoop &loop, CallOptions options, Networks allowed)
    : loop_(loop),
      options_(std::move(options)),
      allowed_(std::move(allowed)),
      timer_(loop, [this] { act(CURL_SOCKET_TIMEOUT, 0); }) {
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK || (multi_ = curl_multi_init()) == nullptr) {
        throw std::runtime_error("libcurl cannot be initialised");
    }
    curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, on_socket);
    curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, on_timer);
    curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
}

HttpCaller::~HttpCaller() {
    while (!calls_.empty()) {
        cancel(calls_.begin()->first);
    }
    curl_multi_cleanup(multi_);
    curl_global_cleanup();
}

std::uint64_t HttpCaller::post(const std::string &url, std::shared_ptr<const std::string> body, Done done) {
    auto call = std::make_unique<Call>();
    call->number = ++last_call_;
    call->caller = this;
    call->body = std::move(body);
    call->done = std::move(done);
    call->easy = curl_easy_init();
    call->header = curl_slist_append(nullptr, "Content-Type: application/cloudevents+json");
    if (call->easy == nullptr || call->header == nullptr) {
        throw std::bad_alloc();
    }
    call->configure(url);
    if (const CURLMcode code = curl_multi_add_handle(multi_, call->easy); code != CURLM_OK) {
        throw std::runtime_error(std::string("start a call: ") + curl_multi_strerror(code));
    }
    calls_.emplace(last_call_, std::move(call));
    return last_call_;
}

void HttpCaller::cancel(std::uint64_t call) {
    if (const auto found = calls_.find(call); found != calls_.end()) {
        curl_multi_remove_handle(multi_, found->second->easy);
        calls_.erase(found);
    }
}

int HttpCaller::on_socket(CURL *, curl_socket_t socket, int what, void *cookie, void *) {
    HttpCaller &caller = *static_cast<HttpCaller *>(cookie);
    // Made anew at each change: the number of a closed socket may already be another's.
    caller.sockets_.erase(socket);
    if (what == CURL_POLL_REMOVE) {
        return 0;
    }
    try {
        caller.watch(socket, what);
    } catch (const std::exception &) {
        // Unwatched, the call ends by its time-out; an error here would end all calls.
    }
    return 0;
}

void HttpCaller::watch(curl_socket_t socket, int what) {
    const std::uint32_t in = (what & CURL_POLL_IN) != 0 ? std::uint32_t{EPOLLIN} : 0;
    const std::uint32_t out = (what & CURL_POLL_OUT) != 0 ? std::uint32_t{EPOLLOUT} : 0;
    sockets_[socket] = loop_.watch(socket, in | out, [this, socket](std::uint32_t ready) {
        const int readable = (ready & (EPOLLIN | EPOLLHUP)) != 0 ? CURL_CSELECT_IN : 0;
        const int writable = (ready & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0;
        const int error = (ready & EPOLLERR) != 0 ? CURL_CSELECT_ERR : 0;
        act(socket, readable | writable | error);
    });
}

int HttpCaller::on_timer(CURLM *, long timeout_ms, void *cookie) {
    Timer &timer = static_cast<HttpCaller *>(cookie)->timer_;
    timer.stop();
    try {
        if (timeout_ms >= 0) {
            timer.start_ms(static_cast<std::uint64_t>(timeout_ms));
        }
    } catch (const std::exception &) {
        // Calls may outlive the loop, which then takes no timers, and are cancelled.
    }
    return 0;
}

void HttpCaller::act(curl_socket_t socket, int events) {
    int running = 0;
    curl_multi_socket_action(multi_, socket, events, &running);
    finish_done();
}

void HttpCaller::finish_done() {
    int left = 0;
    while (const CURLMsg *message = curl_multi_info_read(multi_, &left)) {
        if (message->msg == CURLMSG_DONE) {
            finish(message->easy_handle, message->data.result);
        }
    }
}

void HttpCaller::finish(CURL *easy, CURLcode code) {
    char *cookie = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &cookie);
    const std::uint64_t number = reinterpret_cast<Call *>(cookie)->number;
    const auto found = calls_.find(number);
    const CallResult result = found->second->result(code);
    const Done done = std::move(found->second->done);
    cancel(number);
    done(result);
}

}  // namespace ptp_agent::notification
