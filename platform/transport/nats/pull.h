// Takes messages from a durable consumer. It asks for them by itself: natsSubscription_Fetch of libnats 3.4 writes where it
// must not when an answer comes after its time.
#pragma once

#include <atomic>
#include <chrono>
#include <string>

#include "handles.h"

namespace vela::nats {

/** The stream that has a subject; empty when none has, or no server answers in time. */
std::string stream_of(natsConnection *over, const std::string &subject, int64_t within_ms);

class pull {
  public:
    /** @param most  messages of a request to the server */
    natsStatus open(natsConnection *over, const std::string &stream, const std::string &consumer, int most);
    bool is_open() const { return subscription_ != nullptr; }
    /**
     * The next message. NATS_TIMEOUT: none came in time, or the request ended; ask again. Another status: the consumer is
     * not there, or the connection is none.
     */
    natsStatus next(message_handle &message, int64_t most_ms);
    void confirm(natsMsg *message) { answer(message, "+ACK"); }
    /** It is another's turn with the message. */
    void give_back(natsMsg *message) { answer(message, "-NAK"); }
    /** Gives back what was asked for and nobody took. */
    void close();

  private:
    using clock = std::chrono::steady_clock;

    natsStatus ask();
    // One that is lost on its way comes again.
    void answer(natsMsg *to, const char *word) { natsConnection_PublishString(over_, natsMsg_GetReply(to), word); }

    std::atomic<natsConnection *> over_ = nullptr;  // another thread may confirm meanwhile
    std::string request_, inbox_;
    subscription_handle subscription_;
    int most_ = 0;
    int asked_ = 0;  // messages that are still to come of the last request
    clock::time_point asked_until_;
};

}  // namespace vela::nats
