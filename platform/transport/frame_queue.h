// Frames that wait to be sent.
#pragma once

#include <deque>
#include <vector>

#include "backend.h"

namespace vela::transport {

struct queue_limits {
    u_int32 frames;
    u_int64 bytes;
};

class frame_queue {
  public:
    struct entry {
        std::vector<u_int8> bytes;
        u_int32 progress;  // the link's count of how far it got
    };

    bool empty() const { return entries_.empty(); }
    u_int32 count() const { return static_cast<u_int32>(entries_.size()); }
    u_int64 bytes() const { return bytes_; }

    bool fits(u_int32 length, const queue_limits &limits) const {
        return entries_.size() < limits.frames && bytes_ + length <= limits.bytes;
    }

    // Copies a frame to the end. Throws std::bad_alloc, and is then as before.
    void push(frame_view frame, u_int32 progress) {
        entries_.push_back({{frame.bytes, frame.bytes + frame.length}, progress});
        bytes_ += frame.length;
    }

    entry &front() { return entries_.front(); }
    frame_view front_view() const {
        const std::vector<u_int8> &bytes = entries_.front().bytes;
        return {bytes.data(), static_cast<u_int32>(bytes.size()), 0};
    }
    void pop() {
        bytes_ -= entries_.front().bytes.size();
        entries_.pop_front();
    }
    // A frame that was sent in part is sent again in full: the peer that has the part is gone.
    void start_over() {
        if (!entries_.empty()) {
            entries_.front().progress = 0;
        }
    }

  private:
    std::deque<entry> entries_;
    u_int64 bytes_ = 0;
};

}  // namespace vela::transport
