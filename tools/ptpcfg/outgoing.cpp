// Offers messages to a channel, and waits for the peer.
#include "outgoing.h"

#include <algorithm>

#include "failure.h"
#include "reflection.h"
#include "signals.h"

namespace ptpcfg {
namespace {

/** Messages after which a sender that is never held up looks at what the peer does. */
constexpr u_int64 burst = 64;

constexpr std::chrono::milliseconds longest_wait(100);

/** For a peer that has confirmed everything to close the connection: nothing is lost if it does not. */
constexpr std::chrono::milliseconds farewell(500);

}  // namespace

outgoing::outgoing(const channel_options &options, u_int64 total, take_fn take)
    : options_(options),
      total_(total),
      take_(std::move(take)),
      channel_(open_channel(vela_channel_connect, options_, on_event, this)),
      last_progress_(clock::now()) {
    // What the peer says is no fault, also when it is of no interest.
    set_bundle_handler(options_.channel, [](vela_handle *, u_int32, const u_int8 *bytes, u_int32 length, void *self) {
        if (const take_fn &take = static_cast<outgoing *>(self)->take_) {
            take({reinterpret_cast<const char *>(bytes), length});
        }
    });
}

outgoing::~outgoing() {
    channel_.reset();
    set_bundle_handler(options_.channel, nullptr);
}

void outgoing::on_event(void *cookie, vela_channel *, const vela_channel_event *event) {
    outgoing &self = *static_cast<outgoing *>(cookie);
    if (event->kind == VELA_CHANNEL_CONNECTED) {
        return;
    }
    const bool is_bad =
        event->kind == VELA_CHANNEL_LOST || event->kind == VELA_CHANNEL_UNREAD || event->kind == VELA_CHANNEL_REFUSED;
    (is_bad && self.worst_event_.empty() ? self.worst_event_ : self.last_event_) = text_of(*event, self.options_.uri);
}

u_int64 outgoing::unconfirmed() const {
    return statistics_of(channel_).unread + vela_channel_unconfirmed(channel_.get());
}

void outgoing::wait_for_peer() {
    if (offered_ == 0) {
        last_progress_ = clock::now();  // what came before was the caller's time
    }
    while (statistics_of(channel_).peers == 0 && stop_signal() == 0) {
        work(clock::now() + longest_wait);
    }
}

void outgoing::work_until(clock::time_point time) {
    do {
        work(time);
    } while (clock::now() < time && stop_signal() == 0);
}

bool outgoing::offer(std::string_view message) {
    while (stop_signal() == 0) {
        u_int32 err = 0;
        vela_channel_send(channel_.get(), reinterpret_cast<const u_int8 *>(message.data()),
                          static_cast<u_int32>(message.size()), &err);
        if (err == 0) {
            ++offered_;
            if (offered_ % burst == 0) {
                work(clock::now());
            }
            return true;
        }
        if (err == VELA_EINVAL) {
            return false;
        }
        if (err != VELA_EAGAIN) {
            throw failure(exit_code::peer, options_.uri + ": cannot send: " + error_text(err));
        }
        work(clock::now() + longest_wait);
    }
    return true;
}

void outgoing::finish() {
    u_int32 err = 0;
    clock::time_point missing_at = clock::now();  // when something was last missing
    while (stop_signal() == 0 && vela_channel_finish(channel_.get(), nullptr, memory_class, this, 0, &err) == 0) {
        note_progress();
        missing_at = statistics_of(channel_).queued + last_unconfirmed_ > 0 ? clock::now() : missing_at;
        if (is_stalled() || clock::now() - missing_at > farewell) {
            break;
        }
        wait(clock::now() + longest_wait);
    }
    const vela_channel_statistics now = statistics_of(channel_);
    if (stop_signal() == 0 && now.lost + now.queued + unconfirmed() > 0) {
        fail(now.lost > 0                      ? ", then messages were lost"
             : !is_stalled()                   ? ""
             : now.peers > 0 && now.queued > 0 ? ", then the peer took no more"
             : now.peers > 0                   ? " in time"
                                               : ", then the peer was gone");
    }
}

void outgoing::serve() {
    u_int32 err = 0;
    vela_channel_process(channel_.get(), nullptr, memory_class, this, 0, &err);
    last_progress_ = clock::now();  // nobody waits
}

void outgoing::wait(clock::time_point until) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - clock::now());
    wait_or_stop(vela_channel_fd(channel_.get()),
                 static_cast<int>(std::clamp(left, left.zero(), longest_wait).count()));
}

/** Does what there is to do, and waits at most until a time. */
void outgoing::work(clock::time_point until) {
    wait(until);
    u_int32 err = 0;
    vela_channel_process(channel_.get(), nullptr, memory_class, this, 0, &err);
    note_progress();
    check();
}

/** Something moved, or there is nothing to be moved. */
void outgoing::note_progress() {
    const vela_channel_statistics now = statistics_of(channel_);
    const u_int64 unconfirmed = vela_channel_unconfirmed(channel_.get());
    const bool is_idle = now.peers > 0 && now.queued == 0 && unconfirmed == 0;
    if (is_idle || now.sent != last_sent_ || unconfirmed != last_unconfirmed_) {
        last_sent_ = now.sent;
        last_unconfirmed_ = unconfirmed;
        last_progress_ = clock::now();
    }
}

bool outgoing::is_stalled() const {
    return std::chrono::duration<double>(clock::now() - last_progress_).count() > options_.timeout;
}

/** Says how much was sent, and how it ended. */
void outgoing::fail(const std::string &reason) const {
    const vela_channel_statistics now = statistics_of(channel_);
    const std::string of_total = total_ != 0 ? " of " + std::to_string(total_) : "";
    std::string text;
    if (now.connects == 0) {
        text = (total_ != 0 ? "0" + of_total + " messages sent, " : "") + "nobody listens there";
    } else {
        text = std::to_string(now.sent) + of_total + " messages sent";
        if (unconfirmed() > 0) {
            text += ", of which up to " + std::to_string(unconfirmed()) + " were not confirmed";
        }
        text += reason;
    }
    const std::string &event = worst_event_.empty() ? last_event_ : worst_event_;
    throw failure(exit_code::peer, options_.uri + ": " + text + (event.empty() ? "" : ": " + event));
}

void outgoing::check() const {
    const vela_channel_statistics now = statistics_of(channel_);
    if (now.lost > 0) {
        fail(", then messages were lost");
    }
    if (is_stalled() && (now.peers == 0 || now.queued > 0)) {
        fail(now.peers > 0 ? ", then the peer took no more" : ", then the peer was gone");
    }
}

}  // namespace ptpcfg
