// libmicrohttpd with a pool of threads: requests come in whole, and feeds sleep until there is something to tell.
#include "http_server.h"

#include <microhttpd.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <set>
#include <stdexcept>

#include "compression.h"
#include "listener.h"
#include "problem.h"

namespace ptp_fleet {
namespace {

using steady = std::chrono::steady_clock;

constexpr std::size_t most_discarded = 1024 * 1024;  // of a refused body, before the connection is closed instead
constexpr std::size_t feed_block = 64 * 1024;

/** A connection, from its acceptance on. */
struct peer_connection {
    int socket = -1;
    std::atomic<steady::rep> until = 0;  // when it is ended
};

/** A request from its first line to the end of its answer. */
struct exchange {
    peer_connection *record = nullptr;
    http_request request;
    bool is_refused = false;
};

steady::rep in_seconds(unsigned seconds) {
    return (steady::now() + std::chrono::seconds(seconds)).time_since_epoch().count();
}

std::string header_of(MHD_Connection *connection, const char *name) {
    const char *value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value != nullptr ? value : "";
}

MHD_Result keep_query(void *to, MHD_ValueKind, const char *key, const char *value) {
    (*static_cast<std::map<std::string, std::string> *>(to))[key] = value != nullptr ? value : "";
    return MHD_YES;
}

bool announces_more_than(MHD_Connection *connection, std::size_t limit) {
    const std::string length = header_of(connection, MHD_HTTP_HEADER_CONTENT_LENGTH);
    // More digits than this are no length that is wanted here, whatever number they make.
    return length.size() > 12 || (!length.empty() && std::strtoull(length.c_str(), nullptr, 10) > limit);
}

http_response too_long(std::size_t limit) {
    return problem(413, "The body is longer than " + std::to_string(limit) + " bytes.");
}

}  // namespace

class http_server::core {
  public:
    core(const http_options &options, http_handler handler);
    ~core();
    core(const core &) = delete;
    core &operator=(const core &) = delete;

    std::uint16_t port() const { return port_; }
    void wake();

  private:
    /** A feed and the client that reads it. */
    struct reader {
        core &of;
        MHD_Connection *connection;
        std::unique_ptr<event_feed> feed;
        std::string pending;
        bool is_suspended = false;
    };

    static MHD_Result on_request(void *cookie, MHD_Connection *connection, const char *path, const char *method,
                                 const char *, const char *data, std::size_t *size, void **place);
    static void on_completed(void *cookie, MHD_Connection *, void **place, MHD_RequestTerminationCode);
    static void on_connection(void *cookie, MHD_Connection *connection, void **place, MHD_ConnectionNotificationCode);
    static void on_log(void *cookie, const char *format, va_list arguments);
    static ssize_t on_read(void *cookie, std::uint64_t, char *to, std::size_t room);
    static void on_reader_gone(void *cookie);

    void start(const http_options &options);
    MHD_Result begin(MHD_Connection *connection, const char *path, const char *method, void **place);
    MHD_Result take_body(exchange &of, const char *data, std::size_t *size) const;
    MHD_Result finish(MHD_Connection *connection, exchange &of);
    MHD_Result send(MHD_Connection *connection, const exchange &of, http_response response);
    MHD_Response *feed_response(MHD_Connection *connection, http_response &response);
    http_response answer(const http_request &request) const;

