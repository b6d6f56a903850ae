// Sends to and receives from one peer, queues what its link does not take, and keeps epoll informed.
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
    event.events = watched_ = EPOLLIN;
    event.data.ptr = this;
    return epoll_ctl(epoll_, EPOLL_CTL_ADD, connection_->fd(), &event) == 0;
}

void peer::watch_as_needed() {
    if (!connection_->polls_output()) {
        return;
    }
    bool wants_output = !is_open_ || (!queue_.empty() && !is_output_broken_);
    epoll_event event = {};
    event.events |= is_leaving_ ? 0u : u_int32{EPOLLIN};  // an end stays to be read
    event.events |= wants_output ? u_int32{EPOLLOUT} : 0u;
    event.data.ptr = this;
    if (event.events != watched_) {
        epoll_ctl(epoll_, EPOLL_CTL_MOD, connection_->fd(), &event);
        watched_ = event.events;
    }
}

void peer::end(int error) {
    has_ended_ = true;
    error_ = error != 0 ? error : error_;
}

void peer::break_output(int error) {
    is_output_broken_ = true;
    error_ = error;
    has_ended_ |= is_leaving_;
    watch_as_needed();
}

bool peer::establish() {
    int error = 0;
    io result = connection_->establish(error);
    if (result == io::ended) {
        end(error);
        return false;
    }
    is_open_ = result == io::done;
    watch_as_needed();
    return is_open_;
}

peer::outcome peer::send(frame_view frame, const queue_limits &limits) {
    u_int32 progress = 0;
    if (queue_.empty() && !is_output_broken_) {
        int error = 0;
        io result = connection_->send(frame, progress, error);
        if (result == io::done) {
            ++sent_;
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
    watch_as_needed();
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
    sent_ += count;
    has_ended_ |= is_leaving_ && queue_.empty();
    watch_as_needed();
    return count;
}

io peer::receive(frame_view &frame) {
    int error = 0;
    io result = connection_->receive(frame, error);
    if (result == io::ended) {
        is_leaving_ = error == 0 && !queue_.empty() && !is_output_broken_;
        if (!is_leaving_) {
            end(error);
        }
        watch_as_needed();
    }
    return result;
}

void peer::finish() {
    if (is_open_ && !is_output_done_ && !is_output_broken_ && queue_.empty()) {
        is_output_done_ = connection_->finish_output();
    }
}

}  // namespace vela::transport
