// Sources of sd-event with owners.
#include "agent/base/event_loop.h"

#include <signal.h>
#include <sys/wait.h>

#include <system_error>
#include <utility>

namespace ptp_agent {
namespace {

using Call = std::shared_ptr<std::function<void(std::uint64_t)>>;

void check(int result, const char *doing) {
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), doing);
    }
}

/** Keeps the callback alive while it runs: it may destroy its source. */
int call(void *cookie, std::uint64_t value) {
    const Call kept = *static_cast<Call *>(cookie);
    (*kept)(value);
    return 0;
}

int on_fd(sd_event_source *, int, std::uint32_t events, void *cookie) { return call(cookie, events); }
int on_time(sd_event_source *, std::uint64_t, void *cookie) { return call(cookie, 0); }
int on_signal(sd_event_source *, const signalfd_siginfo *, void *cookie) { return call(cookie, 0); }

int on_child(sd_event_source *, const siginfo_t *info, void *cookie) {
    const bool signalled = info->si_code != CLD_EXITED;
    return call(cookie, static_cast<std::uint64_t>(info->si_status) << 1 | (signalled ? 1u : 0u));
}

void block(int number) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, number);
    sigprocmask(SIG_BLOCK, &set, nullptr);
}

}  // namespace

EventLoop::EventLoop() {
    sd_event *event = nullptr;
    check(sd_event_new(&event), "make an event loop");
    event_.reset(event);
}

int EventLoop::run() {
    const int code = sd_event_loop(event_.get());
    check(code, "run the event loop");
    return code;
}

bool EventLoop::run_once(std::uint64_t timeout_ms) {
    if (sd_event_get_state(event_.get()) == SD_EVENT_FINISHED) {
        return false;
    }
    check(sd_event_run(event_.get(), timeout_ms * 1000), "run the event loop");
    return sd_event_get_state(event_.get()) != SD_EVENT_FINISHED;
}

void EventLoop::exit(int code) { sd_event_exit(event_.get(), code); }

EventSource EventLoop::watch(int fd, std::uint32_t events, std::function<void(std::uint32_t)> ready) {
    EventSource made([ready = std::move(ready)](std::uint64_t value) { ready(static_cast<std::uint32_t>(value)); });
    sd_event_source *source = nullptr;
    check(sd_event_add_io(event_.get(), &source, fd, events, on_fd, made.callback_.get()), "watch a descriptor");
    made.source_.reset(source);
    return made;
}

EventSource EventLoop::watch_signal(int number, std::function<void()> came) {
    block(number);
    EventSource made([came = std::move(came)](std::uint64_t) { came(); });
    sd_event_source *source = nullptr;
    check(sd_event_add_signal(event_.get(), &source, number, on_signal, made.callback_.get()), "watch a signal");
    made.source_.reset(source);
    return made;
}

EventSource EventLoop::watch_child(pid_t child, std::function<void(ChildEnd)> ended) {
    block(SIGCHLD);
    EventSource made([ended = std::move(ended)](std::uint64_t value) {
        ended({(value & 1) != 0, static_cast<int>(value >> 1)});
    });
    sd_event_source *source = nullptr;
    check(sd_event_add_child(event_.get(), &source, child, WEXITED, on_child, made.callback_.get()),
          "watch a child process");
    made.source_.reset(source);
    return made;
}

Timer::Timer(EventLoop &loop, std::function<void()> due) : source_([due = std::move(due)](std::uint64_t) { due(); }) {
    sd_event_source *source = nullptr;
    // An accuracy of 1 ms: the default of 250 ms is as long as a whole time-out here.
    check(sd_event_add_time_relative(loop.get(), &source, CLOCK_MONOTONIC, 0, 1000, on_time, source_.callback_.get()),
          "make a timer");
    source_.source_.reset(source);
    stop();
}

void Timer::start_ms(std::uint64_t delay) {
    check(sd_event_source_set_time_relative(source_.get(), delay * 1000), "set a timer");
    check(sd_event_source_set_enabled(source_.get(), SD_EVENT_ONESHOT), "start a timer");
}

void Timer::stop() { sd_event_source_set_enabled(source_.get(), SD_EVENT_OFF); }

bool Timer::is_running() const {
    int enabled = SD_EVENT_OFF;
    sd_event_source_get_enabled(source_.get(), &enabled);
    return enabled != SD_EVENT_OFF;
}

}  // namespace ptp_agent