    http_options options_;
    http_handler handler_;
    std::mutex mutex_;  // for what follows
    std::set<std::unique_ptr<peer_connection>> connections_;
    std::set<reader *> readers_;
    bool is_ending_ = false;
    std::string log_;
    std::uint16_t port_ = 0;
    MHD_Daemon *daemon_ = nullptr;
};

http_server::core::core(const http_options &options, http_handler handler)
    : options_(options), handler_(std::move(handler)) {
    start(options);
}

void http_server::core::start(const http_options &options) {
    const int listener = listen_on(options.address, options.port);
    port_ = port_of(listener);
    const bool has_tls = !options.certificate.empty();
    const auto number = [](auto value) { return static_cast<std::intptr_t>(value); };
    std::vector<MHD_OptionItem> items{
        {MHD_OPTION_CONNECTION_LIMIT, number(options.connections), nullptr},
        {MHD_OPTION_PER_IP_CONNECTION_LIMIT, number(options.connections_per_peer), nullptr},
        {MHD_OPTION_CONNECTION_TIMEOUT, number(options.answer_seconds), nullptr},
        {MHD_OPTION_CONNECTION_MEMORY_LIMIT, 32 * 1024, nullptr},
        {MHD_OPTION_THREAD_POOL_SIZE, number(options.threads), nullptr},
        {MHD_OPTION_LISTEN_SOCKET, number(listener), nullptr},
        {MHD_OPTION_STRICT_FOR_CLIENT, 1, nullptr}};
    if (has_tls) {
        items.push_back({MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char *>(options.certificate.c_str())});
        items.push_back({MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char *>(options.key.c_str())});
        items.push_back(
            {MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char *>("NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2")});
    }
    items.push_back({MHD_OPTION_END, 0, nullptr});
    const unsigned flags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG |
                           (has_tls ? static_cast<unsigned>(MHD_USE_TLS) : 0u);
    daemon_ = MHD_start_daemon(flags, 0, nullptr, nullptr, on_request, this, MHD_OPTION_EXTERNAL_LOGGER, on_log, this,
                               MHD_OPTION_NOTIFY_COMPLETED, on_completed, this, MHD_OPTION_NOTIFY_CONNECTION,
                               on_connection, this, MHD_OPTION_ARRAY, items.data(), MHD_OPTION_END);
    if (daemon_ == nullptr) {
        throw std::runtime_error(std::string(has_tls ? "the certificate and key cannot be used: " : "") +
                                 "the HTTP server did not start: " + log_);
    }
}

http_server::core::~core() {
    {
        const std::lock_guard lock(mutex_);
        is_ending_ = true;
        for (reader *one : readers_) {
            if (one->is_suspended) {
                one->is_suspended = false;
                MHD_resume_connection(one->connection);
            }
        }
    }
    MHD_stop_daemon(daemon_);
}

void http_server::core::wake() {
    const std::lock_guard lock(mutex_);
    for (reader *one : readers_) {
        if (!one->is_suspended) {
            continue;
        }
        one->pending = one->feed->next();
        if (!one->pending.empty()) {
            one->is_suspended = false;
            MHD_resume_connection(one->connection);
        }
    }
    // The library's own time-out begins anew with each byte, so that a client could hold a connection for hours.
    const steady::rep now = steady::now().time_since_epoch().count();
    for (const std::unique_ptr<peer_connection> &connection : connections_) {
        if (connection->until < now) {
            ::shutdown(connection->socket, SHUT_RDWR);
        }
    }
}

void http_server::core::on_connection(void *cookie, MHD_Connection *connection, void **place,
                                      MHD_ConnectionNotificationCode code) {
    core &self = *static_cast<core *>(cookie);
    const std::lock_guard lock(self.mutex_);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
        auto record = std::make_unique<peer_connection>();
        record->socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
        record->until = in_seconds(self.options_.request_seconds);
        *place = record.get();
        self.connections_.insert(std::move(record));
        return;
    }
    const auto found = std::find_if(self.connections_.begin(), self.connections_.end(),
                                    [place](const auto &record) { return record.get() == *place; });
    if (found != self.connections_.end()) {
        self.connections_.erase(found);
    }
}

MHD_Result http_server::core::on_request(void *cookie, MHD_Connection *connection, const char *path, const char *method,
                                         const char *, const char *data, std::size_t *size, void **place) {
    core &self = *static_cast<core *>(cookie);
    try {
        if (*place == nullptr) {
            return self.begin(connection, path, method, place);
        }
        exchange &of = *static_cast<exchange *>(*place);
        return *size > 0 ? self.take_body(of, data, size) : self.finish(connection, of);
    } catch (const std::exception &) {
        return MHD_NO;  // ends the connection: want of memory is all that comes here
    }
}

MHD_Result http_server::core::begin(MHD_Connection *connection, const char *path, const char *method, void **place) {
    auto made = std::make_unique<exchange>();
    const MHD_ConnectionInfo *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    made->record = static_cast<peer_connection *>(info->socket_context);
    made->record->until = in_seconds(options_.request_seconds);
    http_request &request = made->request;
    request.method = method;
    request.path = path;
    request.authorization = header_of(connection, MHD_HTTP_HEADER_AUTHORIZATION);
    request.last_event_id = header_of(connection, "Last-Event-ID");
    request.known_tag = header_of(connection, MHD_HTTP_HEADER_IF_NONE_MATCH);
    request.takes_gzip = header_of(connection, MHD_HTTP_HEADER_ACCEPT_ENCODING).find("gzip") != std::string::npos;
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, keep_query, &request.query);
    made->is_refused = announces_more_than(connection, options_.body_bytes);
    exchange &of = *made;
    *place = made.release();
    // A client that is still sending when its connection is closed may never see why.
    const bool waits = !header_of(connection, MHD_HTTP_HEADER_EXPECT).empty();
    return of.is_refused && (waits || announces_more_than(connection, most_discarded))
               ? send(connection, of, too_long(options_.body_bytes))
               : MHD_YES;
}

