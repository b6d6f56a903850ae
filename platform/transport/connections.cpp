// How the peers of a channel come and go.
#include "connections.h"

#include <errno.h>
#include <string.h>

#include <algorithm>

namespace vela::transport {
namespace {

constexpr int most_accepts = 16;          // before the peers have their turn
constexpr u_int32 accept_pause_ms = 100;  // when descriptors run out

}  // namespace

connections::connections(channel_context &context, poller &events, outbox &out, std::unique_ptr<backend> place)
    : context_(context),
      poller_(events),
      outbox_(out),
      place_(std::move(place)),
      next_wait_ms_(context.options.reconnect_first_ms) {}

bool connections::open_poller(failure &why) {
    const bool is_open = poller_.open();
    why = is_open ? failure{} : system_failure(errno, "no descriptors for " + context_.uri);
    return is_open;
}

bool connections::listen(failure &why) {
    listening_ = open_poller(why) ? place_->listen(why) : -1;
    if (listening_ < 0) {
        return false;
    }
    context_.uri = place_->uri();
    watch_listening();
    if (!is_listening_watched_) {
        why = system_failure(errno, "cannot wait for peers at " + context_.uri);
    }
    return is_listening_watched_;
}

// At its end a channel looks only for those who are to get what waits.
bool connections::wants_peers() const { return !is_finishing_ || !outbox_.waiting().empty(); }

// Nobody would hear of a newcomer when the system has no room to watch for one: that is then tried again.
void connections::watch_listening() {
    const bool is_wanted = listening_ >= 0 && wants_peers() && !poller_.times().is_set(timetable::accept_again);
    if (is_wanted == is_listening_watched_) {
        return;
    }
    const bool is_done = poller_.watch(listening_, &listening_, is_wanted);
    is_listening_watched_ = is_wanted && is_done;
    if (!is_done && is_wanted) {
        const int code = errno;
        poller_.times().set(timetable::accept_again, accept_pause_ms);
        errno = code;
    }
}

bool connections::connect(failure &why) {
    if (!open_poller(why)) {
        return false;
    }
    is_connector_ = true;
    try_connect();
    retire_ended();
    return true;
}

// ---- what there is to do --------------------------------------------------------------------------------------

bool connections::wait(int timeout_ms) {
    if (poller_.poll(timeout_ms) == 0) {
        return false;
    }
    // The usual case: one peer has sent something. The next message is then looked for there.
    void *source = poller_.only_source();
    const bool is_peer = source != nullptr && source != &poller_.times() && source != &listening_;
    if (is_peer && static_cast<peer *>(source)->is_open()) {
        last_sender_ = static_cast<peer *>(source);
    }
    return true;
}

peer *connections::peer_of(const epoll_event &event) {
    if (event.data.ptr == &poller_.times()) {
        on_timer();
        return nullptr;
    }
    is_called_ |= event.data.ptr == &listening_;
    return event.data.ptr == &listening_ ? nullptr : static_cast<peer *>(event.data.ptr);
}

void connections::settle() {
    retire_ended();
    // After the farewell of those who ended: what waited for the last of them is for who comes now.
    if (std::exchange(is_called_, false)) {
        accept_peers();
        retire_ended();
    }
}

vela_channel_statistics connections::statistics() const {
    vela_channel_statistics result = context_.counters;
    result.peers = open_peers();
    result.queued = outbox_.waiting().count();
    result.queued_bytes = outbox_.waiting().bytes();
    for (const auto &each : peers_) {
        result.queued += each->queue().count();
        result.queued_bytes += each->queue().bytes();
    }
    return result;
}

u_int32 connections::unconfirmed() const {
    u_int32 sum = 0;
    for (const auto &each : peers_) {
        sum += each->is_open() ? each->connection().unconfirmed() : 0;
    }
    return sum;
}

// ---- coming and going -----------------------------------------------------------------------------------------

u_int32 connections::open_peers() const {
    return static_cast<u_int32>(
        std::count_if(peers_.begin(), peers_.end(), [](const auto &each) { return each->is_open(); }));
}

void connections::accept_peers() {
    for (int i = 0; i < most_accepts; ++i) {
        failure why;
        std::unique_ptr<peer_link> connection = place_->accept(why);
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
            poller_.times().set(timetable::accept_again, accept_pause_ms);
            watch_listening();
            return;
        }
    }
}

bool connections::has_room() {
    if (peers_.size() < context_.options.max_peers) {
        return true;
    }
    peer *silent = longest_silent(peers_, now_ms(), context_.options.idle_ms);
    if (silent == nullptr) {
        return false;
    }
    silent->end(ETIMEDOUT);
    retire_ended();
    return true;
}

void connections::refuse(u_int32 err, std::string text) {
    ++context_.counters.refused_peers;
    refusals_.add(err, std::move(text));
    if (!poller_.times().is_set(timetable::tell_of_refused)) {
        tell_of_refused();
    }
}

