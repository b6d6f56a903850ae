// A link to the subjects of a server: what a channel sends is stored and published, what comes waits for the channel.
#pragma once

#include <memory>
#include <thread>

#include "publisher.h"
#include "subscriber.h"

namespace vela::nats {

class link {
  public:
    link(settings of, const vela_transport_request &request);
    ~link();
    link(const link &) = delete;
    link &operator=(const link &) = delete;

    // Starts; false with the reason.
    bool open(failure &why);

    const char *peer() const { return peer_.c_str(); }
    int fd() const { return board_.fd(); }
    bool send(const u_int8 *bytes, u_int32 length, u_int32 &progress);
    bool receive(vela_transport_frame &frame);
    bool next_note(vela_transport_note &out);
    u_int32 unconfirmed() const;
    u_int32 at_risk() const;
    bool finish();

  private:
    void run();
    void serve();

    const settings settings_;
    mutable bulletin board_;
    publisher publisher_;
    subscriber subscriber_;
    connection connection_;
    std::string peer_;
    note note_;  // handed out last
    std::thread thread_;
};

}  // namespace vela::nats
