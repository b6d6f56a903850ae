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

}  // namespace

outgoing::outgoing(const channel_options &options)
    : options_(options),
      channel_(open_channel(vela_channel_connect, options_, on_event, this)),
      last_progress_(clock::now()) {
    // What the peer says is of no interest, and no fault.
    set_bundle_handler(options_.channel, [](vela_handle *, u_int32, const u_int8 *, u_int32, void *) {});
}

outgoing::~outgoing() {
    channel_.reset();
    set_bundle_handler(options_.channel, nullptr);
}

void outgoing::on_event(void *cookie, vela_channel *, const vela_channel_event *event) {
    if (event->kind != VELA_CHANNEL_CONNECTED && event->text != nullptr) {
        static_cast<outgoing *>(cookie)->last_event_ = event->text;
    }
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

void outgoing::flush() {
    while (sent() < offered_ && stop_signal() == 0) {
        work(clock::now() + longest_wait);
    }
    work(clock::now());
    if (const u_int64 unread = statistics_of(channel_).unread; unread > 0 && stop_signal() == 0) {
        throw failure(exit_code::peer, options_.uri + ": the peer ended before it read up to " +
                                           std::to_string(unread) + " of " + std::to_string(offered_) + " messages");
    }
}

/** Does what there is to do, and waits at most until a time. */
void outgoing::work(clock::time_point until) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - clock::now());
    vela_channel_wait(channel_.get(), static_cast<int32>(std::clamp(left, left.zero(), longest_wait).count()));
    u_int32 err = 0;
    vela_channel_process(channel_.get(), nullptr, memory_class, nullptr, 0, &err);
    const vela_channel_statistics now = statistics_of(channel_);
    if (now.sent != last_sent_ || (now.peers > 0 && now.sent == offered_)) {
        last_sent_ = now.sent;
        last_progress_ = clock::now();
    }
    check();
}

void outgoing::check() const {
    const vela_channel_statistics now = statistics_of(channel_);
    const std::chrono::duration<double> stalled = clock::now() - last_progress_;
    if (now.lost == 0 && stalled.count() <= options_.timeout) {
        return;
    }
    throw failure(exit_code::peer, options_.uri + ": " +
                                       (now.connects == 0 ? "nobody listens there"
                                                          : std::to_string(now.sent) + " messages sent, then " +
                                                                (now.lost > 0    ? "messages were lost"
                                                                 : now.peers > 0 ? "the peer took no more"
                                                                                 : "the peer was gone")) +
                                       (last_event_.empty() ? "" : ": " + last_event_));
}

}  // namespace ptpcfg
