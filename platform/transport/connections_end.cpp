// How the connections of a channel end: in order, or at once.
#include "connections.h"

namespace vela::transport {

void connections::finish_peers() {
    watch_listening();
    for (const auto &each : peers_) {
        if (each->is_open()) {
            each->finish();
        } else if (outbox_.waiting().empty()) {
            each->end();  // there is nothing to tell it
        }
    }
    retire_ended();
}

void connections::shut_down() {
    u_int32 left = outbox_.waiting().count();
    u_int32 unread = 0;
    for (const auto &each : peers_) {
        if (each->is_open()) {
            outbox_.flush(*each);
            unread += each->connection().leave();
        }
        left += each->queue().count();
    }
    peers_.clear();
    outbox_.clear();
    last_sender_ = nullptr;
    context_.counters.unread += unread;
    context_.counters.lost += left;
    tell_of_refused();
    if (unread > 0) {
        context_.notify(VELA_CHANNEL_UNREAD, 0, unread,
                        context_.uri + ": closed before everything that was sent was confirmed");
    }
    if (left > 0) {
        context_.notify(VELA_CHANNEL_LOST, 0, left, context_.uri + ": closed before everything was sent");
    }
}

}  // namespace vela::transport
