// libmicrohttpd behind the event loop: no thread, answers that suspend their connection until they are there.
#include "agent/notification/http_server.h"

#include <fcntl.h>
#include <microhttpd.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <set>
#include <stdexcept>

#include "agent/notification/listening.h"

namespace ptp_agent::notification {
namespace {

using Clock = std::chrono::steady_clock;

/** Of the body of a request that is refused, before the connection is closed instead. */
constexpr std::size_t most_discarded = 1024 * 1024;

/** A connection, from its acceptance on. */
struct Connection {
    int socket = -1;
    Clock::time_point since;    ///< when it was opened or the last request on it was answered
    bool is_suspended = false;  ///< its request waits for an answer
};

/** A request from its first line to the end of its answer. */
struct Exchange {
    MHD_Connection *connection = nullptr;
    Connection *record = nullptr;
    Request request;
    std::optional<Response> response;
    bool is_handled = false;
};

std::string header_value(MHD_Connection *connection, const char *name) {
    const char *value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value != nullptr ? value : "";
}

Connection *record_of(MHD_Connection *connection) {
    const MHD_ConnectionInfo *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return info != nullptr ? static_cast<Connection *>(info->socket_context) : nullptr;
}

Address peer_of(MHD_Connection *connection) {
    const MHD_ConnectionInfo *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    return info != nullptr ? address_from_socket(*info->client_addr).value_or(Address{}) : Address{};
}

bool announces_more_than(MHD_Connection *connection, std::size_t limit) {
    const std::string length = header_value(connection, MHD_HTTP_HEADER_CONTENT_LENGTH);
    // More digits than this are no length that is wanted here, whatever number they make.
    return length.size() > 12 || (!length.empty() && std::strtoull(length.c_str(), nullptr, 10) > limit);
}

MHD_Result queue(MHD_Connection *connection, const Response &response) {
    MHD_Response *made = MHD_create_response_from_buffer(response.body.size(), const_cast<char *>(response.body.data()),
                                                         MHD_RESPMEM_MUST_COPY);
    if (made == nullptr) {
        return MHD_NO;
    }
    if (!response.body.empty()) {
        MHD_add_response_header(made, MHD_HTTP_HEADER_CONTENT_TYPE, response.content_type.c_str());
    }
    for (const auto &[name, value] : response.header) {
        MHD_add_response_header(made, name.c_str(), value.c_str());
    }
    const MHD_Result result = MHD_queue_response(connection, response.status, made);
    MHD_destroy_response(made);
    return result;
}

}  // namespace

class HttpServer::State {
  public:
    State(EventLoop &loop, const ServerOptions &options, ServerHandlers handlers);
    State(const State &) = delete;
    State &operator=(const State &) = delete;
    ~State();

    std::uint16_t port() const { return port_; }

  private:
    using Shared = std::shared_ptr<Exchange>;

    static MHD_Result on_request(void *cookie, MHD_Connection *connection, const char *path, const char *method,
                                 const char *, const char *data, std::size_t *size, void **place);
    static void on_completed(void *cookie, MHD_Connection *, void **place, MHD_RequestTerminationCode);
    static void on_connection(void *cookie, MHD_Connection *connection, void **place, MHD_ConnectionNotificationCode);
    static void on_log(void *cookie, const char *format, va_list arguments);

    void start(const ServerOptions &options);
    void run();
    void wait();
    void end_slow_connections();
    MHD_Result begin(MHD_Connection *connection, const char *path, const char *method, void **place);
    MHD_Result take_body(const Shared &exchange, const char *data, std::size_t *size) const;
    MHD_Result handle(const Shared &exchange);
    void answer(const Shared &exchange, Response response);

    ServerHandlers handlers_;
    std::size_t body_bytes_;
    std::chrono::milliseconds patience_;
    std::set<std::unique_ptr<Connection>> connections_;
    std::set<Shared> suspended_;
    std::string log_;
    std::uint16_t port_ = 0;
    MHD_Daemon *daemon_ = nullptr;
    Timer due_;
    Timer sweep_;
    EventSource ready_;
    std::shared_ptr<State *> self_;  ///< what answers that come later find it by, or no more
};

HttpServer::State::State(EventLoop &loop, const ServerOptions &options, ServerHandlers handlers)
    : handlers_(std::move(handlers)),
      body_bytes_(options.body_bytes),
      patience_(options.request),
      due_(loop, [this] { run(); }),
      sweep_(loop, [this] { end_slow_connections(); }),
      self_(std::make_shared<State *>(this)) {
    start(options);
    const MHD_DaemonInfo *info = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD);
    ready_ = loop.watch(info->epoll_fd, EPOLLIN, [this](std::uint32_t) { run(); });
}

