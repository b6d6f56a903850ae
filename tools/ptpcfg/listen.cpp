// listen: prints the messages that arrive at a channel.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <nlohmann/json.hpp>

#include "base/file_descriptor.h"
#include "commands.h"
#include "failure.h"
#include "fields.h"
#include "files.h"
#include "filter.h"
#include "json.h"
#include "receiver.h"
#include "record_writer.h"
#include "records.h"
#include "time_bound.h"

namespace ptpcfg {
namespace {

/** A file or standard output to which whole records are added; one that does not fit is taken back. */
class record_stream {
  public:
    explicit record_stream(const std::string &path) : name_(path == "-" ? "standard output" : path) {
        if (path != "-") {
            file_ = base::file_descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
            if (!file_) {
                fail_io(path, "open");
            }
        }
    }

    void add(std::string_view text) {
        const int file = file_ ? file_.get() : STDOUT_FILENO;
        struct stat status {};
        const bool is_file = ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
        try {
            write_all(file, name_, text);
        } catch (const failure &) {
            if (is_file && ::ftruncate(file, status.st_size) != 0) {
                throw failure(exit_code::io, name_ + ": cannot write, and the last record is cut");
            }
            throw;
        }
    }

  private:
    std::string name_;
    base::file_descriptor file_;  // none: standard output
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
    frame.resize(length);
    append_xml(record, frame);
    return frame + "</ptp_cfg>\n";
}

/** A message with when and from whom it came, as an object on a line of its own. */
std::string json_line(const record &message, const std::string &sender, const std::string &channel) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto time = static_cast<u_int64>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
    return "{\"time\": " + json_string(time_text(time)) + ", \"peer\": " + json_string(sender) +
           ", \"channel\": " + json_string(channel) + ", \"message\": " + json_of(message).dump() + "}\n";
}

/** Decodes what arrives, and writes it where the options say. */
class listener {
  public:
    listener(const listen_options &options, format form)
        : format_(form),
          channel_(options.channel.channel),
          is_json_(options.json),
          filter_(options.filter),
          session_(options.session),
          output_(options.output),
          recording_(options.record.empty() ? nullptr : std::make_unique<record_stream>(options.record)),
          receiver_(options.channel, options.count, [this](std::string_view bytes) { take(bytes); }) {}

    void run() { receiver_.run(); }

  private:
    void take(std::string_view bytes) {
        std::vector<record> records;
        try {
            records = records_from_bytes("message " + std::to_string(receiver_.received()), bytes, nullptr, session_);
        } catch (const failure &error) {
            receiver_.complain(error.what());
            return;
        }
        if (!filter_.takes(records.front())) {
            receiver_.leave_out();
            return;
        }
        const bool is_as_sent = format_ == format::bin && !session_.has_domain();
        output_.add(is_json_     ? json_line(records.front(), receiver_.sender(), channel_)
                    : is_as_sent ? std::string(bytes)
                                 : render(records, format_));
        if (recording_ != nullptr) {
            recording_->add(recorder_text(records.front()));
        }
    }

    format format_;
    std::string channel_;
    bool is_json_;
    filter filter_;
    session session_;
    record_stream output_;
    std::unique_ptr<record_stream> recording_;
    receiver receiver_;
};

}  // namespace

void listen(const listen_options &options) {
    listener(options, output_format(options.to, options.output, format::text)).run();
}

}  // namespace ptpcfg
