// A connection with the servers that a nats: URI names, for programs that do more than a channel.
#pragma once

#include <stdexcept>

#include "connection.h"

namespace ptp_fleet {

class server {
  public:
    /** Waits for a server for some seconds. Throws std::runtime_error. @param listens  the subject may have wildcards */
    server(const std::string &uri, bool listens, double seconds);

    const vela::nats::settings &settings() const { return settings_; }
    natsConnection *connection() const { return connection_.get(); }
    jsCtx *stream_context() const { return context_.get(); }
    /** The client has given the connection up, as it does when it is refused twice: make another. */
    bool is_gone();

  private:
    vela::nats::settings settings_;
    vela::nats::bulletin board_;
    vela::nats::connection connection_;
    vela::nats::context_handle context_;
};

/** Throws what a call of the client failed with. */
void check(natsStatus status, const std::string &what);

}  // namespace ptp_fleet
