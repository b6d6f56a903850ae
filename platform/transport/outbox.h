// What a channel sends: at once, from a peer's queue, or to the next peer while there is none.
#pragma once

#include "channel_context.h"
#include "peer.h"
#include "poller.h"

namespace vela::transport {

class outbox {
  public:
    outbox(channel_context &context, poller &events)
        : context_(context), poller_(events), limits_{context.options.queue_messages, context.options.queue_bytes} {}

    // Each returns 0 or the error.
    u_int32 send_to(peer &to, frame_view frame);
    u_int32 send_later(frame_view frame);
    // Sends what waits for a peer, as far as it goes.
    void flush(peer &to);

    // What waits for the next peer.
    const frame_queue &waiting() const { return waiting_; }
    // Gives it to a peer that has just come.
    void hand_over(peer &to);
    // Keeps what waited for a peer that has ended, for the next.
    void take_over(peer &from);
    void clear() { waiting_ = frame_queue(); }

  private:
    void look_after(const peer &of);

    channel_context &context_;
    poller &poller_;
    queue_limits limits_;
    frame_queue waiting_;
};

}  // namespace vela::transport
