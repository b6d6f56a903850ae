#include "receiver.h"

#include <utility>

#include "failure.h"
#include "reflection.h"
#include "signals.h"
#include "vela_bundle.h"

namespace ptpcfg {

receiver::receiver(const channel_options &options, u_int32 count, take_fn take)
    : options_(options), count_(count), take_(std::move(take)) {
    end_at_signals();
    // Handlers may not throw through the library, so they only keep what arrives.
    set_bundle_handler(options.channel, [](vela_handle *, u_int32, const u_int8 *bundle, u_int32 length, void *self) {
        static_cast<receiver *>(self)->arrived_.emplace_back(reinterpret_cast<const char *>(bundle), length);
    });
    channel_ = open_channel(vela_channel_listen, options_, on_event, this);
}

receiver::~receiver() {
    channel_.reset();
    set_bundle_handler(options_.channel, nullptr);
}

void receiver::run() {
    last_ = clock::now();
    while (stop_signal() == 0 && !has_enough()) {
        if (!wait()) {
            check_count();
            break;
        }
        u_int32 err = 0;
        vela_channel_process(channel_.get(), nullptr, memory_class, this, 0, &err);
        take_arrived();
    }
    if (faults_ > 0) {
        throw failure(exit_code::peer, options_.uri + ": " + std::to_string(faults_) + " faults, see above");
    }
}

void receiver::on_event(void *cookie, vela_channel *, const vela_channel_event *event) {
    if (event->kind == VELA_CHANNEL_REFUSED || event->kind == VELA_CHANNEL_DROPPED) {
        static_cast<receiver *>(cookie)->complain(event->text != nullptr ? event->text : "a message was dropped");
    }
}

void receiver::complain(const std::string &reason) {
    ++faults_;
    std::fprintf(stderr, "ptpcfg: %s: %s\n", options_.uri.c_str(), reason.c_str());
}

/** Waits for something to do; false when nothing came for too long. */
bool receiver::wait() {
    if (options_.timeout < 0) {
        vela_channel_wait(channel_.get(), -1);
        return true;
    }
    const auto limit =
        last_ + std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(options_.timeout));
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(limit - clock::now());
    if (left.count() <= 0) {
        return false;
    }
    vela_channel_wait(channel_.get(), static_cast<int32>(std::min<int64_t>(left.count() + 1, 60000)));
    return true;
}

void receiver::check_count() const {
    if (count_ != 0) {
        throw failure(exit_code::peer, options_.uri + ": only " + std::to_string(received_) + " of " +
                                           std::to_string(count_) + " messages arrived in time");
    }
}

void receiver::take_arrived() {
    while (!arrived_.empty() && !has_enough()) {
        const std::string bytes = std::move(arrived_.front());
        arrived_.pop_front();
        take_bundle(bytes);
    }
}

void receiver::take_bundle(const std::string &bytes) {
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
        } else {
            take_({reinterpret_cast<const char *>(item.message), item.length});
        }
    }
}

}  // namespace ptpcfg
