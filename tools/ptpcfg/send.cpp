#include <chrono>

#include "channel.h"
#include "commands.h"
#include "failure.h"
#include "files.h"
#include "records.h"
#include "wire.h"

namespace ptpcfg {
namespace {

using std::chrono::steady_clock;

/** What happened on the channel, for the message when sending fails. */
struct events {
    std::string last;
    std::string loss;  // says more than what comes after it
};

void on_event(void *cookie, vela_channel *, const vela_channel_event *event) {
    events &told = *static_cast<events *>(cookie);
    if (event->kind == VELA_CHANNEL_LOST || event->kind == VELA_CHANNEL_UNREAD) {
        told.loss = event->text;
    } else if (event->kind != VELA_CHANNEL_CONNECTED) {
        told.last = event->text;
    }
}

/**
 * The messages of an input as bytes. Bytes that come as such are checked, and left as they are unless a domain says that
 * the peer knows less.
 */
void append_messages(const std::string &path, const send_options &options, const session &session,
                     std::vector<std::string> &messages) {
    const std::string name = input_name(path);
    const std::string content = read_input(path);
    const format from = input_format(options.from, path, content);
    if (from == format::rec) {
        throw failure(exit_code::bad_input, name + ": is a recording; 'ptpcfg replay' sends it");
    }
    if (from == format::xml || session.has_domain()) {
        for (const record &record : records_from_input(name, content, from, nullptr, session)) {
            messages.push_back(bytes_of(record));
        }
        return;
    }
    const std::string bytes = from == format::hex ? from_hex(name, content) : content;
    records_from_bytes(name, bytes, nullptr, session);
    for (const message_span &span : split_messages(name, bytes)) {
        messages.push_back(bytes.substr(span.offset, span.length));
    }
}

class sender {
  public:
    explicit sender(const send_options &options, const session &session)
        : options_(options),
          handle_(session.handle(false)),
          channel_(open_channel(vela_channel_connect, options.channel, on_event, &events_)),
          deadline_(steady_clock::now() + std::chrono::duration_cast<steady_clock::duration>(
                                              std::chrono::duration<double>(options.channel.timeout))) {}

    void run(const std::vector<std::string> &messages) {
        count_ = messages.size();
        for (const std::string &message : messages) {
            offer(message);
        }
        while (statistics_of(channel_).sent < messages.size()) {
            work();
        }
    }

  private:
    /** Gives a message to the channel; waits while its queue is full. */
    void offer(const std::string &message) {
        for (;;) {
            u_int32 err = 0;
            vela_channel_send(channel_.get(), reinterpret_cast<const u_int8 *>(message.data()),
                              static_cast<u_int32>(message.size()), &err);
            if (err == 0) {
                return;
            }
            if (err != VELA_EAGAIN) {
                throw failure(exit_code::peer, options_.channel.uri + ": cannot send: " + error_text(err));
            }
            work();
        }
    }

    void work() {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - steady_clock::now());
        const vela_channel_statistics statistics = statistics_of(channel_);
        if (left.count() <= 0 || !events_.loss.empty()) {
            const std::string &reason = events_.loss.empty() ? events_.last : events_.loss;
            const std::string unread = statistics.unread == 0
                                           ? ""
                                           : ", of which up to " + std::to_string(statistics.unread) + " were not read";
            throw failure(exit_code::peer, options_.channel.uri + ": " + std::to_string(statistics.sent) + " of " +
                                               std::to_string(count_) + " messages sent" + unread +
                                               (statistics.connects == 0 ? ", nobody listens there" : "") +
                                               (reason.empty() ? "" : ": " + reason));
        }
        vela_channel_wait(channel_.get(), static_cast<int32>(std::min<int64_t>(left.count(), 100)));
        u_int32 err = 0;
        vela_channel_process(channel_.get(), handle_, memory_class, nullptr, 0, &err);
    }

    const send_options &options_;
    vela_handle *handle_;
    size_t count_ = 0;
    events events_;
    channel channel_;
    steady_clock::time_point deadline_;
};

}  // namespace

void send(const send_options &options) {
    if (!options.from.empty()) {
        format_named(options.from, "--from", input_formats);
    }
    const session session(options.session);
    // Everything is read and checked before the first byte leaves.
    std::vector<std::string> messages;
    for (const std::string &path : options.files) {
        append_messages(path, options, session, messages);
    }
    sender(options, session).run(messages);
}

}  // namespace ptpcfg
