// What a channel does with its peers; how they come and go is in channel_peers.cpp.
#include "channel.h"

#include <errno.h>
#include <string.h>

#include <algorithm>

#include "frame.h"
#include "socket.h"

using namespace vela::transport;

namespace {

constexpr u_int32 most_per_call = 1024;   // messages, when the caller sets no limit
constexpr u_int32 most_per_turn = 64;     // messages of one peer before the next has its turn
constexpr u_int32 most_quick_turns = 32;  // calls that look at one peer only before all are looked at

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

}  // namespace

vela_channel::vela_channel(const domain &of, std::unique_ptr<mechanism> mechanism, const vela_channel_options &options)
    : domain_(of),
      mechanism_(std::move(mechanism)),
      options_(options),
      limits_{options.queue_messages, options.queue_bytes},
      uri_(mechanism_->uri()),
      next_wait_ms_(options.reconnect_first_ms) {}

vela_channel::~vela_channel() = default;

bool vela_channel::open_descriptors(failure &why) {
    epoll_ = file_descriptor(epoll_create1(EPOLL_CLOEXEC));
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.ptr = &times_;
    if (!epoll_ || !times_.open() || epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, times_.fd(), &event) != 0) {
        why = system_failure(errno, "no descriptors for " + uri_);
        return false;
    }
    return true;
}

void vela_channel::look_around_soon() {
    if (!times_.is_set(timetable::look_around)) {
        times_.set(timetable::look_around, 0);
    }
}

void vela_channel::tell(vela_channel_event_kind kind, u_int32 err, u_int32 messages, const std::string &text,
                        u_int64 delivered, frame_view frame) {
    if (options_.event != nullptr) {
        call_mark mark(is_processing_);  // the callback must not process the channel
        vela_channel_event event = {kind, err, messages, text.c_str(), delivered, frame.bytes, frame.length};
        options_.event(options_.event_cookie, this, &event);
    }
}

vela_channel_statistics vela_channel::statistics() const {
    vela_channel_statistics result = counters_;
    result.peers = open_peers();
    result.queued = waiting_.count();
    result.queued_bytes = waiting_.bytes();
    for (const auto &each : peers_) {
        result.queued += each->queue().count();
        result.queued_bytes += each->queue().bytes();
    }
    return result;
}

u_int32 vela_channel::unconfirmed() const {
    u_int32 sum = 0;
    for (const auto &each : peers_) {
        sum += each->is_open() ? each->connection().unconfirmed() : 0;
    }
    return sum;
}

// ---- sending --------------------------------------------------------------------------------------------------

// A link that only sending found broken is given up when the channel is next processed: makes that soon.
void vela_channel::look_after(const peer &of) {
    if (of.is_output_broken()) {
        look_around_soon();
    }
}

u_int32 vela_channel::send_to(peer &to, frame_view frame) {
    peer::outcome outcome = to.send(frame, limits_);
    look_after(to);
    switch (outcome) {
        case peer::outcome::sent:
            ++counters_.sent;
            counters_.sent_bytes += frame.length;
            return 0;
        case peer::outcome::queued:
            return 0;
        case peer::outcome::full:
            ++counters_.refused;
            return VELA_EAGAIN;
        default:
            return VELA_ENOMEM;
    }
}

void vela_channel::flush(peer &to) {
    counters_.sent += to.flush(counters_.sent_bytes);
    look_after(to);
}

// 0 when the frame may be sent.
u_int32 vela_channel::check(frame_view frame) const {
    if (is_finishing_) {
        return VELA_ESHUTDOWN;
    }
    if (frame.length > options_.max_message) {
        return VELA_EMSGSIZE;
    }
    bool is_sound = frame.bytes != nullptr && frame_fault(frame.bytes, frame.length) == nullptr;
    return is_sound ? 0u : static_cast<u_int32>(VELA_EINVAL);
}

u_int32 vela_channel::send(frame_view frame) {
    u_int32 error = check(frame);
    if (error != 0) {
        return error;
    }
    if (peers_.size() == 1 && peers_.front()->takes_frames()) {
        return send_to(*peers_.front(), frame);
    }
    if (std::any_of(peers_.begin(), peers_.end(), [](const auto &each) { return each->takes_frames(); })) {
        return send_to_all(frame);
    }
    if (!waiting_.fits(frame.length, limits_)) {
        ++counters_.refused;
        return VELA_EAGAIN;
    }
    waiting_.push(frame, 0);
    return 0;
}

u_int32 vela_channel::send_to_all(frame_view frame) {
    u_int32 taken = 0;
    u_int32 missed = 0;
    u_int32 error = 0;
    for (const auto &each : peers_) {
        if (!each->takes_frames()) {
            continue;
        }
        u_int32 result = send_to(*each, frame);
        error = result != 0 ? result : error;
        ++(result == 0 ? taken : missed);
    }
    if (taken > 0 && missed > 0) {
        counters_.lost += missed;
        tell(VELA_CHANNEL_LOST, error, missed, uri_ + ": a peer that does not read missed a message");
    }
    return taken > 0 ? 0 : error;
}

u_int32 vela_channel::reply(frame_view frame) {
    if (current_ == nullptr || current_->is_output_broken()) {
        return VELA_ENOTCONN;
    }
    u_int32 error = check(frame);
    return error != 0 ? error : send_to(*current_, frame);
}

