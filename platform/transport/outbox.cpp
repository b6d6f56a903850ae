// Sends and queues, and counts what becomes of it.
#include "outbox.h"

#include <utility>

namespace vela::transport {

// A link that only sending found broken is given up when the channel is next processed: makes that soon.
void outbox::look_after(const peer &of) {
    if (of.is_output_broken()) {
        poller_.look_around_soon();
    }
}

u_int32 outbox::send_to(peer &to, frame_view frame) {
    const peer::outcome outcome = to.send(frame, limits_);
    look_after(to);
    switch (outcome) {
        case peer::outcome::sent:
            ++context_.counters.sent;
            context_.counters.sent_bytes += frame.length;
            return 0;
        case peer::outcome::queued:
            return 0;
        case peer::outcome::full:
            ++context_.counters.refused;
            return VELA_EAGAIN;
        default:
            return VELA_ENOMEM;
    }
}

u_int32 outbox::send_later(frame_view frame) {
    if (!waiting_.fits(frame.length, limits_)) {
        ++context_.counters.refused;
        return VELA_EAGAIN;
    }
    waiting_.push(frame, 0);
    return 0;
}

void outbox::flush(peer &to) {
    context_.counters.sent += to.flush(context_.counters.sent_bytes);
    look_after(to);
}

void outbox::hand_over(peer &to) {
    to.queue() = std::exchange(waiting_, frame_queue());
    flush(to);
}

void outbox::take_over(peer &from) {
    from.queue().start_over();
    waiting_ = std::move(from.queue());
}

}  // namespace vela::transport
