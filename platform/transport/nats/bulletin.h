// What the threads of a link and its channel tell each other: notes, and a descriptor that calls the channel.
#pragma once

#include <sys/eventfd.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

#include "base/file_descriptor.h"
#include "vela_transport_plugin.h"

namespace vela::nats {

struct note {
    vela_channel_event_kind kind = VELA_CHANNEL_CONNECTED;
    u_int32 err = 0;
    u_int32 messages = 0;
    std::string text;
};

// Everything of a link is guarded by one mutex, which nobody holds while a server is waited for.
class bulletin {
  public:
    bulletin() : call_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

    std::mutex mutex;
    std::condition_variable changed;  // to the link's own threads

    // ---- with the mutex held ----

    bool is_stopping = false;

    void tell(note what) {
        if (notes_.size() < most_notes) {
            notes_.push_back(std::move(what));
        } else if (what.kind == notes_.back().kind) {
            notes_.back().messages += what.messages;
        }
        call();
    }
    // Of many messages one after the other: one note until the channel has read it.
    void tell_again(note what) {
        for (note &each : notes_) {
            if (each.kind == what.kind && each.err == what.err && what.messages > 0) {
                each.messages += what.messages;
                return;
            }
        }
        tell(std::move(what));
    }
    bool take(note &out) {
        if (notes_.empty()) {
            return false;
        }
        out = std::move(notes_.front());
        notes_.pop_front();
        return true;
    }
    bool has_notes() const { return !notes_.empty(); }

    // Makes the descriptor readable until calm() is called.
    void call() {
        const u_int64 one = 1;
        [[maybe_unused]] const ssize_t count = write(call_.get(), &one, sizeof one);
    }
    void calm() {
        u_int64 count = 0;
        [[maybe_unused]] const ssize_t got = read(call_.get(), &count, sizeof count);
    }

    int fd() const { return call_.get(); }

  private:
    static constexpr size_t most_notes = 256;

    base::file_descriptor call_;
    std::deque<note> notes_;
};

}  // namespace vela::nats
