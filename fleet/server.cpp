// Connects, or says why not.
#include "server.h"

#include <chrono>
#include <thread>

namespace ptp_fleet {

void check(natsStatus status, const std::string &what) {
    if (status != NATS_OK) {
        throw std::runtime_error(what + ": " + vela::nats::reason_of(status));
    }
}

server::server(const std::string &uri, bool listens, double seconds) : connection_(settings_, board_) {
    constexpr std::string_view scheme = "nats:";
    base::failure why;
    const std::string rest = uri.starts_with(scheme) ? uri.substr(scheme.size()) : uri;
    if (!vela::nats::read_settings({rest.c_str(), listens ? 1u : 0u, 0, nullptr}, settings_, why)) {
        throw std::runtime_error(uri + ": " + why.text);
    }
    std::thread patience([&] {
        std::unique_lock lock(board_.mutex);
        board_.changed.wait_for(lock, std::chrono::duration<double>(seconds), [&] { return connection_.is_up(); });
        board_.is_stopping = !connection_.is_up();
        board_.changed.notify_all();
    });
    const bool is_open = connection_.open();
    patience.join();
    vela::nats::note reason{{}, {}, {}, "no server"};
    if (!is_open) {
        while (board_.take(reason)) {
        }
        throw std::runtime_error(uri + ": " + reason.text);
    }
    jsCtx *made = nullptr;
    check(natsConnection_JetStream(&made, connection_.get(), nullptr), uri);
    context_.reset(made);
}

bool server::is_gone() {
    const std::lock_guard lock(board_.mutex);
    return connection_.is_closed();
}

}  // namespace ptp_fleet
