// A channel: what is sent to and received from the peers of one place.
#pragma once

#include "connections.h"
#include "domains.h"

// Everything may throw std::bad_alloc; the channel then goes on with what it has.
struct vela_channel {
  public:
    struct delivery {
        vela_handle *handle;
        u_int32 mem_class;
        void *context;
    };

    vela_channel(const vela::transport::domain &of, std::unique_ptr<vela::transport::backend> place,
                 const vela_channel_options &options);
    vela_channel(const vela_channel &) = delete;
    vela_channel &operator=(const vela_channel &) = delete;

    // Each returns 0 or the error.
    u_int32 send(vela::transport::frame_view frame);
    u_int32 reply(vela::transport::frame_view frame);

    bool is_processing() const { return context_.is_processing; }
    // Delivers up to so many messages, 0 for a bound of its own, and does all else that is to be done; the number.
    u_int32 process(const delivery &to, u_int32 limit);
    // Goes on with an orderly end, for so long; true when it is over.
    bool finish(const delivery &to, u_int32 timeout_ms);

    const std::string &uri() const { return context_.uri; }
    // The peer whose message is being delivered, in words; null when none is.
    const std::string *sender() const { return current_ != nullptr ? &current_->connection().peer() : nullptr; }
    int fd() const { return poller_.fd(); }
    vela::transport::connections &connections() { return connections_; }
    const vela::transport::connections &connections() const { return connections_; }

  private:
    using peer = vela::transport::peer;

    u_int32 process_all(const delivery &to, u_int32 most);
    u_int32 serve(peer &of, u_int32 events, const delivery &to, u_int32 most);
    u_int32 receive_from(peer &of, const delivery &to, u_int32 most);
    bool deliver(peer &from, vela::transport::frame_view frame, const delivery &to);
    void drop(const peer &from, u_int32 err, const std::string &text, vela::transport::frame_view frame);

    u_int32 check(vela::transport::frame_view frame) const;
    u_int32 send_to_all(vela::transport::frame_view frame);

    const vela::transport::domain &domain_;
    vela::transport::channel_context context_;
    vela::transport::poller poller_;
    vela::transport::outbox outbox_;
    vela::transport::connections connections_;
    peer *current_ = nullptr;  // whose message is being delivered
    u_int32 quick_turns_ = 0;
};
