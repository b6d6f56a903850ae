// Takes messages from a channel until there is reason to end.
#include "receiver.h"

#include <algorithm>
#include <utility>

#include "failure.h"
#include "reflection.h"
#include "signals.h"
#include "vela_bundle.h"
#include "wire.h"

namespace ptpcfg {

receiver::receiver(const channel_options &options, u_int32 count, take_fn take, take_fn take_damaged)
    : options_(options), count_(count), take_(std::move(take)), take_damaged_(std::move(take_damaged)) {
    end_at_signals();
    set_bundle_handler(options.channel, [](vela_handle *, u_int32, const u_int8 *bundle, u_int32 length, void *self) {
        static_cast<receiver *>(self)->take_bundle({reinterpret_cast<const char *>(bundle), length});
    });
    channel_ = open_channel(options_.connect ? vela_channel_connect : vela_channel_listen, options_, on_event, this);
}

receiver::~receiver() {
    channel_.reset();
    set_bundle_handler(options_.channel, nullptr);
}

void receiver::run() {
    last_ = clock::now();
    while (stop_signal() == 0 && !has_enough()) {
        if (tick_) {
            tick_();
        }
        if (!take_next() && !wait()) {
            check_count();
            break;
        }
    }
    if (silent_strangers_ > 0) {
        say(std::to_string(silent_strangers_) + " more pieces came from strangers");
    }
    if (faults_ > 0) {
        throw failure(exit_code::peer, options_.uri + ": " + std::to_string(faults_) +
                                           (faults_ == 1 ? " fault" : " faults") + ", see above");
    }
}

void receiver::on_event(void *cookie, vela_channel *, const vela_channel_event *event) {
    receiver &self = *static_cast<receiver *>(cookie);
    const std::string text = text_of(*event, self.options_.uri);
    if (event->kind == VELA_CHANNEL_REFUSED) {
        self.say(text);  // the channel tells that once a second
    } else if (event->kind == VELA_CHANNEL_DROPPED && event->delivered == 0) {
        self.say_of_stranger(text);
    } else if (event->kind == VELA_CHANNEL_DROPPED) {
        self.complain(text);
    }
    if (event->kind == VELA_CHANNEL_DROPPED && event->bytes != nullptr) {
        self.take_damaged({reinterpret_cast<const char *>(event->bytes), event->length});
    }
}

void receiver::take_damaged(std::string_view bytes) try {
    if (take_damaged_) {
        take_damaged_(bytes);
    }
} catch (...) {
    thrown_ = std::current_exception();
}

std::string receiver::sender() const {
    const char *peer = vela_channel_peer(channel_.get());
    return peer != nullptr ? peer : "";
}

void receiver::set_tick(std::chrono::milliseconds every, std::function<void()> tick) {
    tick_every_ = every;
    tick_ = std::move(tick);
}

void receiver::say(const std::string &text) const {
    std::fprintf(stderr, "ptpcfg: %s: %s\n", options_.uri.c_str(), text.c_str());
}

void receiver::complain(const std::string &reason) {
    ++faults_;
    say(reason);
}

/** A line a second at most: whoever reaches the port could fill a log with them. */
void receiver::say_of_stranger(const std::string &text) {
    if (clock::now() < next_stranger_) {
        ++silent_strangers_;
        return;
    }
    const u_int64 more = std::exchange(silent_strangers_, 0);
    say(text + (more == 0 ? "" : "; " + std::to_string(more) + " more before"));
    next_stranger_ = clock::now() + std::chrono::seconds(1);
}

/** One at a time: its sender may think of what is left as not read when this is the end. */
bool receiver::take_next() {
    u_int32 err = 0;
    const bool came = vela_channel_process(channel_.get(), nullptr, memory_class, this, 1, &err) > 0;
    if (thrown_ != nullptr) {
        std::rethrow_exception(std::exchange(thrown_, nullptr));
    }
    return came;
}

void receiver::take_bundle(std::string_view bytes) try {
    vela_bundle_reader reader{};
    u_int32 err = 0;
    vela_bundle_read(&reader, reinterpret_cast<const u_int8 *>(bytes.data()), static_cast<u_int32>(bytes.size()), &err);
    vela_bundle_item item{};
    while (!has_enough() && vela_bundle_next(&reader, &item) != 0) {
        last_ = clock::now();
        ++received_;
        if (item.err != 0) {
            complain("message " + std::to_string(received_) + ": place " + std::to_string(item.index + 1) +
                     " of its bundle, offset " + std::to_string(item.offset) + ": " +
                     (item.reason != nullptr ? item.reason : error_text(item.err)));
            // What stands in the place, where that can be told, else all that follows.
            const std::string_view rest = bytes.substr(item.offset);
            const size_t prefix = std::min<size_t>(rest.size(), is_bundle(bytes) ? VELA_BUNDLE_PREFIX : 0);
            take_damaged(item.length > 0 ? rest.substr(prefix, item.length) : rest);
        } else {
            take_({reinterpret_cast<const char *>(item.message), item.length});
        }
    }
} catch (...) {
    thrown_ = std::current_exception();
}

/** Waits for something to do; false when nothing came for too long. */
bool receiver::wait() {
    if (options_.timeout < 0) {
        wait_or_stop(vela_channel_fd(channel_.get()), tick_ ? static_cast<int>(tick_every_.count()) : -1);
        return true;
    }
    const auto limit =
        last_ + std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(options_.timeout));
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(limit - clock::now());
    if (left.count() <= 0) {
        return false;
    }
    wait_or_stop(vela_channel_fd(channel_.get()),
                 static_cast<int>(std::min<int64_t>(left.count() + 1, tick_every_.count())));
    return true;
}

void receiver::check_count() const {
    if (count_ != 0) {
        throw failure(exit_code::peer, options_.uri + ": only " + std::to_string(received_ - left_out_) + " of " +
                                           std::to_string(count_) + " messages arrived in time");
    }
}

}  // namespace ptpcfg
