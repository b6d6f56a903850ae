// The connecting end of a channel, for send and replay: takes messages for as long as the peer takes them.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "channel.h"

namespace ptpcfg {

/**
 * All calls fail with exit code 4 when there is no peer, or nothing moves, for longer than the options' timeout, and
 * when a message was lost. They return early when a signal asks to stop.
 */
class outgoing {
  public:
    using clock = std::chrono::steady_clock;

    /** Gets what the peer sends, a message or a bundle; must not throw. */
    using take_fn = std::function<void(std::string_view bytes)>;

    /**
     * @param total  messages that there will be, if that is known: failures name it
     * @param take   may be empty: what the peer says is then of no interest
     */
    explicit outgoing(const channel_options &options, u_int64 total = 0, take_fn take = {});
    ~outgoing();
    outgoing(const outgoing &) = delete;
    outgoing &operator=(const outgoing &) = delete;

    /** Waits until somebody listens; to be called before each message. */
    void wait_for_peer();
    /** Lets the channel work until a time. */
    void work_until(clock::time_point time);
    /** Does what there is to do, without waiting, and whether there is a peer or not. */
    void serve();
    /** Readable when there is something to do. */
    int fd() const { return vela_channel_fd(channel_.get()); }
    /** Gives a message to the channel; waits while its queue is full. Returns false when the bytes are no message. */
    bool offer(std::string_view message);
    /** Sends what waits, waits until the peer has confirmed everything, and fails with the number of what it has not. */
    void finish();

    u_int64 sent() const { return statistics_of(channel_).sent; }
    /** Upper bound of what was sent and, as far as is known, not read. */
    u_int64 unconfirmed() const;

  private:
    static void on_event(void *cookie, vela_channel *channel, const vela_channel_event *event);
    void wait(clock::time_point until);
    void work(clock::time_point until);
    void note_progress();
    bool is_stalled() const;
    [[noreturn]] void fail(const std::string &reason) const;
    void check() const;

    channel_options options_;
    u_int64 total_;
    take_fn take_;
    std::string last_event_;
    std::string worst_event_;  // of messages that may be lost; says more than what comes after it
    channel channel_;
    clock::time_point last_progress_;
    u_int64 last_sent_ = 0;
    u_int64 last_unconfirmed_ = 0;
    u_int64 offered_ = 0;
};

}  // namespace ptpcfg
