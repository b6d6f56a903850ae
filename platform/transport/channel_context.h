// What the parts of a channel share: its options and name, its counters, and how its owner is told of events.
#pragma once

#include <string>

#include "backend.h"
#include "vela_transport.h"

namespace vela::transport {

struct channel_context {
    vela_channel *channel;
    vela_channel_options options;
    std::string uri;
    vela_channel_statistics counters = {};
    bool is_processing = false;  // from now on until it is over, the channel must not be processed

    // Calls the owner, who is not to process the channel meanwhile.
    void notify(vela_channel_event_kind kind, u_int32 err, u_int32 messages, const std::string &text,
                u_int64 delivered = 0, frame_view frame = {});
};

// Sets a flag for the time of a call.
class call_mark {
  public:
    explicit call_mark(bool &flag) : flag_(flag), before_(flag) { flag = true; }
    ~call_mark() { flag_ = before_; }
    call_mark(const call_mark &) = delete;
    call_mark &operator=(const call_mark &) = delete;

  private:
    bool &flag_;
    bool before_;
};

inline void channel_context::notify(vela_channel_event_kind kind, u_int32 err, u_int32 messages,
                                    const std::string &text, u_int64 delivered, frame_view frame) {
    if (options.event != nullptr) {
        const call_mark mark(is_processing);
        const vela_channel_event event = {kind, err, messages, text.c_str(), delivered, frame.bytes, frame.length};
        options.event(options.event_cookie, channel, &event);
    }
}

}  // namespace vela::transport
