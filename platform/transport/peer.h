// One peer of a channel: its link and what waits for it.
#pragma once

#include "frame_queue.h"

namespace vela::transport {

class peer {
  public:
    enum class outcome { sent, queued, full, no_memory };

    peer(std::unique_ptr<peer_link> connection, int epoll, u_int64 now_ms)
        : connection_(std::move(connection)), epoll_(epoll), came_at_ms_(now_ms) {}
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
    // `done` with the next frame. A peer that sends no more gets what waits for it before it ends.
    io receive(frame_view &frame);
    // Tells the peer that nothing more comes, once everything was sent; to be called until the peer has ended.
    void finish();

    bool is_open() const { return is_open_; }
    // It has said its last, and only gets what waits for it.
    bool is_leaving() const { return is_leaving_; }
    bool takes_frames() const { return is_open_ && !is_leaving_; }
    bool has_ended() const { return has_ended_; }
    bool is_output_broken() const { return is_output_broken_; }
    void end(int error = 0);
    int error() const { return error_; }
    peer_link &connection() { return *connection_; }
    frame_queue &queue() { return queue_; }

    u_int64 came_at_ms() const { return came_at_ms_; }
    u_int64 delivered() const { return delivered_; }
    void note_delivered() { ++delivered_; }
    // Whether a frame of its was delivered, or it has read one.
    bool has_shown_itself() { return delivered_ > 0 || sent_ > connection_->unconfirmed(); }

  private:
    void watch_as_needed();
    void break_output(int error);

    std::unique_ptr<peer_link> connection_;
    int epoll_;
    u_int32 watched_ = 0;  // epoll's events
    frame_queue queue_;
    bool is_open_ = false;
    bool has_ended_ = false;         // nothing more will come
    bool is_output_broken_ = false;  // nothing more can be sent; what has come is still to be read
    bool is_output_done_ = false;    // it was told that nothing more comes
    bool is_leaving_ = false;
    int error_ = 0;
    u_int64 came_at_ms_;
    u_int64 delivered_ = 0;
    u_int64 sent_ = 0;
};

}  // namespace vela::transport
