// Peers that take messages of the library, as processes or threads, and can be killed; and their diary, which outlives
// them.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>

#include <atomic>
#include <set>
#include <thread>

#include "channel_end.h"
#include "ptp_cfg/reflect.h"

namespace test {

// Where a message has the word of the application's: here its number.
constexpr size_t number_offset = 8;

inline u_int32 number_of(const u_int8 *message) {
    u_int32 number = 0;
    for (size_t i = 0; i < 4; ++i) {
        number = number << 8 | message[number_offset + i];
    }
    return number;
}

// The numbers of the messages that peers have understood. What was written in it survives the writer.
class diary {
  public:
    static constexpr u_int32 not_understood = 0xFFFFFFFFu;

    diary() {
        EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
        EXPECT_EQ(fcntl(ends_[0], F_SETFL, O_NONBLOCK), 0);
    }
    ~diary() {
        close(ends_[0]);
        close(ends_[1]);
    }
    diary(const diary &) = delete;
    diary &operator=(const diary &) = delete;

    void add(u_int32 number) const { EXPECT_EQ(write(ends_[1], &number, sizeof number), ssize_t{sizeof number}); }
    // Everything that was added so far, in its order.
    const std::vector<u_int32> &read_on() {
        u_int32 number = 0;
        while (read(ends_[0], &number, sizeof number) == ssize_t{sizeof number}) {
            numbers_.push_back(number);
        }
        return numbers_;
    }

  private:
    int ends_[2] = {-1, -1};
    std::vector<u_int32> numbers_;
};

// Decodes a message and encodes it again; empty when that is not possible.
inline bytes decoded_and_encoded(vela_handle *handle, const u_int8 *message, u_int32 length) {
    const ptp_cfg_type *type = ptp_cfg_message_identify(message, length);
    if (type == nullptr) {
        return {};
    }
    ptp_cfg_type_description about = {};
    about.size = sizeof about;
    ptp_cfg_type_describe(type, &about);
    void *instance = nullptr;
    u_int32 err = 0;
    about.operations->unmarshal_only(handle, 1, &instance, message, length, &err);
    handle->msg_header_word = number_of(message);
    bytes again(length + 1);
    const u_int32 count = about.operations->marshal(handle, 1, again.data(), instance, length, &err);
    again.resize(err == 0 ? count : 0);
    about.operations->destroy(handle, 1, instance);
    return again;
}

// Peers come back soon: waiting for them would take most of a test's time.
inline vela_channel_options quick_to_reconnect() {
    vela_channel_options options = {};
    options.reconnect_most_ms = 20;
    return options;
}

struct peer_task {
    channel_end::opener open;
    std::string uri;
    u_int32 most;  // messages; it reads no more after them
    const diary *notes;
};

// Takes messages, alone or in bundles, notes them and sends them back, until it has its most or is stopped.
inline void take_messages(const peer_task &task, const std::atomic<bool> &is_stopped) {
    handle_ptr handle = make_handle();
    channel_end end(task.open, task.uri, quick_to_reconnect());
    if (end.channel == nullptr) {
        ADD_FAILURE() << "a peer has no channel: " << end.error_text;
        return;
    }
    u_int32 taken = 0;
    end.on_message = [&](channel_end &of, const bytes &frame) {
        u_int32 err = 0;
        vela_bundle_reader reader;
        vela_bundle_item item;
        vela_bundle_read(&reader, frame.data(), static_cast<u_int32>(frame.size()), &err);
        while (vela_bundle_next(&reader, &item) != 0) {
            ++taken;
            const bytes again = decoded_and_encoded(handle.get(), item.message, item.length);
            const bool is_same = again == bytes(item.message, item.message + item.length);
            task.notes->add(is_same ? number_of(item.message) : diary::not_understood);
            vela_channel_reply(of.channel, again.data(), static_cast<u_int32>(again.size()), &err);
        }
    };
    while (!is_stopped && taken < task.most) {
        if (vela_channel_wait(end.channel, 20) != 0) {
            end.process(1);
        }
    }
    while (!is_stopped) {
        usleep(1000);
    }
}

class peer {
  public:
    peer() = default;
    virtual ~peer() = default;
    peer(const peer &) = delete;
    peer &operator=(const peer &) = delete;
};

// A process, which the destructor kills.
class process_peer : public peer {
  public:
    explicit process_peer(const peer_task &task) : pid_(fork()) {
        if (pid_ == 0) {
            alarm(30);
            take_messages(task, false);
            _exit(1);  // it found no channel, and says so
        }
    }
    ~process_peer() override {
        int status = 0;
        EXPECT_GT(pid_, 0);
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "it had ended before: " << status;
    }

  private:
    pid_t pid_;
};

// A thread. It cannot be killed; the destructor lets it close its channel without a look at what waits there.
class thread_peer : public peer {
  public:
    explicit thread_peer(const peer_task &task) : thread_([task, this] { take_messages(task, is_stopped_); }) {}
    ~thread_peer() override {
        is_stopped_ = true;
        thread_.join();
    }

  private:
    std::atomic<bool> is_stopped_ = false;
    std::thread thread_;
};

}  // namespace test
