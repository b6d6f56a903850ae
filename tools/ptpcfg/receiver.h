// The listening end of a channel, for listen and record: messages one by one, until a count, a time or a signal.
#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <string_view>

#include "channel.h"

namespace ptpcfg {

class receiver {
  public:
    /** Gets each message, those of a bundle one by one, before its sender is told that it was read; it may throw. */
    using take_fn = std::function<void(std::string_view message)>;

    /**
     * @param count         messages after which it ends; 0: without end
     * @param take_damaged  gets the bytes of what is no message, after the fault was named; may be empty
     */
    receiver(const channel_options &options, u_int32 count, take_fn take, take_fn take_damaged = {});
    ~receiver();
    receiver(const receiver &) = delete;
    receiver &operator=(const receiver &) = delete;

    /** Has `tick` called while nothing comes, this often at least. */
    void set_tick(std::chrono::milliseconds every, std::function<void()> tick);

    /**
     * Ends in order at SIGINT and SIGTERM. Fails at the end when `count` was not reached, or there were faults; those of
     * strangers, who never sent a message, are named and do not count.
     */
    void run();

    /** Names a fault on standard error; the work goes on, and run() fails in the end. */
    void complain(const std::string &reason);
    /** Messages so far, the one that is being taken included. */
    u_int32 received() const { return received_; }
    /** The message that is being taken does not count towards `count`. */
    void leave_out() { ++left_out_; }
    /** Who sent the message that is being taken. */
    std::string sender() const;

  private:
    using clock = std::chrono::steady_clock;

    static void on_event(void *cookie, vela_channel *channel, const vela_channel_event *event);
    bool has_enough() const { return count_ != 0 && received_ - left_out_ >= count_; }
    void say(const std::string &text) const;
    void say_of_stranger(const std::string &text);
    bool take_next();
    void take_bundle(std::string_view bytes);
    void take_damaged(std::string_view bytes);
    bool wait();
    void check_count() const;

    channel_options options_;
    u_int32 count_;
    std::chrono::milliseconds tick_every_{60000};
    std::function<void()> tick_;
    take_fn take_;
    take_fn take_damaged_;
    channel channel_;
    std::exception_ptr thrown_;  // by these two: nothing may be thrown through the library
    clock::time_point last_;     // when the last message came
    clock::time_point next_stranger_{};
    u_int64 silent_strangers_ = 0;  // of whom nothing was said
    u_int32 received_ = 0;
    u_int32 left_out_ = 0;
    size_t faults_ = 0;
};

}  // namespace ptpcfg
