// The event loop of the agent: sd-event with owners. Every source ends with the object that stands for it.
#pragma once

#include <systemd/sd-event.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

namespace ptp_agent {

/** Why a child process ended. */
struct ChildEnd {
    bool signalled = false;
    int value = 0;  ///< exit status, or the signal's number
};

/**
 * A source of the loop. While it exists its callback is called; it may be destroyed from within the callback, which then
 * runs to its end. An empty one stands for nothing.
 */
class EventSource {
  public:
    EventSource() = default;
    EventSource(EventSource &&) = default;
    EventSource &operator=(EventSource &&) = default;

    explicit operator bool() const { return source_ != nullptr; }
    sd_event_source *get() const { return source_.get(); }
    void reset() { *this = EventSource(); }

  private:
    friend class EventLoop;
    friend class Timer;
    using Callback = std::shared_ptr<std::function<void(std::uint64_t)>>;
    explicit EventSource(std::function<void(std::uint64_t)> call)
        : callback_(std::make_unique<Callback>(std::make_shared<std::function<void(std::uint64_t)>>(std::move(call)))) {
    }

    struct Disable {
        void operator()(sd_event_source *source) const { sd_event_source_disable_unref(source); }
    };
    // Has one address for sd-event. Destroyed from the last on: the source ends before what it calls.
    std::unique_ptr<Callback> callback_;
    std::unique_ptr<sd_event_source, Disable> source_;
};

/**
 * One per thread. Failures to make a source, which are programming errors or want of descriptors, are thrown as
 * std::system_error.
 */
class EventLoop {
  public:
    EventLoop();
    EventLoop(const EventLoop &) = delete;
    EventLoop &operator=(const EventLoop &) = delete;

    sd_event *get() const { return event_.get(); }

    /** Runs until exit(); returns the code given there. */
    int run();
    /** Waits for at most that time and serves what is due; false after exit(). */
    bool run_once(std::uint64_t timeout_ms);
    void exit(int code);

    /** `events` and the callback's number are those of epoll: EPOLLIN, EPOLLOUT, ... */
    EventSource watch(int fd, std::uint32_t events, std::function<void(std::uint32_t)> ready);
    /** The signal is blocked, so that it comes as an event only. */
    EventSource watch_signal(int number, std::function<void()> came);
    /** Waits for the end of a child of this process, which it reaps. */
    EventSource watch_child(pid_t child, std::function<void(ChildEnd)> ended);

  private:
    struct Unref {
        void operator()(sd_event *event) const { sd_event_unref(event); }
    };
    std::unique_ptr<sd_event, Unref> event_;
};

/** A timer that fires once each time it is started, by the monotonic clock. */
class Timer {
  public:
    Timer(EventLoop &loop, std::function<void()> due);

    /** Starts it, or starts it anew. 0: as soon as the loop runs. */
    void start_ms(std::uint64_t delay);
    void stop();
    bool is_running() const;

  private:
    EventSource source_;
};

}  // namespace ptp_agent
