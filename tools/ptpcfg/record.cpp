// record: keeps the bytes of what arrives in a recording.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <memory>
#include <optional>

#include "commands.h"
#include "failure.h"
#include "pcapng.h"
#include "receiver.h"
#include "refused_file.h"
#include "vela_recorder.h"

namespace ptpcfg {
namespace {

void say(const std::string &text) { std::fprintf(stderr, "ptpcfg: %s\n", text.c_str()); }

/** A recorder that tells of failures when they begin and when they end, and goes on between. */
class recorder {
  public:
    explicit recorder(const record_options &options) : path_(options.file) {
        const std::vector<std::string> names = channel_names();
        source_ = static_cast<u_int32>(std::find(names.begin(), names.end(), options.channel.channel) - names.begin());
        const vela_recorder_options details = {
            sizeof details, options.max_size, options.files, 0, options.other_users ? 1u : 0u, options.links ? 1u : 0u};
        char text[512] = "";
        u_int32 err = 0;
        recorder_.reset(vela_recorder_open(path_.c_str(), &details, text, sizeof text, &err));
        if (recorder_ == nullptr) {
            const bool is_foreign = err == EACCES && std::string_view(text).find("another user") != std::string::npos;
            const std::string advice = err == ELOOP && !options.links ? "; --allow-links follows it"
                                       : is_foreign                   ? "; --allow-other-users adds to it"
                                                                      : "";
            throw failure(err == VELA_EINVAL ? code_of_refused(path_) : exit_code::io, text + advice);
        }
        if (text[0] != 0) {
            say(std::string("warning: ") + text);
        }
    }

    /** @param mark  0 or VELA_RECORD_DAMAGED */
    void take(std::string_view bytes, u_int32 mark) {
        u_int32 err = 0;
        vela_recorder_append(recorder_.get(), 0, source_ | mark, reinterpret_cast<const u_int8 *>(bytes.data()),
                             static_cast<u_int32>(bytes.size()), &err);
        if (err == 0 && failing_with_ != 0) {
            say(path_ + ": recording again; " + std::to_string(statistics().failed) + " messages were not recorded");
        } else if (err != failing_with_) {
            say(path_ + ": messages are not recorded: " + reason(err));
        }
        failing_with_ = err;
    }

    /** Fails when something is missing in the recording. */
    void finish() const {
        const vela_recorder_statistics total = statistics();
        if (total.failed > 0) {
            throw failure(exit_code::io, path_ + ": " + std::to_string(total.failed) + " of " +
                                             std::to_string(total.failed + total.records) +
                                             " messages were not recorded: " + reason(total.last_error));
        }
    }

  private:
    struct close_recorder {
        void operator()(vela_recorder *recorder) const { vela_recorder_close(recorder, nullptr); }
    };

    static std::string reason(u_int32 err) {
        return err == VELA_EMSGSIZE ? "they are longer than --max-size allows" : system_error_text(err);
    }
    vela_recorder_statistics statistics() const {
        vela_recorder_statistics result{};
        vela_recorder_get_statistics(recorder_.get(), &result);
        return result;
    }

    std::string path_;
    u_int32 source_;
    std::unique_ptr<vela_recorder, close_recorder> recorder_;
    u_int32 failing_with_ = 0;
};

u_int64 now_ns() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<u_int64>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

/** Into a capture, which ends where it cannot be written. */
void capture_messages(const record_options &options) {
    if (options.max_size != 0 || options.files != 0 || options.other_users || options.links) {
        throw failure(exit_code::usage, options.file +
                                            ": --max-size, --files, --allow-other-users and --allow-links "
                                            "are for recordings; a capture (.pcapng) is one file");
    }
    capture_writer capture(options.file, options.channel.channel + " " + options.channel.uri);
    std::optional<receiver> source;
    const auto add = [&](std::string_view bytes, const char *note) {
        const std::string sender = source->sender();
        capture.add(now_ns(), bytes, note + (sender.empty() ? "" : "from " + sender));
    };
    source.emplace(
        options.channel, options.count, [&add](std::string_view bytes) { add(bytes, ""); },
        [&add](std::string_view bytes) { add(bytes, "damaged; "); });
    source->run();
}

}  // namespace

void record_messages(const record_options &options) {
    // A limit of the file's size is like a full disk: reported, and outlasted.
    std::signal(SIGXFSZ, SIG_IGN);
    if (is_capture_name(options.file)) {
        capture_messages(options);
        return;
    }
    recorder recorder(options);
    receiver(
        options.channel, options.count, [&recorder](std::string_view bytes) { recorder.take(bytes, 0); },
        [&recorder](std::string_view bytes) { recorder.take(bytes, VELA_RECORD_DAMAGED); })
        .run();
    recorder.finish();
}

}  // namespace ptpcfg
