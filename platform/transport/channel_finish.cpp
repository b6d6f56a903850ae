// How a channel ends: in order, or at once.
#include <algorithm>

#include "channel.h"

using namespace vela::transport;

// Each peer that has got all learns that nothing more comes; it says the same when it has read all, and is then retired.
void vela_channel::finish_peers() {
    watch_listening();
    for (const auto &each : peers_) {
        if (each->is_open()) {
            each->finish();
        } else if (waiting_.empty()) {
            each->end();  // there is nothing to tell it
        }
    }
    retire_ended();
}

bool vela_channel::finish(const delivery &to, u_int32 timeout_ms) {
    is_finishing_ = true;
    const u_int64 limit = now_ms() + timeout_ms;
    for (;;) {
        process(to, 0);
        u_int64 now = now_ms();
        if (is_over() || now >= limit) {
            return is_over();
        }
        bool is_called = wait(static_cast<int>(std::min<u_int64>(limit - now, 60'000)));
        if (!is_called && now_ms() < std::min(limit, now + 60'000)) {
            return false;  // a signal came
        }
    }
}

void vela_channel::shut_down() {
    u_int32 left = waiting_.count();
    u_int32 unread = 0;
    for (const auto &each : peers_) {
        if (each->is_open()) {
            flush(*each);
            unread += each->connection().leave();
        }
        left += each->queue().count();
    }
    peers_.clear();
    waiting_ = frame_queue();
    last_sender_ = nullptr;
    counters_.unread += unread;
    counters_.lost += left;
    tell_of_refused();
    if (unread > 0) {
        tell(VELA_CHANNEL_UNREAD, 0, unread, uri_ + ": closed before everything that was sent was confirmed");
    }
    if (left > 0) {
        tell(VELA_CHANNEL_LOST, 0, left, uri_ + ": closed before everything was sent");
    }
}
