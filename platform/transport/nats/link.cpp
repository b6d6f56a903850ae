// One thread connects and publishes, one more fetches where the receiver is durable.
#include "link.h"

#include "base/blocked_signals.h"

namespace vela::nats {

link::link(settings of, const vela_transport_request &request)
    : settings_(std::move(of)),
      publisher_(settings_, request.describe, board_),
      subscriber_(settings_, request.max_message, board_),
      connection_(settings_, board_),
      peer_("the server at " + settings_.place) {}

bool link::open(failure &why) {
    if (board_.fd() < 0) {
        why = base::system_failure(errno, "no descriptor");
        return false;
    }
    if (!settings_.send.empty() && !publisher_.open(why)) {
        return false;
    }
    const base::blocked_signals guard;  // signals are the program's, and come to its own threads
    thread_ = std::thread([this] { run(); });
    return true;
}

link::~link() {
    {
        const std::lock_guard lock(board_.mutex);
        board_.is_stopping = true;
        board_.changed.notify_all();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

void link::run() {
    while (connection_.open()) {
        serve();
        const std::lock_guard lock(board_.mutex);
        if (board_.is_stopping) {
            break;
        }
    }
}

// Until the link is stopping or the client has given the connection up.
void link::serve() {
    std::thread fetching;
    if (!settings_.receive.empty() && !settings_.durable.empty()) {
        fetching = std::thread([this] { subscriber_.run(connection_); });
    } else if (!settings_.receive.empty()) {
        subscriber_.start(connection_);
    }
    if (!settings_.send.empty()) {
        publisher_.run(connection_);
    } else {
        std::unique_lock lock(board_.mutex);
        board_.changed.wait(lock, [this] { return board_.is_stopping || connection_.is_closed(); });
    }
    if (fetching.joinable()) {
        fetching.join();
    }
    subscriber_.end(connection_);
    publisher_.end();
    connection_.end();
}

bool link::send(const u_int8 *bytes, u_int32 length, u_int32 &progress) {
    const std::lock_guard lock(board_.mutex);
    if (settings_.send.empty()) {
        board_.tell_again({VELA_CHANNEL_LOST, VELA_ENOTCONN, 1, "there is nowhere to send to: add ?send=SUBJECT"});
        return true;
    }
    return publisher_.take(bytes, length, progress);
}

bool link::receive(vela_transport_frame &frame) {
    const std::lock_guard lock(board_.mutex);
    if (subscriber_.take(frame)) {
        return true;
    }
    if (!board_.has_notes()) {
        board_.calm();
    }
    return false;
}

bool link::next_note(vela_transport_note &out) {
    const std::lock_guard lock(board_.mutex);
    if (!board_.take(note_)) {
        return false;
    }
    out = {note_.kind, note_.err, note_.messages, note_.text.c_str()};
    return true;
}

u_int32 link::unconfirmed() const {
    const std::lock_guard lock(board_.mutex);
    return publisher_.unconfirmed();
}

u_int32 link::at_risk() const {
    const std::lock_guard lock(board_.mutex);
    return publisher_.at_risk();
}

bool link::finish() {
    const std::lock_guard lock(board_.mutex);
    subscriber_.finish();
    publisher_.finish();
    return publisher_.unconfirmed() == 0 && !subscriber_.has_frames() && !subscriber_.is_fetching();
}

}  // namespace vela::nats
