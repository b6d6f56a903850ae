// Connects, and says so; the client itself connects again.
#include "connection.h"

#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>

#include <chrono>
#include <memory>
#include <vector>

namespace vela::nats {
namespace {

constexpr int64_t connect_ms = 2000;
constexpr int64_t reconnect_ms = 250;
constexpr int64_t ping_ms = 5000;
constexpr int unanswered_pings = 2;
constexpr std::chrono::milliseconds first_wait(100);
constexpr std::chrono::milliseconds longest_wait(1000);

// False with what went wrong with which setting.
bool took(natsStatus status, const std::string &setting, failure &why) {
    if (status != NATS_OK) {
        why = {VELA_EINVAL, setting + ": " + reason_of(status)};
    }
    return status == NATS_OK;
}

std::vector<std::string> split(const std::string &text) {
    std::vector<std::string> parts;
    for (size_t at = 0; at <= text.size();) {
        const size_t comma = std::min(text.find(',', at), text.size());
        parts.push_back(text.substr(at, comma - at));
        at = comma + 1;
    }
    return parts;
}

in_port_t port_of(const sockaddr_storage &address) {
    return address.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6 &>(address).sin6_port
                                         : reinterpret_cast<const sockaddr_in &>(address).sin_port;
}

// The client's sockets would outlive the exec of a program that this one starts: marks those that lead to a port.
void keep_from_children(const char *url) {
    const char *colon = strrchr(url, ':');
    const in_port_t port = htons(static_cast<in_port_t>(colon != nullptr ? atoi(colon + 1) : 0));
    const std::unique_ptr<DIR, int (*)(DIR *)> open(opendir("/proc/self/fd"), closedir);
    for (const dirent *each = open ? readdir(open.get()) : nullptr; each != nullptr; each = readdir(open.get())) {
        const int file = atoi(each->d_name);
        sockaddr_storage peer = {};
        socklen_t size = sizeof peer;
        if (file > 2 && getpeername(file, reinterpret_cast<sockaddr *>(&peer), &size) == 0 &&
            (peer.ss_family == AF_INET || peer.ss_family == AF_INET6) && port_of(peer) == port) {
            fcntl(file, F_SETFD, FD_CLOEXEC);
        }
    }
}

u_int32 code_of(natsStatus status) {
    switch (status) {
        case NATS_CONNECTION_AUTH_FAILED:
        case NATS_NOT_PERMITTED:
            return VELA_EACCES;
        case NATS_TIMEOUT:
            return VELA_ETIMEDOUT;
        default:
            return VELA_ENOTCONN;
    }
}

}  // namespace

void connection::end() {
    // Its callbacks may run until the last of them, which says that it is closed.
    if (connection_) {
        natsConnection_Close(connection_.get());
        closed_.get_future().wait();
        connection_.reset();
    }
}

bool connection::prepare_identity(natsOptions *options, failure &why) {
    std::string secret;
    if (!settings_.credentials.empty() &&
        !took(natsOptions_SetUserCredentialsFromFiles(options, settings_.credentials.c_str(), nullptr),
              settings_.credentials, why)) {
        return false;
    }
    if (!settings_.token_file.empty() && !(read_secret(settings_.token_file, secret, why) &&
                                           took(natsOptions_SetToken(options, secret.c_str()), "token_file", why))) {
        return false;
    }
    return settings_.user.empty() ||
           (read_secret(settings_.password_file, secret, why) &&
            took(natsOptions_SetUserInfo(options, settings_.user.c_str(), secret.c_str()), "user", why));
}

bool connection::prepare_tls(natsOptions *options, failure &why) {
    const settings &of = settings_;
    if (!of.has_tls) {
        return true;
    }
    return took(natsOptions_SetSecure(options, true), "tls", why) &&
           (of.ca.empty() || took(natsOptions_LoadCATrustedCertificates(options, of.ca.c_str()), of.ca, why)) &&
           (of.certificate.empty() ||
            took(natsOptions_LoadCertificatesChain(options, of.certificate.c_str(), of.key.c_str()), of.certificate,
                 why));
}

bool connection::prepare(natsOptions *options, failure &why) {
    const std::vector<std::string> servers = split(settings_.servers);
    std::vector<const char *> names;
    for (const std::string &each : servers) {
        names.push_back(each.c_str());
    }
    natsOptions_SetTimeout(options, connect_ms);
    natsOptions_SetMaxReconnect(options, -1);
    natsOptions_SetReconnectWait(options, reconnect_ms);
    natsOptions_SetReconnectJitter(options, reconnect_ms / 2, reconnect_ms / 2);
    natsOptions_SetPingInterval(options, ping_ms);
    natsOptions_SetMaxPingsOut(options, unanswered_pings);
    natsOptions_SetDisconnectedCB(options, on_disconnected, this);
    natsOptions_SetReconnectedCB(options, on_reconnected, this);
    natsOptions_SetErrorHandler(options, on_error, this);
    natsOptions_SetClosedCB(options, on_closed, this);
    return took(natsOptions_SetServers(options, names.data(), static_cast<int>(names.size())), "servers", why) &&
           prepare_identity(options, why) && prepare_tls(options, why);
}

bool connection::try_to_open(failure &why) {
    natsOptions *made = nullptr;
    natsOptions_Create(&made);
    const options_handle options(made);
    if (!options || !prepare(options.get(), why)) {
        return false;
    }
    closed_ = std::promise<void>();
    natsConnection *opened = nullptr;
    const natsStatus status = natsConnection_Connect(&opened, options.get());
    connection_.reset(opened);
    if (status != NATS_OK) {
        why = {code_of(status), "no connection to " + settings_.place + ": " + reason_of(status)};
    }
    return status == NATS_OK;
}

bool connection::open() {
    std::string told;
    for (auto wait = first_wait;; wait = std::min(wait * 2, longest_wait)) {
        failure why;
        const bool is_open = try_to_open(why);
        std::unique_lock lock(board_.mutex);
        if (is_open) {
            note_up(connection_.get(), "connected with ");
            return true;
        }
        if (told != why.text) {
            told = why.text;
            board_.tell({VELA_CHANNEL_REFUSED, why.code, 0, why.text});
        }
        if (board_.changed.wait_for(lock, wait, [this] { return board_.is_stopping; })) {
            return false;
        }
    }
}

void connection::note_up(natsConnection *of, const char *how) {
    char url[256] = "";
    natsConnection_GetConnectedUrl(of, url, sizeof url);
    keep_from_children(url);
    is_up_ = true;
    is_closed_ = false;
    ++count_;
    board_.tell({VELA_CHANNEL_CONNECTED, 0, 0, how + std::string(url)});
    board_.changed.notify_all();
}

void connection::on_disconnected(natsConnection *, void *self) {
    connection &of = *static_cast<connection *>(self);
    const std::lock_guard lock(of.board_.mutex);
    of.is_up_ = false;
    if (!of.board_.is_stopping) {
        of.board_.tell(
            {VELA_CHANNEL_DISCONNECTED, VELA_ENOTCONN, 0, "the server is gone; what is sent waits until one is there"});
    }
}

void connection::on_closed(natsConnection *, void *self) {
    connection &of = *static_cast<connection *>(self);
    const std::lock_guard lock(of.board_.mutex);
    of.is_closed_ = true;
    of.board_.changed.notify_all();
    of.closed_.set_value();
}

void connection::on_reconnected(natsConnection *of, void *self) {
    connection &mine = *static_cast<connection *>(self);
    const std::lock_guard lock(mine.board_.mutex);
    mine.note_up(of, "connected again with ");
}

// What a server says that no call asked for: rights that are missing, mostly.
void connection::on_error(natsConnection *, natsSubscription *, natsStatus status, void *self) {
    connection &of = *static_cast<connection *>(self);
    const std::string text = reason_of(status);
    const std::lock_guard lock(of.board_.mutex);
    of.board_.tell_again({VELA_CHANNEL_REFUSED, code_of(status), 1, text});
}

}  // namespace vela::nats
