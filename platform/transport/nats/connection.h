// The connection with a server, or with whichever of several is there: made, lost and made again.
#pragma once

#include "bulletin.h"
#include "handles.h"
#include "settings.h"

namespace vela::nats {

class connection {
  public:
    connection(const settings &of, bulletin &board) : settings_(of), board_(board) {}
    ~connection() { end(); }
    connection(const connection &) = delete;
    connection &operator=(const connection &) = delete;

    // Tries until a server answers, or the link is stopping: then false.
    bool open();
    natsConnection *get() const { return connection_.get(); }
    // Returns when nothing of the client calls any more. open() makes another connection.
    void end();

    // ---- with the mutex held ----

    bool is_up() const { return is_up_; }
    // The client has given it up, as it does when it is refused twice; it has to be opened again.
    bool is_closed() const { return is_closed_; }
    // Rises with every connection that was made.
    u_int64 count() const { return count_; }

  private:
    bool prepare(natsOptions *options, failure &why);
    bool prepare_identity(natsOptions *options, failure &why);
    bool prepare_tls(natsOptions *options, failure &why);
    bool try_to_open(failure &why);
    void note_up(natsConnection *of, const char *how);
    static void on_disconnected(natsConnection *of, void *self);
    static void on_reconnected(natsConnection *of, void *self);
    static void on_closed(natsConnection *of, void *self);
    static void on_error(natsConnection *of, natsSubscription *subscription, natsStatus status, void *self);

    const settings &settings_;
    bulletin &board_;
    connection_handle connection_;
    std::promise<void> closed_;
    bool is_up_ = false;
    bool is_closed_ = false;
    u_int64 count_ = 0;
};

}  // namespace vela::nats
