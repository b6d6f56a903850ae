// Sends what the caller gives to the peers, and gives to the caller what they sent.
#include "channel.h"

#include <algorithm>

#include "frame.h"

using namespace vela::transport;

namespace {

constexpr u_int32 most_per_call = 1024;   // messages, when the caller sets no limit
constexpr u_int32 most_per_turn = 64;     // messages of one peer before the next has its turn
constexpr u_int32 most_quick_turns = 32;  // calls that look at one peer only before all are looked at
constexpr u_int64 longest_wait_ms = 60'000;

}  // namespace

vela_channel::vela_channel(const domain &of, std::unique_ptr<backend> place, const vela_channel_options &options)
    : domain_(of),
      context_{this, options, place->uri()},
      outbox_(context_, poller_),
      connections_(context_, poller_, outbox_, std::move(place)) {}

// ---- sending --------------------------------------------------------------------------------------------------

// 0 when the frame may be sent.
u_int32 vela_channel::check(frame_view frame) const {
    if (connections_.is_finishing()) {
        return VELA_ESHUTDOWN;
    }
    if (frame.length > context_.options.max_message) {
        return VELA_EMSGSIZE;
    }
    const bool is_sound = frame.bytes != nullptr && frame_fault(frame.bytes, frame.length) == nullptr;
    return is_sound ? 0u : static_cast<u_int32>(VELA_EINVAL);
}

u_int32 vela_channel::send(frame_view frame) {
    const u_int32 error = check(frame);
    if (error != 0) {
        return error;
    }
    const auto &peers = connections_.peers();
    if (peers.size() == 1 && peers.front()->takes_frames()) {
        return outbox_.send_to(*peers.front(), frame);
    }
    const bool is_taken =
        std::any_of(peers.begin(), peers.end(), [](const auto &each) { return each->takes_frames(); });
    return is_taken ? send_to_all(frame) : outbox_.send_later(frame);
}

u_int32 vela_channel::send_to_all(frame_view frame) {
    u_int32 taken = 0;
    u_int32 missed = 0;
    u_int32 error = 0;
    for (const auto &each : connections_.peers()) {
        if (!each->takes_frames()) {
            continue;
        }
        const u_int32 result = outbox_.send_to(*each, frame);
        error = result != 0 ? result : error;
        ++(result == 0 ? taken : missed);
    }
    if (taken > 0 && missed > 0) {
        context_.counters.lost += missed;
        context_.notify(VELA_CHANNEL_LOST, error, missed,
                        context_.uri + ": a peer that does not read missed a message");
    }
    return taken > 0 ? 0 : error;
}

u_int32 vela_channel::reply(frame_view frame) {
    if (current_ == nullptr || current_->is_output_broken()) {
        return VELA_ENOTCONN;
    }
    const u_int32 error = check(frame);
    return error != 0 ? error : outbox_.send_to(*current_, frame);
}

// ---- receiving ------------------------------------------------------------------------------------------------

void vela_channel::drop(const peer &from, u_int32 err, const std::string &text, frame_view frame) {
    ++context_.counters.dropped;
    context_.notify(VELA_CHANNEL_DROPPED, err, 1, context_.uri + ": " + text, from.delivered(), frame);
}

// False when the frame was dropped.
bool vela_channel::deliver(peer &from, frame_view frame, const delivery &to) {
    if (frame.fault != 0 || frame.length > context_.options.max_message) {
        const u_int32 err = frame.fault != 0 ? frame.fault : static_cast<u_int32>(VELA_EMSGSIZE);
        drop(from, err,
             from.connection().peer() + " sent " + std::to_string(frame.length) + " bytes; at most " +
                 std::to_string(context_.options.max_message) + " are taken",
             {});
        return false;
    }
    const char *fault = frame_fault(frame.bytes, frame.length);
    if (fault != nullptr) {
        drop(from, VELA_EINVAL, from.connection().peer() + " sent " + std::to_string(frame.length) + " bytes: " + fault,
             frame);
        return false;
    }
    const vela_bundle_handler handler = domain_.handler.load(std::memory_order_acquire);
    if (handler == nullptr) {
        drop(from, VELA_ENOSYS, std::string("no bundle handler is registered with domain ") + domain_.name, frame);
        return false;
    }
    from.note_delivered();
    ++context_.counters.received;
    context_.counters.received_bytes += frame.length;
    current_ = &from;
    handler(to.handle, to.mem_class, frame.bytes, frame.length, to.context);
    current_ = nullptr;
    return true;
}

