// One peer of a channel: its link and what waits for it.
#pragma once

#include "frame_queue.h"

namespace vela::transport {

class peer {
  public:
    enum class outcome { sent, queued, full, no_memory };

    peer(std::unique_ptr<peer_link> connection, int epoll) : connection_(std::move(connection)), epoll_(epoll) {}
    ~peer();
    peer(const peer &) = delete;
    peer &operator=(const peer &) = delete;

    // Makes epoll report this peer, by its address. False when it cannot.
    bool watch();
    // Goes on connecting; true once frames may be sent. The peer may have ended instead.
    bool establish();
    // Sends at once if nothing waits, else queues.
    outcome send(frame_view frame, const queue_limits &limits);
    // Sends what waits, as far as the link takes it. Returns the frames sent, and adds their bytes.
    u_int32 flush(u_int64 &bytes);
    // `done` with the next frame.
    io receive(frame_view &frame);

    bool is_open() const { return is_open_; }
    bool has_ended() const { return has_ended_; }
    bool is_output_broken() const { return is_output_broken_; }
    void end() { has_ended_ = true; }
    int error() const { return error_; }
    peer_link &connection() { return *connection_; }
    frame_queue &queue() { return queue_; }

  private:
    void want_output(bool wanted);
    void break_output(int error);

    std::unique_ptr<peer_link> connection_;
    int epoll_;
    frame_queue queue_;
    bool is_open_ = false;
    bool has_ended_ = false;         // nothing more will come
    bool is_output_broken_ = false;  // nothing more can be sent; what has come is still to be read
    bool wants_output_ = false;
    int error_ = 0;
};

}  // namespace vela::transport
