#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <deque>

#include "channel.h"
#include "commands.h"
#include "failure.h"
#include "records.h"
#include "vela_bundle.h"

namespace ptpcfg {
namespace {

using std::chrono::steady_clock;

volatile std::sig_atomic_t stopped = 0;

void on_signal(int) { stopped = 1; }

/** Without SA_RESTART: a signal ends the wait. */
void end_at_signals() {
    struct sigaction action {};
    action.sa_handler = on_signal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

/** A file or standard output to which whole records are added; one that does not fit is taken back. */
class record_stream {
  public:
    explicit record_stream(const std::string &path) : name_(path == "-" ? "standard output" : path) {
        file_ = path == "-" ? STDOUT_FILENO : ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
        if (file_ < 0) {
            throw failure(exit_code::io, path + ": cannot open: " + std::strerror(errno));
        }
    }
    ~record_stream() {
        if (file_ != STDOUT_FILENO) {
            ::close(file_);
        }
    }
    record_stream(const record_stream &) = delete;
    record_stream &operator=(const record_stream &) = delete;

    void add(std::string_view text) {
        struct stat status {};
        const bool is_file = ::fstat(file_, &status) == 0 && S_ISREG(status.st_mode);
        size_t done = 0;
        while (done < text.size()) {
            const ssize_t count = ::write(file_, text.data() + done, text.size() - done);
            if (count < 0 && errno != EINTR) {
                const int reason = errno;
                if (is_file && ::ftruncate(file_, status.st_size) != 0) {
                    throw failure(exit_code::io, name_ + ": cannot write, and the last record is cut");
                }
                throw failure(exit_code::io, name_ + ": cannot write: " + std::strerror(reason));
            }
            done += count > 0 ? static_cast<size_t>(count) : 0;
        }
    }

  private:
    std::string name_;
    int file_;
};

/** A record as the runtime's recorder writes it: in a <ptp_cfg> with the time. */
std::string recorder_text(const record &record) {
    std::string frame(256, ' ');
    u_int32 err = 0;
    const u_int32 length = start_tag_timestamp(record.handle(), memory_class, frame.data(), "ptp_cfg",
                                               static_cast<u_int32>(frame.size()), &err);
    if (err != 0) {
        throw failure(exit_code::io, "cannot write a time: " + error_text(err));
    }
    return frame.substr(0, length) + xml_of(record) + "</ptp_cfg>\n";
}

class listener {
  public:
    listener(const listen_options &options, format form)
        : options_(options), format_(form), session_(options.session), output_(options.output) {
        if (!options.record.empty()) {
            recording_ = std::make_unique<record_stream>(options.record);
        }
        // Handlers may not throw through the library, so they only keep what arrives.
        set_bundle_handler(
            options.channel.channel, [](vela_handle *, u_int32, const u_int8 *bundle, u_int32 length, void *context) {
                static_cast<listener *>(context)->arrived_.emplace_back(reinterpret_cast<const char *>(bundle), length);
            });
        channel_ = open_channel(vela_channel_listen, options.channel, on_event, this);
    }
    ~listener() {
        channel_.reset();
        set_bundle_handler(options_.channel.channel, nullptr);
    }
    listener(const listener &) = delete;
    listener &operator=(const listener &) = delete;

    void run() {
        restart_clock();
        while (stopped == 0 && !has_enough()) {
            if (!wait()) {
                finish_by_timeout();
                return;
            }
            u_int32 err = 0;
            vela_channel_process(channel_.get(), session_.handle(false), memory_class, this, 0, &err);
            take_arrived();
        }
    }

    size_t faults() const { return faults_; }

  private:
    static void on_event(void *cookie, vela_channel *, const vela_channel_event *event) {
        if (event->kind == VELA_CHANNEL_REFUSED || event->kind == VELA_CHANNEL_DROPPED) {
            static_cast<listener *>(cookie)->complain(event->text != nullptr ? event->text : "a message was dropped");
        }
    }

    void complain(const std::string &reason) {
        ++faults_;
        std::fprintf(stderr, "ptpcfg: %s: %s\n", options_.channel.uri.c_str(), reason.c_str());
    }

    void restart_clock() { last_ = steady_clock::now(); }

    bool has_enough() const { return options_.count != 0 && received_ >= options_.count; }

    /** Waits for something to do; false when nothing came for too long. */
    bool wait() {
        if (options_.channel.timeout < 0) {
            vela_channel_wait(channel_.get(), -1);
            return true;
        }
        const auto limit = last_ + std::chrono::duration_cast<steady_clock::duration>(
                                       std::chrono::duration<double>(options_.channel.timeout));
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(limit - steady_clock::now());
        if (left.count() <= 0) {
            return false;
        }
        vela_channel_wait(channel_.get(), static_cast<int32>(std::min<int64_t>(left.count() + 1, 60000)));
        return true;
    }

    void finish_by_timeout() const {
        if (options_.count != 0) {
            throw failure(exit_code::peer, options_.channel.uri + ": only " + std::to_string(received_) + " of " +
                                               std::to_string(options_.count) + " messages arrived in time");
        }
    }

    void take_arrived() {
        while (!arrived_.empty() && !has_enough()) {
            const std::string bytes = std::move(arrived_.front());
            arrived_.pop_front();
            take_bundle(bytes);
        }
    }

    void take_bundle(const std::string &bytes) {
        vela_bundle_reader reader{};
        u_int32 err = 0;
        vela_bundle_read(&reader, reinterpret_cast<const u_int8 *>(bytes.data()), static_cast<u_int32>(bytes.size()),
                         &err);
        vela_bundle_item item{};
        while (!has_enough() && vela_bundle_next(&reader, &item) != 0) {
            restart_clock();
            ++received_;
            if (item.err != 0) {
                complain("message " + std::to_string(received_) + ": place " + std::to_string(item.index + 1) +
                         " of its bundle, offset " + std::to_string(item.offset) + ": " +
                         (item.reason != nullptr ? item.reason : error_text(item.err)));
            } else {
                take_message({reinterpret_cast<const char *>(item.message), item.length});
            }
        }
    }

    void take_message(std::string_view bytes) {
        std::vector<record> records;
        try {
            records = records_from_bytes("message " + std::to_string(received_), bytes, nullptr, session_);
        } catch (const failure &error) {
            complain(error.what());
            return;
        }
        const bool is_as_sent = format_ == format::bin && !session_.has_domain();
        output_.add(is_as_sent ? bytes : std::string_view(render(records, format_)));
        if (recording_ != nullptr) {
            recording_->add(recorder_text(records.front()));
        }
    }

    const listen_options &options_;
    format format_;
    session session_;
    record_stream output_;
    std::unique_ptr<record_stream> recording_;
    channel channel_;
    std::deque<std::string> arrived_;
    steady_clock::time_point last_;
    u_int32 received_ = 0;
    size_t faults_ = 0;
};

}  // namespace

void listen(const listen_options &options) {
    end_at_signals();
    listener listener(options, output_format(options.to, options.output, format::text));
    listener.run();
    if (listener.faults() > 0) {
        throw failure(exit_code::peer,
                      options.channel.uri + ": " + std::to_string(listener.faults()) + " faults, see above");
    }
}

}  // namespace ptpcfg