u_int32 vela_channel::receive_from(peer &of, const delivery &to, u_int32 most) {
    u_int32 delivered = 0;
    for (u_int32 frames = 0; frames < most; ++frames) {
        frame_view frame;
        const io result = of.receive(frame);
        if (result == io::done) {
            delivered += deliver(of, frame, to) ? 1 : 0;
            continue;
        }
        if (result == io::again && of.is_output_broken()) {
            of.end();  // all that it had sent before is read
        } else if ((result == io::again || of.is_leaving()) && !of.connection().polls_output()) {
            outbox_.flush(of);
        }
        break;
    }
    return delivered;
}

u_int32 vela_channel::serve(peer &of, u_int32 events, const delivery &to, u_int32 most) {
    if (!of.is_open()) {
        connections_.establish(of);
        return 0;
    }
    connections_.tell_notes(of);
    if ((events & EPOLLOUT) != 0 || of.is_leaving()) {
        outbox_.flush(of);
    }
    const u_int32 delivered = receive_from(of, to, std::min(most, most_per_turn));
    if (delivered > 0) {
        connections_.set_last_sender(of);
    }
    return delivered;
}

u_int32 vela_channel::process_all(const delivery &to, u_int32 most) {
    u_int32 delivered = 0;
    for (const epoll_event &event : poller_.take_events()) {
        peer *of = connections_.peer_of(event);
        if (of != nullptr && delivered < most) {
            delivered += serve(*of, event.events, to, most - delivered);
        }
    }
    const auto &peers = connections_.peers();
    for (size_t i = 0; i < peers.size(); ++i) {
        const bool has_work = peers[i]->connection().holds_frame() || peers[i]->is_output_broken();
        if (has_work && delivered < most && !peers[i]->has_ended()) {
            delivered += serve(*peers[i], 0, to, most - delivered);
        }
    }
    connections_.settle();
    return delivered;
}

u_int32 vela_channel::process(const delivery &to, u_int32 limit) {
    const call_mark mark(context_.is_processing);
    const u_int32 most = limit != 0 ? limit : most_per_call;
    u_int32 delivered = 0;
    if (limit != 0 && connections_.last_sender() != nullptr && quick_turns_ < most_quick_turns) {
        ++quick_turns_;
        delivered = receive_from(*connections_.last_sender(), to, most);
    }
    if (delivered < most) {
        quick_turns_ = 0;
        delivered += process_all(to, most - delivered);
    }
    // Frames that wait in a link's buffer are not seen by the descriptor: let the timer make it readable.
    const auto &peers = connections_.peers();
    if (std::any_of(peers.begin(), peers.end(), [](const auto &each) { return each->connection().holds_frame(); })) {
        poller_.look_around_soon();
    }
    if (connections_.is_finishing()) {
        connections_.finish_peers();
    }
    return delivered;
}

bool vela_channel::finish(const delivery &to, u_int32 timeout_ms) {
    connections_.begin_finish();
    const u_int64 limit = now_ms() + timeout_ms;
    for (;;) {
        process(to, 0);
        const u_int64 now = now_ms();
        if (connections_.is_over() || now >= limit) {
            return connections_.is_over();
        }
        const bool is_called = connections_.wait(static_cast<int>(std::min(limit - now, longest_wait_ms)));
        if (!is_called && now_ms() < std::min(limit, now + longest_wait_ms)) {
            return false;  // a signal came
        }
    }
}
