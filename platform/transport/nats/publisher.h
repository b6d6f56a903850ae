// Publishes what the store has, and takes it out once the server says that it has it.
#pragma once

#include <chrono>

#include "connection.h"
#include "message_store.h"

namespace vela::nats {

class publisher {
  public:
    publisher(const settings &of, vela_message_describe_fn describe, bulletin &board)
        : settings_(of), describe_(describe), board_(board), store_(of.store, of.store_bytes) {}

    bool open(failure &why) { return store_.open(why); }
    // Works until the link is stopping, in a thread of its own.
    void run(const connection &over);
    // Returns when nothing of the client calls any more.
    void end() { end_subscription(subscription_); }

    // ---- with the mutex held ----

    // A message, or a bundle, of which each message goes by itself. False: not now; `progress` counts those that were taken.
    bool take(const u_int8 *bytes, u_int32 length, u_int32 &progress);
    u_int32 unconfirmed() const { return store_.unfinished(); }
    u_int32 at_risk() const { return store_.outlives_process() ? 0 : store_.unfinished(); }
    void finish() { is_finishing_ = true; }

  private:
    using clock = std::chrono::steady_clock;

    bool take_one(const u_int8 *bytes, u_int32 length);
    bool subscribe_to_answers(const connection &over);
    void publish_next(std::unique_lock<std::mutex> &lock, const connection &over);
    natsStatus publish(const stored_message &message, natsConnection *to, const std::string &subject);
    std::string subject_of(const stored_message &message) const;
    bool is_due(const connection &over);
    void start_over(const connection &over);
    void confirm(u_int64 sequence);
    void give_up(u_int64 sequence, const std::string &reason);
    void hold_back(u_int32 err, const std::string &reason);
    void note_progress();
    void take_answer(natsMsg *answer);
    static void on_answer(natsConnection *of, natsSubscription *subscription, natsMsg *answer, void *self);

    const settings &settings_;
    vela_message_describe_fn describe_;
    bulletin &board_;
    message_store store_;

    std::string answers_;  // subject before the sequence number
    subscription_handle subscription_;
    u_int64 on_their_way_ = 0;
    u_int64 connection_count_ = 0;  // of which the messages are on their way
    clock::time_point last_answer_ = {};
    clock::time_point resume_at_ = {};
    std::chrono::milliseconds pause_ = {};
    std::string complaint_;  // told last, and still so
    bool is_full_ = false;   // the channel waits for room
    bool is_finishing_ = false;
    u_int32 unnoted_ = 0;
};

}  // namespace vela::nats
