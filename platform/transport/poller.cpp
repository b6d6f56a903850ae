// Waits by epoll, and keeps what it told until it is taken.
#include "poller.h"

#include <algorithm>

namespace vela::transport {

bool poller::open() {
    epoll_ = base::file_descriptor(epoll_create1(EPOLL_CLOEXEC));
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.ptr = &times_;
    return epoll_ && times_.open() && epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, times_.fd(), &event) == 0;
}

bool poller::watch(int descriptor, void *source, bool is_wanted) {
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.ptr = source;
    return epoll_ctl(epoll_.get(), is_wanted ? EPOLL_CTL_ADD : EPOLL_CTL_DEL, descriptor, &event) == 0;
}

int poller::poll(int timeout_ms) {
    event_count_ = std::max(epoll_wait(epoll_.get(), events_, most_events, timeout_ms), 0);
    return event_count_;
}

std::span<const epoll_event> poller::take_events() {
    const int count = event_count_ > 0 ? event_count_ : poll(0);
    event_count_ = 0;  // peers are retired in the turn that follows: what was told of them is not to be kept
    return {events_, static_cast<size_t>(count)};
}

void poller::look_around_soon() {
    if (!times_.is_set(timetable::look_around)) {
        times_.set(timetable::look_around, 0);
    }
}

}  // namespace vela::transport
