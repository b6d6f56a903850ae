// Chooses who makes room for a newcomer, and counts who is turned away.
#include "admission.h"

#include <poll.h>

namespace vela::transport {
namespace {

// What has come and was not looked at yet may be a message.
bool has_input(peer &of) {
    pollfd state = {of.connection().fd(), POLLIN, 0};
    return of.connection().holds_frame() || poll(&state, 1, 0) > 0;
}

}  // namespace

peer *longest_silent(const std::vector<std::unique_ptr<peer>> &peers, u_int64 now_ms, u_int32 idle_ms) {
    peer *found = nullptr;
    if (idle_ms == never) {
        return found;
    }
    for (const auto &each : peers) {
        bool is_older = found == nullptr || each->came_at_ms() < found->came_at_ms();
        if (is_older && now_ms - each->came_at_ms() >= idle_ms && !each->has_shown_itself() && !has_input(*each)) {
            found = each.get();
        }
    }
    return found;
}

void refusals::add(u_int32 err, std::string text) {
    ++count_;
    err_ = err;
    text_ = std::move(text);
}

std::string refusals::text() const {
    return count_ < 2 ? text_ : text_ + "; " + std::to_string(count_ - 1) + " more before";
}

}  // namespace vela::transport