// ---- receiving ------------------------------------------------------------------------------------------------

void vela_channel::drop(const peer &from, u_int32 err, const std::string &text, frame_view frame) {
    ++counters_.dropped;
    tell(VELA_CHANNEL_DROPPED, err, 1, uri_ + ": " + text, from.delivered(), frame);
}

// False when the frame was dropped.
bool vela_channel::deliver(peer &from, frame_view frame, const delivery &to) {
    if (frame.fault != 0 || frame.length > options_.max_message) {
        u_int32 err = frame.fault != 0 ? frame.fault : static_cast<u_int32>(VELA_EMSGSIZE);
        drop(from, err,
             from.connection().peer() + " sent " + std::to_string(frame.length) + " bytes; at most " +
                 std::to_string(options_.max_message) + " are taken",
             {});
        return false;
    }
    const char *fault = frame_fault(frame.bytes, frame.length);
    if (fault != nullptr) {
        drop(from, VELA_EINVAL, from.connection().peer() + " sent " + std::to_string(frame.length) + " bytes: " + fault,
             frame);
        return false;
    }
    vela_bundle_handler handler = domain_.handler.load(std::memory_order_acquire);
    if (handler == nullptr) {
        drop(from, VELA_ENOSYS, std::string("no bundle handler is registered with domain ") + domain_.name, frame);
        return false;
    }
    from.note_delivered();
    ++counters_.received;
    counters_.received_bytes += frame.length;
    current_ = &from;
    handler(to.handle, to.mem_class, frame.bytes, frame.length, to.context);
    current_ = nullptr;
    return true;
}

u_int32 vela_channel::receive_from(peer &of, const delivery &to, u_int32 most) {
    u_int32 delivered = 0;
    for (u_int32 frames = 0; frames < most; ++frames) {
        frame_view frame;
        io result = of.receive(frame);
        if (result == io::done) {
            delivered += deliver(of, frame, to) ? 1 : 0;
            continue;
        }
        if (result == io::again && of.is_output_broken()) {
            of.end();  // all that it had sent before is read
        } else if ((result == io::again || of.is_leaving()) && !of.connection().polls_output()) {
            flush(of);
        }
        break;
    }
    return delivered;
}

u_int32 vela_channel::serve(peer &of, u_int32 events, const delivery &to, u_int32 most) {
    if (!of.is_open()) {
        if (of.establish()) {
            open(of);
        }
        return 0;
    }
    if ((events & EPOLLOUT) != 0 || of.is_leaving()) {
        flush(of);
    }
    u_int32 delivered = receive_from(of, to, std::min(most, most_per_turn));
    last_sender_ = delivered > 0 ? &of : last_sender_;
    return delivered;
}

int vela_channel::look(int timeout_ms) {
    event_count_ = std::max(epoll_wait(epoll_.get(), events_, most_events, timeout_ms), 0);
    return event_count_;
}

bool vela_channel::wait(int timeout_ms) {
    if (look(timeout_ms) == 0) {
        return false;
    }
    // The usual case: one peer has sent something. The next message is then looked for there.
    void *source = events_[0].data.ptr;
    if (event_count_ == 1 && source != &times_ && source != &listening_ && static_cast<peer *>(source)->is_open()) {
        last_sender_ = static_cast<peer *>(source);
    }
    return true;
}

u_int32 vela_channel::process_all(const delivery &to, u_int32 most) {
    u_int32 delivered = 0;
    int count = event_count_ > 0 ? event_count_ : look(0);
    event_count_ = 0;  // peers are retired below: what was told of them is not to be kept
    bool is_called = false;
    for (int i = 0; i < count; ++i) {
        epoll_event event = events_[i];
        if (event.data.ptr == &times_) {
            on_timer();
        } else if (event.data.ptr == &listening_) {
            is_called = true;
        } else if (delivered < most) {
            delivered += serve(*static_cast<peer *>(event.data.ptr), event.events, to, most - delivered);
        }
    }
    for (size_t i = 0; i < peers_.size(); ++i) {
        bool has_work = peers_[i]->connection().holds_frame() || peers_[i]->is_output_broken();
        if (has_work && delivered < most && !peers_[i]->has_ended()) {
            delivered += serve(*peers_[i], 0, to, most - delivered);
        }
    }
    retire_ended();
    if (is_called) {  // after the farewell of those who ended: what waited for the last of them is for who comes now
        accept_peers();
        retire_ended();
    }
    return delivered;
}

u_int32 vela_channel::process(const delivery &to, u_int32 limit) {
    call_mark mark(is_processing_);
    u_int32 most = limit != 0 ? limit : most_per_call;
    u_int32 delivered = 0;
    if (limit != 0 && last_sender_ != nullptr && quick_turns_ < most_quick_turns) {
        ++quick_turns_;
        delivered = receive_from(*last_sender_, to, most);
    }
    if (delivered < most) {
        quick_turns_ = 0;
        delivered += process_all(to, most - delivered);
    }
    // Frames that wait in a link's buffer are not seen by the descriptor: let the timer make it readable.
    bool holds =
        std::any_of(peers_.begin(), peers_.end(), [](const auto &each) { return each->connection().holds_frame(); });
    if (holds) {
        look_around_soon();
    }
    if (is_finishing_) {
        finish_peers();
    }
    return delivered;
}
