// One end of a channel under test: what it received and what it was told.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>

#include "frames.h"
#include "vela_transport.h"

namespace test {

class channel_end {
  public:
    using opener = decltype(&vela_channel_listen);

    channel_end(opener open, const std::string &uri, vela_channel_options options = {}) {
        options.size = sizeof options;
        options.event = &note_event;
        options.event_cookie = this;
        gable_bundle_handler_register(&receive);
        char text[256] = "";
        channel = open("gable", uri.c_str(), &options, text, sizeof text, &open_error);
        error_text = text;
    }
    ~channel_end() { close(); }
    channel_end(const channel_end &) = delete;
    channel_end &operator=(const channel_end &) = delete;

    vela_channel_statistics close() {
        vela_channel_statistics last = {};
        vela_channel_close(std::exchange(channel, nullptr), &last);
        return last;
    }
    u_int32 process(u_int32 limit = 0) {
        u_int32 err = 0;
        u_int32 delivered = vela_channel_process(channel, nullptr, 42, this, limit, &err);
        EXPECT_EQ(err, 0u);
        return delivered;
    }
    u_int32 send(const bytes &message) {
        u_int32 err = 0;
        u_int32 accepted = vela_channel_send(channel, message.data(), static_cast<u_int32>(message.size()), &err);
        EXPECT_EQ(accepted, err == 0 ? 1u : 0u);
        return err;
    }
    vela_channel_statistics statistics() const {
        vela_channel_statistics result;
        vela_channel_get_statistics(channel, &result);
        return result;
    }
    std::string uri() const { return vela_channel_uri(channel); }
    // Messages that events of a kind told of, or the number of such events when they tell of none.
    u_int32 told(vela_channel_event_kind kind) const {
        u_int32 sum = 0;
        for (const vela_channel_event &event : events) {
            sum += event.kind == kind ? std::max(event.messages, 1u) : 0;
        }
        return sum;
    }

    vela_channel *channel = nullptr;
    u_int32 open_error = 0;
    std::string error_text;
    std::vector<bytes> received;
    std::vector<vela_channel_event> events;
    std::function<void(channel_end &, const bytes &)> on_message;

  private:
    static void receive(vela_handle *, u_int32 mem_class, const u_int8 *bundle, u_int32 length, void *context) {
        EXPECT_EQ(mem_class, 42u);
        channel_end &end = *static_cast<channel_end *>(context);
        end.received.emplace_back(bundle, bundle + length);
        if (end.on_message) {
            end.on_message(end, end.received.back());
        }
    }
    static void note_event(void *cookie, vela_channel *, const vela_channel_event *event) {
        EXPECT_NE(event->text, nullptr);
        channel_end &end = *static_cast<channel_end *>(cookie);
        end.events.push_back(*event);
        end.events.back().text = nullptr;
    }
};

// Processes the ends, each when its descriptor says so, until the condition holds; false after half a minute, which is
// long enough under a tool that slows everything down.
inline bool process_until(std::initializer_list<channel_end *> ends, const std::function<bool()> &condition) {
    auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        for (channel_end *end : ends) {
            if (vela_channel_wait(end->channel, ends.size() > 1 ? 1 : 20) != 0) {
                end->process();
            }
        }
    }
    return true;
}

// A folder of its own for socket files, removed with them.
class temporary_folder {
  public:
    temporary_folder() {
        char name[] = "/tmp/transport_test_XXXXXX";
        EXPECT_NE(mkdtemp(name), nullptr);
        path = name;
    }
    ~temporary_folder() {
        unlink((path + "/socket").c_str());
        EXPECT_EQ(rmdir(path.c_str()), 0) << "something was left in " << path;
    }
    std::string socket() const { return path + "/socket"; }
    std::string uri() const { return "unix:" + socket(); }

    std::string path;
};

// A TCP address to listen on later, again and again. The port is below those that the system gives to connecting sockets
// (from 32768 on), one of which may otherwise have it when it is listened on again.
inline std::string free_tcp_uri() {
    constexpr u_int32 first = 10240, count = 22000, tries = 100;
    static u_int32 next = static_cast<u_int32>(getpid()) * 7919u;
    for (u_int32 i = 0; i < tries; ++i) {
        const std::string uri = "tcp:127.0.0.1:" + std::to_string(first + next++ % count);
        if (channel_end(&vela_channel_listen, uri).channel != nullptr) {
            return uri;
        }
    }
    ADD_FAILURE() << "no free port among " << tries;
    return "tcp:127.0.0.1:0";
}

}  // namespace test
