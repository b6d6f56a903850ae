// The one descriptor of a channel: what is ready, and what is due.
#pragma once

#include <sys/epoll.h>

#include <span>

#include "base/file_descriptor.h"
#include "timetable.h"

namespace vela::transport {

class poller {
  public:
    // False, with errno, when there are no descriptors.
    bool open();
    // Readable when there is something to do. Peers watch their links by it themselves.
    int fd() const { return epoll_.get(); }
    // Watches a descriptor, or does so no more; events name `source`. False, with errno, when the system has no room to.
    bool watch(int descriptor, void *source, bool is_wanted);

    // Waits until something is ready, for so long; negative: no limit. The number of events.
    int poll(int timeout_ms);
    // What poll() told last, or what is ready now. Each once.
    std::span<const epoll_event> take_events();
    // The only source that poll() told of; null when there were several.
    void *only_source() const { return event_count_ == 1 ? events_[0].data.ptr : nullptr; }

    // An event whose source is this one says that something of the timetable is due.
    timetable &times() { return times_; }
    // Makes the descriptor readable, for what it does not tell of by itself.
    void look_around_soon();

  private:
    base::file_descriptor epoll_;
    timetable times_;
    static constexpr int most_events = 64;
    epoll_event events_[most_events] = {};
    int event_count_ = 0;
};

}  // namespace vela::transport
