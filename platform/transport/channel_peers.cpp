// How the peers of a channel come and go.
#include <errno.h>
#include <string.h>

#include <algorithm>

#include "channel.h"
#include "socket.h"

using namespace vela::transport;

namespace {

constexpr int most_accepts = 16;          // before the peers have their turn
constexpr u_int32 accept_pause_ms = 100;  // when descriptors run out

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

// At its end a channel looks only for those who are to get what waits.
bool vela_channel::wants_peers() const { return !is_finishing_ || !waiting_.empty(); }

void vela_channel::watch_listening() {
    bool is_wanted = listening_ >= 0 && wants_peers() && !times_.is_set(timetable::accept_again);
    if (is_wanted != is_listening_watched_) {
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.ptr = &listening_;
        epoll_ctl(epoll_.get(), is_wanted ? EPOLL_CTL_ADD : EPOLL_CTL_DEL, listening_, &event);
        is_listening_watched_ = is_wanted;
    }
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
        if (connection != nullptr && has_room()) {
            adopt(std::move(connection));
        } else if (connection != nullptr) {
            connection->refuse();
            refuse(VELA_EAGAIN, connection->peer() + " turned away: too many peers");
        } else if (why.code == EACCES) {
            refuse(VELA_EACCES, why.text);
        } else {
            // No descriptor or no memory: the system would report the waiting peer again and again.
            times_.set(timetable::accept_again, accept_pause_ms);
            watch_listening();
            return;
        }
    }
}

bool vela_channel::has_room() {
    if (peers_.size() < options_.max_peers) {
        return true;
    }
    peer *silent = longest_silent(peers_, now_ms(), options_.idle_ms);
    if (silent == nullptr) {
        return false;
    }
    silent->end(ETIMEDOUT);
    retire_ended();
    return true;
}

void vela_channel::refuse(u_int32 err, std::string text) {
    ++counters_.refused_peers;
    refusals_.add(err, std::move(text));
    if (!times_.is_set(timetable::tell_of_refused)) {
        tell_of_refused();
    }
}

void vela_channel::tell_of_refused() {
    if (refusals_.empty()) {
        return;
    }
    refusals told = std::exchange(refusals_, refusals());
    times_.set(timetable::tell_of_refused, refusals::pause_ms);
    tell(VELA_CHANNEL_REFUSED, told.err(), told.count(), uri_ + ": " + told.text());
}

void vela_channel::on_timer() {
    u_int64 now = now_ms();
    times_.take(timetable::look_around, now);  // whoever processes the channel looks around
    if (times_.take(timetable::accept_again, now)) {
        watch_listening();
    }
    if (times_.take(timetable::tell_of_refused, now)) {
        tell_of_refused();
    }
    if (times_.take(timetable::connect_again, now) && peers_.empty() && wants_peers()) {
        try_connect();
    }
    times_.rearm();
}

void vela_channel::try_connect() {
    failure why;
    std::unique_ptr<peer_link> connection = mechanism_->connect(why);
    if (connection != nullptr) {
        adopt(std::move(connection));
        return;
    }
    if (why.code == EACCES) {
        refuse(VELA_EACCES, why.text);
    }
    connect_later();
}

void vela_channel::connect_later() {
    times_.set(timetable::connect_again, next_wait_ms_);
    next_wait_ms_ = std::min(next_wait_ms_ * 2, options_.reconnect_most_ms);
}

void vela_channel::adopt(std::unique_ptr<peer_link> connection) {
    peers_.push_back(std::make_unique<peer>(std::move(connection), epoll_.get(), now_ms()));
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
    if (is_connector_ && of->error() == EAGAIN) {
        refuse(VELA_EAGAIN, of->connection().peer() + " has no place left for another peer");
    }
    if (!of->is_open()) {
        return;
    }
    ++counters_.disconnects;
    const std::string name = uri_ + ": " + of->connection().peer();
    u_int32 unread = of->connection().unread();
    u_int32 left = of->queue().count();
    if (left > 0 && open_peers() == 0 && waiting_.empty()) {  // it is not, if the peer was long about to leave
        of->queue().start_over();
        waiting_ = std::move(of->queue());
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
