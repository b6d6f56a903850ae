// How the peers of a channel come and go.
#include <errno.h>
#include <string.h>
#include <sys/timerfd.h>
#include <time.h>

#include <algorithm>

#include "channel.h"
#include "socket.h"

using namespace vela::transport;

namespace {

constexpr int most_accepts = 16;          // before the peers have their turn
constexpr u_int32 accept_pause_ms = 100;  // when descriptors run out

u_int64 now_ms() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<u_int64>(now.tv_sec) * 1000 + static_cast<u_int64>(now.tv_nsec) / 1'000'000;
}

}  // namespace

bool vela_channel::listen(failure &why) {
    listening_ = open_descriptors(why) ? mechanism_->listen(why) : -1;
    if (listening_ < 0) {
        return false;
    }
    uri_ = mechanism_->uri();
    watch_listening();
    return true;
}

void vela_channel::watch_listening() {
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.ptr = &listening_;
    epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, listening_, &event);
}

bool vela_channel::connect(failure &why) {
    if (!open_descriptors(why)) {
        return false;
    }
    is_connector_ = true;
    try_connect();
    retire_ended();
    return true;
}

u_int32 vela_channel::open_peers() const {
    return static_cast<u_int32>(
        std::count_if(peers_.begin(), peers_.end(), [](const auto &each) { return each->is_open(); }));
}

void vela_channel::accept_peers() {
    for (int i = 0; i < most_accepts; ++i) {
        failure why;
        std::unique_ptr<peer_link> connection = mechanism_->accept(why);
        if (connection == nullptr && why.code == EAGAIN) {
            return;
        }
        if (connection != nullptr && peers_.size() < options_.max_peers) {
            adopt(std::move(connection));
        } else if (connection != nullptr || why.code == EACCES) {
            ++counters_.refused_peers;
            bool too_many = connection != nullptr;
            tell(VELA_CHANNEL_REFUSED, too_many ? VELA_EAGAIN : VELA_EACCES, 0,
                 uri_ + ": " + (too_many ? connection->peer() + " turned away: too many peers" : why.text));
        } else {
            // No descriptor or no memory: the system would report the waiting peer again and again.
            epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, listening_, nullptr);
            is_accept_paused_ = true;
            set_timer(accept_pause_ms);
            return;
        }
    }
}

void vela_channel::on_timer() {
    u_int64 expirations = 0;
    [[maybe_unused]] ssize_t got = read(timer_.get(), &expirations, sizeof expirations);
    is_timer_due_ = false;
    if (is_accept_paused_) {
        is_accept_paused_ = false;
        watch_listening();
    }
    if (is_connector_ && peers_.empty()) {
        try_connect();
    }
}

void vela_channel::try_connect() {
    failure why;
    std::unique_ptr<peer_link> connection = mechanism_->connect(why);
    if (connection != nullptr) {
        adopt(std::move(connection));
        return;
    }
    if (why.code == EACCES) {
        ++counters_.refused_peers;
        tell(VELA_CHANNEL_REFUSED, VELA_EACCES, 0, uri_ + ": " + why.text);
    }
    connect_later();
}

void vela_channel::connect_later() {
    set_timer(next_wait_ms_);
    next_wait_ms_ = std::min(next_wait_ms_ * 2, options_.reconnect_most_ms);
}

void vela_channel::adopt(std::unique_ptr<peer_link> connection) {
    peers_.push_back(std::make_unique<peer>(std::move(connection), epoll_.get()));
    peer &added = *peers_.back();
    if (!added.watch()) {
        added.end();
    } else if (added.establish()) {
        open(added);
    }
}

void vela_channel::open(peer &of) {
    counters_.reconnects += is_connector_ && counters_.connects > 0 ? 1 : 0;
    ++counters_.connects;
    connected_at_ms_ = now_ms();
    of.queue() = std::exchange(waiting_, frame_queue());
    flush(of);
    tell(VELA_CHANNEL_CONNECTED, 0, 0, uri_ + ": connected with " + of.connection().peer());
}

void vela_channel::retire_ended() {
    for (size_t i = 0; i < peers_.size();) {
        if (!peers_[i]->has_ended()) {
            ++i;
            continue;
        }
        std::unique_ptr<peer> ended = std::move(peers_[i]);
        peers_.erase(peers_.begin() + static_cast<std::ptrdiff_t>(i));
        retire(std::move(ended));
    }
}

void vela_channel::retire(std::unique_ptr<peer> of) {
    last_sender_ = last_sender_ == of.get() ? nullptr : last_sender_;
    if (is_connector_) {
        bool was_up_long = of->is_open() && now_ms() - connected_at_ms_ >= options_.reconnect_most_ms;
        next_wait_ms_ = was_up_long ? options_.reconnect_first_ms : next_wait_ms_;
        connect_later();
    }
    if (!of->is_open()) {
        return;
    }
    ++counters_.disconnects;
    const std::string name = uri_ + ": " + of->connection().peer();
    u_int32 unread = of->connection().unread();
    u_int32 left = of->queue().count();
    if (left > 0 && open_peers() == 0) {
        of->queue().start_over();
        waiting_ = std::move(of->queue());  // was empty while a peer was there
        left = 0;
    }
    counters_.unread += unread;
    counters_.lost += left;
    if (unread > 0) {
        tell(VELA_CHANNEL_UNREAD, static_cast<u_int32>(of->error()), unread, name + " ended before it read everything");
    }
    if (left > 0) {
        tell(VELA_CHANNEL_LOST, static_cast<u_int32>(of->error()), left, name + " ended; what waited for it is lost");
    }
    const char *reason = of->error() != 0 ? strerror(of->error()) : "closed by the peer";
    tell(VELA_CHANNEL_DISCONNECTED, static_cast<u_int32>(of->error()), 0, name + ": " + reason);
}

void vela_channel::shut_down() {
    u_int32 left = waiting_.count();
    for (const auto &each : peers_) {
        if (each->is_open()) {
            flush(*each);
        }
        left += each->queue().count();
    }
    peers_.clear();
    waiting_ = frame_queue();
    last_sender_ = nullptr;
    if (left > 0) {
        counters_.lost += left;
        tell(VELA_CHANNEL_LOST, 0, left, uri_ + ": closed before everything was sent");
    }
}
