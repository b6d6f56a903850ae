// Queues between the threads of one process.
#include <errno.h>
#include <string.h>
#include <sys/eventfd.h>

#include <deque>
#include <map>
#include <mutex>
#include <vector>

#include "backend.h"

namespace vela::transport {
namespace {

// What a queue between two threads holds before its sender has to wait; at least one frame always fits.
constexpr size_t most_frames = 64;
constexpr size_t most_bytes = 1024 * 1024;
constexpr size_t most_waiting_links = 64;

file_descriptor make_event() { return file_descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)); }

void signal(const file_descriptor &event) {
    u_int64 one = 1;
    [[maybe_unused]] ssize_t written = write(event.get(), &one, sizeof one);
}

void clear(const file_descriptor &event) {
    u_int64 count = 0;
    [[maybe_unused]] ssize_t got = read(event.get(), &count, sizeof count);
}

// What one of two peers has yet to read. `event` stays readable until it finds nothing.
struct inbox {
    std::deque<std::vector<u_int8>> frames;
    size_t bytes = 0;
    file_descriptor event = make_event();
    bool closed = false;    // its reader is gone
    bool refused = false;   // ... and was never a peer
    bool complete = false;  // its writer has finished
    bool awaited = false;   // its writer waits for room

    bool is_full() const { return frames.size() >= most_frames || (bytes >= most_bytes && !frames.empty()); }
};

struct inbox_pair {
    std::mutex mutex;
    inbox boxes[2];
};

class inproc_link : public peer_link {
  public:
    inproc_link(std::shared_ptr<inbox_pair> pair, int own, const std::string &name)
        : pair_(std::move(pair)), own_(pair_->boxes[own]), other_(pair_->boxes[1 - own]), peer_("inproc:" + name) {}

    ~inproc_link() override {
        std::lock_guard lock(pair_->mutex);
        own_.closed = true;
        signal(other_.event);
    }

    int fd() const override { return own_.event.get(); }
    bool polls_output() const override { return false; }

    io send(frame_view frame, u_int32 &, int &error) override {
        std::lock_guard lock(pair_->mutex);
        if (other_.closed) {
            error = EPIPE;
            return io::ended;
        }
        if (other_.is_full()) {
            other_.awaited = true;
            return io::again;
        }
        other_.frames.emplace_back(frame.bytes, frame.bytes + frame.length);
        other_.bytes += frame.length;
        if (other_.frames.size() == 1) {
            signal(other_.event);
        }
        return io::done;
    }

    io receive(frame_view &frame, int &error) override {
        std::lock_guard lock(pair_->mutex);
        if (own_.frames.empty()) {
            clear(own_.event);
            error = other_.refused ? EAGAIN : 0;
            return own_.complete || other_.closed ? io::ended : io::again;
        }
        current_ = std::move(own_.frames.front());
        own_.frames.pop_front();
        own_.bytes -= current_.size();
        if (own_.awaited) {
            own_.awaited = false;
            signal(other_.event);
        }
        frame = {current_.data(), static_cast<u_int32>(current_.size()), 0};
        return io::done;
    }

    u_int32 unread() override {
        std::lock_guard lock(pair_->mutex);
        return static_cast<u_int32>(other_.frames.size());
    }
    u_int32 unconfirmed() override { return unread(); }

    bool finish_output() override {
        std::lock_guard lock(pair_->mutex);
        other_.complete = true;
        signal(other_.event);
        return true;
    }

    void refuse() override {
        std::lock_guard lock(pair_->mutex);
        own_.refused = true;
    }

    const std::string &peer() const override { return peer_; }

  private:
    std::shared_ptr<inbox_pair> pair_;
    inbox &own_;
    inbox &other_;
    std::vector<u_int8> current_;
    std::string peer_;
};

// Who listens under which name. Never destroyed: channels may be closed while the process ends.
struct meeting_place {
    struct listener {
        file_descriptor event = make_event();
        std::deque<std::unique_ptr<peer_link>> waiting;
    };
    std::mutex mutex;
    std::map<std::string, listener> listeners;
};

meeting_place &place() {
    static meeting_place *the_place = new meeting_place;
    return *the_place;
}

class inproc_backend : public backend {
  public:
    explicit inproc_backend(const std::string &name) : name_(name) {}

    ~inproc_backend() override {
        if (listens_) {
            std::lock_guard lock(place().mutex);
            place().listeners.erase(name_);
        }
    }

    int listen(failure &why) override {
        std::lock_guard lock(place().mutex);
        auto [entry, is_new] = place().listeners.try_emplace(name_);
        if (!is_new) {
            why = {EADDRINUSE, "another channel of this process listens on " + uri()};
            return -1;
        }
        listens_ = true;
        if (!entry->second.event) {
            why = system_failure(errno, "no event descriptor");
        }
        return entry->second.event.get();
    }

    std::unique_ptr<peer_link> accept(failure &why) override {
        std::lock_guard lock(place().mutex);
        auto &listener = place().listeners.at(name_);
        if (listener.waiting.empty()) {
            clear(listener.event);
            why.code = EAGAIN;
            return nullptr;
        }
        std::unique_ptr<peer_link> next = std::move(listener.waiting.front());
        listener.waiting.pop_front();
        return next;
    }

    std::unique_ptr<peer_link> connect(failure &why) override {
        std::lock_guard lock(place().mutex);
        auto found = place().listeners.find(name_);
        if (found == place().listeners.end() || found->second.waiting.size() >= most_waiting_links) {
            why = {ECONNREFUSED, "nobody listens on " + uri()};
            return nullptr;
        }
        auto pair = std::make_shared<inbox_pair>();
        if (!pair->boxes[0].event || !pair->boxes[1].event) {
            why = {EMFILE, "no event descriptor for " + uri()};
            return nullptr;
        }
        auto near_end = std::make_unique<inproc_link>(pair, 0, name_);
        found->second.waiting.push_back(std::make_unique<inproc_link>(pair, 1, name_));
        signal(found->second.event);
        return near_end;
    }

    std::string uri() const override { return "inproc:" + name_; }

  private:
    std::string name_;
    bool listens_ = false;
};

}  // namespace

std::unique_ptr<backend> make_inproc(const std::string &name, const backend_options &, failure &) {
    return std::make_unique<inproc_backend>(name);
}

}  // namespace vela::transport