void HttpServer::State::start(const ServerOptions &options) {
    const base::file_descriptor listener = listen_on(options.address, options.port);
    port_ = port_of(listener.get());
    const int owned_by_library = fcntl(listener.get(), F_DUPFD_CLOEXEC, 0);
    const bool has_tls = !options.certificate.empty();
    const auto seconds = static_cast<unsigned>(options.request.count() / 1000 + 1);
    std::vector<MHD_OptionItem> items{
        {MHD_OPTION_CONNECTION_LIMIT, static_cast<intptr_t>(options.connections), nullptr},
        {MHD_OPTION_PER_IP_CONNECTION_LIMIT, static_cast<intptr_t>(options.connections_per_peer), nullptr},
        {MHD_OPTION_CONNECTION_TIMEOUT, static_cast<intptr_t>(seconds), nullptr},
        {MHD_OPTION_CONNECTION_MEMORY_LIMIT, 16 * 1024, nullptr},
        {MHD_OPTION_LISTEN_SOCKET, static_cast<intptr_t>(owned_by_library), nullptr},
        {MHD_OPTION_STRICT_FOR_CLIENT, 1, nullptr}};
    if (has_tls) {
        items.push_back({MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char *>(options.certificate.c_str())});
        items.push_back({MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char *>(options.key.c_str())});
        items.push_back(
            {MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char *>("NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2")});
    }
    items.push_back({MHD_OPTION_END, 0, nullptr});
    const unsigned flags = MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG |
                           (has_tls ? static_cast<unsigned>(MHD_USE_TLS) : 0u);
    daemon_ = MHD_start_daemon(flags, 0, nullptr, nullptr, on_request, this, MHD_OPTION_EXTERNAL_LOGGER, on_log, this,
                               MHD_OPTION_NOTIFY_COMPLETED, on_completed, this, MHD_OPTION_NOTIFY_CONNECTION,
                               on_connection, this, MHD_OPTION_ARRAY, items.data(), MHD_OPTION_END);
    if (daemon_ == nullptr) {
        throw std::runtime_error(std::string(has_tls ? "certificate_file and key_file cannot be used: " : "") +
                                 "the HTTP server did not start: " + log_);
    }
}

HttpServer::State::~State() {
    self_.reset();
    ready_.reset();
    for (const Shared &exchange : suspended_) {
        MHD_resume_connection(exchange->connection);
    }
    MHD_stop_daemon(daemon_);
}

void HttpServer::State::run() {
    MHD_run(daemon_);
    wait();
}

/** Until when, besides what its descriptor says, libmicrohttpd need not run. */
void HttpServer::State::wait() {
    MHD_UNSIGNED_LONG_LONG timeout_ms = 0;
    if (MHD_get_timeout(daemon_, &timeout_ms) == MHD_YES) {
        due_.start_ms(timeout_ms);
    } else {
        due_.stop();
    }
}

/** The library's own time-out begins anew with each byte, so that a client could hold a connection for hours. */
void HttpServer::State::end_slow_connections() {
    const Clock::time_point oldest = Clock::now() - patience_;
    for (const std::unique_ptr<Connection> &connection : connections_) {
        if (!connection->is_suspended && connection->since < oldest) {
            ::shutdown(connection->socket, SHUT_RDWR);
        }
    }
    if (!connections_.empty()) {
        sweep_.start_ms(static_cast<std::uint64_t>(patience_.count()) / 4 + 1);
    }
}

void HttpServer::State::on_connection(void *cookie, MHD_Connection *connection, void **place,
                                      MHD_ConnectionNotificationCode code) {
    State &state = *static_cast<State *>(cookie);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
        const int socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
        auto record = std::make_unique<Connection>(Connection{socket, Clock::now(), false});
        *place = record.get();
        state.connections_.insert(std::move(record));
        if (!state.sweep_.is_running()) {
            state.sweep_.start_ms(static_cast<std::uint64_t>(state.patience_.count()) / 4 + 1);
        }
        return;
    }
    const auto found = std::find_if(state.connections_.begin(), state.connections_.end(),
                                    [place](const auto &record) { return record.get() == *place; });
    if (found != state.connections_.end()) {
        state.connections_.erase(found);
    }
}