void connections::tell_of_refused() {
    if (refusals_.empty()) {
        return;
    }
    refusals told = std::exchange(refusals_, refusals());
    poller_.times().set(timetable::tell_of_refused, refusals::pause_ms);
    context_.notify(VELA_CHANNEL_REFUSED, told.err(), told.count(), context_.uri + ": " + told.text());
}

void connections::on_timer() {
    const u_int64 now = now_ms();
    poller_.times().take(timetable::look_around, now);  // whoever processes the channel looks around
    if (poller_.times().take(timetable::accept_again, now)) {
        watch_listening();
    }
    if (poller_.times().take(timetable::tell_of_refused, now)) {
        tell_of_refused();
    }
    if (poller_.times().take(timetable::connect_again, now) && peers_.empty() && wants_peers()) {
        try_connect();
    }
    poller_.times().rearm();
}

void connections::try_connect() {
    failure why;
    std::unique_ptr<peer_link> connection = place_->connect(why);
    if (connection != nullptr) {
        adopt(std::move(connection));
        return;
    }
    if (why.code == EACCES) {
        refuse(VELA_EACCES, why.text);
    }
    connect_later();
}

void connections::connect_later() {
    poller_.times().set(timetable::connect_again, next_wait_ms_);
    next_wait_ms_ = std::min(next_wait_ms_ * 2, context_.options.reconnect_most_ms);
}

void connections::adopt(std::unique_ptr<peer_link> connection) {
    peers_.push_back(std::make_unique<peer>(std::move(connection), poller_.fd(), now_ms()));
    peer &added = *peers_.back();
    if (!added.watch()) {
        added.end();
    } else {
        establish(added);
    }
}

void connections::establish(peer &of) {
    if (of.establish()) {
        open(of);
    }
}

void connections::open(peer &of) {
    if (of.connection().has_notes()) {
        outbox_.hand_over(of);
        tell_notes(of);
        return;
    }
    context_.counters.reconnects += is_connector_ && context_.counters.connects > 0 ? 1 : 0;
    ++context_.counters.connects;
    connected_at_ms_ = now_ms();
    outbox_.hand_over(of);
    context_.notify(VELA_CHANNEL_CONNECTED, 0, 0, context_.uri + ": connected with " + of.connection().peer());
}

void connections::tell_notes(peer &of) {
    for (link_note note; of.connection().next_note(note); note = {}) {
        vela_channel_statistics &counters = context_.counters;
        counters.reconnects += note.kind == VELA_CHANNEL_CONNECTED && counters.connects > 0 ? 1 : 0;
        counters.connects += note.kind == VELA_CHANNEL_CONNECTED ? 1 : 0;
        counters.disconnects += note.kind == VELA_CHANNEL_DISCONNECTED ? 1 : 0;
        counters.lost += note.kind == VELA_CHANNEL_LOST ? note.messages : 0;
        counters.dropped += note.kind == VELA_CHANNEL_DROPPED ? note.messages : 0;
        context_.notify(note.kind, note.err, note.messages, context_.uri + ": " + note.text);
    }
}

void connections::retire_ended() {
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

// What the end of its only peer is to a connecting end.
void connections::note_end_of_call(peer &of) {
    const bool was_up_long = of.is_open() && now_ms() - connected_at_ms_ >= context_.options.reconnect_most_ms;
    next_wait_ms_ = was_up_long ? context_.options.reconnect_first_ms : next_wait_ms_;
    connect_later();
    if (of.error() == EAGAIN) {
        refuse(VELA_EAGAIN, of.connection().peer() + " has no place left for another peer");
    }
}

void connections::retire(std::unique_ptr<peer> of) {
    last_sender_ = last_sender_ == of.get() ? nullptr : last_sender_;
    if (is_connector_) {
        note_end_of_call(*of);
    }
    if (of->connection().has_notes()) {
        tell_notes(*of);
        return;
    }
    if (!of->is_open()) {
        return;
    }
    ++context_.counters.disconnects;
    const std::string name = context_.uri + ": " + of->connection().peer();
    const auto error = static_cast<u_int32>(of->error());
    const u_int32 unread = of->connection().unread();
    u_int32 left = of->queue().count();
    if (left > 0 && open_peers() == 0 && outbox_.waiting().empty()) {  // it is not, if the peer was long about to leave
        outbox_.take_over(*of);
        left = 0;
    }
    context_.counters.unread += unread;
    context_.counters.lost += left;
    if (unread > 0) {
        context_.notify(VELA_CHANNEL_UNREAD, error, unread, name + " ended before it read everything");
    }
    if (left > 0) {
        context_.notify(VELA_CHANNEL_LOST, error, left, name + " ended; what waited for it is lost");
    }
    const char *reason = error != 0 ? strerror(of->error()) : "closed by the peer";
    context_.notify(VELA_CHANNEL_DISCONNECTED, error, 0, name + ": " + reason);
}

}  // namespace vela::transport