MHD_Result http_server::core::take_body(exchange &of, const char *data, std::size_t *size) const {
    std::string &body = of.request.body;
    of.is_refused = of.is_refused || *size > options_.body_bytes - body.size();
    if (!of.is_refused) {
        body.append(data, *size);
    }
    *size = 0;
    return MHD_YES;
}

http_response http_server::core::answer(const http_request &request) const {
    try {
        return handler_(request);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "ptp_fleet: %s %s: %s\n", request.method.c_str(), request.path.c_str(), error.what());
        return problem(500, std::string("That could not be answered: ") + error.what());
    }
}

MHD_Result http_server::core::finish(MHD_Connection *connection, exchange &of) {
    return send(connection, of, of.is_refused ? too_long(options_.body_bytes) : answer(of.request));
}

MHD_Result http_server::core::send(MHD_Connection *connection, const exchange &of, http_response response) {
    MHD_Response *made = response.feed != nullptr ? feed_response(connection, response) : nullptr;
    of.record->until = made != nullptr ? std::numeric_limits<steady::rep>::max() : in_seconds(options_.answer_seconds);
    if (made == nullptr) {
        compress(of.request, response);
        const std::string &body = *response.body;
        made = MHD_create_response_from_buffer(body.size(), const_cast<char *>(body.data()), MHD_RESPMEM_MUST_COPY);
    }
    if (made == nullptr) {
        return MHD_NO;
    }
    MHD_add_response_header(made, MHD_HTTP_HEADER_CONTENT_TYPE, response.content_type.c_str());
    MHD_add_response_header(made, "X-Content-Type-Options", "nosniff");
    for (const auto &[name, value] : response.header) {
        MHD_add_response_header(made, name.c_str(), value.c_str());
    }
    const MHD_Result result = MHD_queue_response(connection, response.status, made);
    MHD_destroy_response(made);
    return result;
}

/** Nothing, and the response says why, when there are feeds enough. */
MHD_Response *http_server::core::feed_response(MHD_Connection *connection, http_response &response) {
    const std::lock_guard lock(mutex_);
    if (readers_.size() >= options_.feeds) {
        response = problem(503, "There are " + std::to_string(options_.feeds) + " streams already; ask again later.");
        return nullptr;
    }
    auto made = std::make_unique<reader>(reader{*this, connection, std::move(response.feed), {}, false});
    MHD_Response *of =
        MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, feed_block, on_read, made.get(), on_reader_gone);
    if (of != nullptr) {
        readers_.insert(made.release());
    }
    return of;
}

/** A client that is slow is asked less often, and is told what has added up. */
ssize_t http_server::core::on_read(void *cookie, std::uint64_t, char *to, std::size_t room) {
    reader &one = *static_cast<reader *>(cookie);
    const std::lock_guard lock(one.of.mutex_);
    if (one.of.is_ending_) {
        return MHD_CONTENT_READER_END_OF_STREAM;
    }
    if (one.pending.empty()) {
        one.pending = one.feed->next();
    }
    if (one.pending.empty()) {
        one.is_suspended = true;
        MHD_suspend_connection(one.connection);
        return 0;
    }
    const std::size_t count = std::min(room, one.pending.size());
    std::memcpy(to, one.pending.data(), count);
    one.pending.erase(0, count);
    return static_cast<ssize_t>(count);
}

void http_server::core::on_reader_gone(void *cookie) {
    const std::unique_ptr<reader> one(static_cast<reader *>(cookie));
    const std::lock_guard lock(one->of.mutex_);
    one->of.readers_.erase(one.get());
}

void http_server::core::on_completed(void *cookie, MHD_Connection *, void **place, MHD_RequestTerminationCode) {
    core &self = *static_cast<core *>(cookie);
    const std::unique_ptr<exchange> done(static_cast<exchange *>(*place));
    *place = nullptr;
    if (done != nullptr) {
        done->record->until = in_seconds(self.options_.answer_seconds);
    }
}

/** What it says while it starts is the reason when it does not; afterwards it tells of clients, who may be many. */
void http_server::core::on_log(void *cookie, const char *format, va_list arguments) {
    core &self = *static_cast<core *>(cookie);
    if (self.daemon_ == nullptr) {
        char line[512];
        std::vsnprintf(line, sizeof line, format, arguments);
        self.log_ += line;
    }
}

http_server::http_server(const http_options &options, http_handler handler)
    : core_(std::make_unique<core>(options, std::move(handler))) {}

http_server::~http_server() = default;

std::uint16_t http_server::port() const { return core_->port(); }

void http_server::wake() { core_->wake(); }

}  // namespace ptp_fleet
