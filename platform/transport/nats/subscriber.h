// Receives from a subject: what comes while this end is there, or, as a durable consumer of a stream, everything.
#pragma once

#include <deque>
#include <vector>

#include "connection.h"
#include "pull.h"

namespace vela::nats {

class subscriber {
  public:
    subscriber(const settings &of, u_int32 max_message, bulletin &board)
        : settings_(of), max_message_(max_message), board_(board) {}

    // A plain subscription; the client's thread brings what comes.
    void start(const connection &over);
    // Fetches as a durable consumer until the link is stopping, in a thread of its own.
    void run(const connection &over);
    // Returns when nothing of the client calls any more.
    void end(const connection &over);

    // ---- with the mutex held ----

    // The next frame; the one before is confirmed.
    bool take(vela_transport_frame &frame);
    bool has_frames() const { return !waiting_.empty(); }
    void finish() { is_finishing_ = true; }
    // Whether something may still come although it is finishing.
    bool is_fetching() const { return is_fetching_; }

  private:
    bool subscribe(const connection &over, jsCtx *context);
    bool open_pull(const connection &over);
    bool fetch(std::vector<message_handle> &list);
    void add(message_handle message);
    bool has_room() const { return waiting_.size() < most_waiting && waiting_bytes_ < most_waiting_bytes; }
    static void on_message(natsConnection *of, natsSubscription *subscription, natsMsg *message, void *self);

    static constexpr size_t most_waiting = 16384;
    static constexpr u_int64 most_waiting_bytes = 64 * 1024 * 1024;

    const settings &settings_;
    u_int32 max_message_;
    bulletin &board_;
    subscription_handle subscription_;
    pull pull_;
    std::deque<message_handle> waiting_;
    u_int64 waiting_bytes_ = 0;
    message_handle current_;  // which the channel deals with, and perhaps still reads
    bool can_confirm_ = false;
    bool is_finishing_ = false;
    bool is_fetching_ = false;
};

}  // namespace vela::nats
