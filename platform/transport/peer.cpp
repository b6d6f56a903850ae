#include "peer.h"

#include <sys/epoll.h>

#include <new>

namespace vela::transport {

peer::~peer() {
    // Closing alone would not do in a process that has forked: the child's copy keeps the descriptor watched.
    epoll_ctl(epoll_, EPOLL_CTL_DEL, connection_->fd(), nullptr);
}

bool peer::watch() {
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.ptr = this;
    return epoll_ctl(epoll_, EPOLL_CTL_ADD, connection_->fd(), &event) == 0;
}

void peer::want_output(bool wanted) {
    if (wanted == wants_output_ || !connection_->polls_output()) {
        return;
    }
    epoll_event event = {};
    event.events = wanted ? EPOLLIN | EPOLLOUT : EPOLLIN;
    event.data.ptr = this;
    epoll_ctl(epoll_, EPOLL_CTL_MOD, connection_->fd(), &event);
    wants_output_ = wanted;
}

void peer::break_output(int error) {
    is_output_broken_ = true;
    error_ = error;
    want_output(false);
}

bool peer::establish() {
    int error = 0;
    io result = connection_->establish(error);
    if (result == io::ended) {
        has_ended_ = true;
        error_ = error;
        return false;
    }
    is_open_ = result == io::done;
    want_output(!is_open_);
    return is_open_;
}

peer::outcome peer::send(frame_view frame, const queue_limits &limits) {
    u_int32 progress = 0;
    if (queue_.empty() && !is_output_broken_) {
        int error = 0;
        io result = connection_->send(frame, progress, error);
        if (result == io::done) {
            return outcome::sent;
        }
        if (result == io::ended) {
            break_output(error);
        }
    } else if (!queue_.fits(frame.length, limits)) {
        return outcome::full;
    }
    try {
        queue_.push(frame, progress);
    } catch (const std::bad_alloc &) {
        if (progress > 0) {
            break_output(VELA_ENOMEM);  // the peer waits for the rest, which is not to be had
        }
        return outcome::no_memory;
    }
    want_output(!is_output_broken_);
    return outcome::queued;
}

u_int32 peer::flush(u_int64 &bytes) {
    u_int32 count = 0;
    io result = io::done;
    while (!queue_.empty() && !is_output_broken_ && result == io::done) {
        int error = 0;
        frame_view frame = queue_.front_view();
        result = connection_->send(frame, queue_.front().progress, error);
        if (result == io::done) {
            ++count;
            bytes += frame.length;
            queue_.pop();
        } else if (result == io::ended) {
            break_output(error);
        }
    }
    want_output(!queue_.empty() && !is_output_broken_);
    return count;
}

io peer::receive(frame_view &frame) {
    int error = 0;
    io result = connection_->receive(frame, error);
    if (result == io::ended) {
        has_ended_ = true;
        error_ = error != 0 ? error : error_;
    }
    return result;
}

}  // namespace vela::transport
