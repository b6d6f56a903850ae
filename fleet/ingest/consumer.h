// Takes what elements say out of its stream: in portions, each message until it is acknowledged.
#pragma once

#include <optional>

#include "journal.h"
#include "pull.h"
#include "server.h"

namespace ptp_fleet {

/** A message with what its subject and headers say of it. */
struct incoming {
    vela::nats::message_handle message;
    journal_entry entry;
    std::string fault;  // why it cannot be taken: its subject or headers; empty: it can
};

class consumer {
  public:
    /**
     * Goes on where the consumer of that name stood, with the stream's begin when there was none.
     * Throws std::runtime_error.
     */
    consumer(const std::string &uri, const std::string &name, double patience_s);

    /** The next message; nothing after the time. Throws std::runtime_error when the consumer is to be made anew. */
    std::optional<incoming> next(int most_ms);
    /** They do not come again. */
    void acknowledge(const std::vector<incoming> &all);
    /** Publishes it on PREFIX-dead.…, with the reason in a header. */
    void bury(const incoming &of, const std::string &reason);

    server &at() { return server_; }

  private:
    void make(const std::string &name, const std::string &subject);
    incoming read(vela::nats::message_handle of) const;

    server server_;
    std::string prefix_;
    std::string stream_;
    vela::nats::pull pull_;
};

}  // namespace ptp_fleet