MHD_Result HttpServer::State::on_request(void *cookie, MHD_Connection *connection, const char *path, const char *method,
                                         const char *, const char *data, std::size_t *size, void **place) {
    State &state = *static_cast<State *>(cookie);
    try {
        if (*place == nullptr) {
            return state.begin(connection, path, method, place);
        }
        const Shared exchange = *static_cast<Shared *>(*place);
        return *size > 0 ? state.take_body(exchange, data, size) : state.handle(exchange);
    } catch (const std::exception &) {
        return MHD_NO;  // ends the connection: want of memory is all that comes here
    }
}

MHD_Result HttpServer::State::begin(MHD_Connection *connection, const char *path, const char *method, void **place) {
    auto exchange = std::make_shared<Exchange>();
    exchange->connection = connection;
    exchange->record = record_of(connection);
    exchange->request = {method,
                         path,
                         header_value(connection, MHD_HTTP_HEADER_HOST),
                         header_value(connection, MHD_HTTP_HEADER_AUTHORIZATION),
                         peer_of(connection),
                         {}};
    *place = new Shared(exchange);
    std::unique_ptr<Response> refusal = handlers_.admit(exchange->request);
    if (refusal == nullptr && announces_more_than(connection, body_bytes_)) {
        refusal = std::make_unique<Response>(handlers_.too_long(body_bytes_));
    }
    if (refusal == nullptr) {
        return MHD_YES;
    }
    exchange->is_handled = true;
    exchange->response = std::move(*refusal);
    // A client that is still sending when its connection is closed may never see why.
    const bool is_sending = header_value(connection, MHD_HTTP_HEADER_EXPECT).empty();
    return is_sending && !announces_more_than(connection, most_discarded) ? MHD_YES
                                                                          : queue(connection, *exchange->response);
}

MHD_Result HttpServer::State::take_body(const Shared &exchange, const char *data, std::size_t *size) const {
    // One byte beyond the limit is kept, as the sign that there were more.
    std::string &body = exchange->request.body;
    if (!exchange->is_handled) {
        body.append(data, std::min(*size, body_bytes_ + 1 - body.size()));
    }
    *size = 0;
    return MHD_YES;
}

/** Called when the request is whole, and again when a connection goes on. */
MHD_Result HttpServer::State::handle(const Shared &exchange) {
    if (!exchange->is_handled) {
        exchange->is_handled = true;
        if (exchange->request.body.size() > body_bytes_) {
            exchange->response = handlers_.too_long(body_bytes_);
        } else {
            handlers_.handle(exchange->request, [self = std::weak_ptr<State *>(self_),
                                                 open = std::weak_ptr<Exchange>(exchange)](Response response) {
                const std::shared_ptr<State *> state = self.lock();
                const Shared waiting = open.lock();
                if (state != nullptr && waiting != nullptr && !waiting->response) {
                    (*state)->answer(waiting, std::move(response));
                }
            });
        }
    }
    if (exchange->response) {
        return queue(exchange->connection, *exchange->response);
    }
    exchange->record->is_suspended = true;
    suspended_.insert(exchange);
    MHD_suspend_connection(exchange->connection);
    return MHD_YES;
}

void HttpServer::State::answer(const Shared &exchange, Response response) {
    exchange->response = std::move(response);
    if (suspended_.erase(exchange) > 0) {
        exchange->record->is_suspended = false;
        exchange->record->since = Clock::now();
        MHD_resume_connection(exchange->connection);
        due_.start_ms(0);
    }
}

void HttpServer::State::on_completed(void *cookie, MHD_Connection *, void **place, MHD_RequestTerminationCode) {
    State &state = *static_cast<State *>(cookie);
    const std::unique_ptr<Shared> exchange(static_cast<Shared *>(*place));
    *place = nullptr;
    if (exchange != nullptr) {
        state.suspended_.erase(*exchange);
        (*exchange)->record->since = Clock::now();
    }
}

/** What it says while it starts is the reason when it does not; afterwards it tells of clients, who may be many. */
void HttpServer::State::on_log(void *cookie, const char *format, va_list arguments) {
    State &state = *static_cast<State *>(cookie);
    if (state.daemon_ == nullptr) {
        char line[512];
        std::vsnprintf(line, sizeof line, format, arguments);
        state.log_ += line;
    }
}

HttpServer::HttpServer(EventLoop &loop, const ServerOptions &options, ServerHandlers handlers)
    : state_(std::make_unique<State>(loop, options, std::move(handlers))) {}

HttpServer::~HttpServer() = default;

std::uint16_t HttpServer::port() const { return state_->port(); }

}  // namespace ptp_agent::notification
