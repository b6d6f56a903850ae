// trace: prints what a process traced into a file.
#include <poll.h>
#include <sys/stat.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <set>

#include "base/characters.h"
#include "bitlog.h"
#include "commands.h"
#include "failure.h"
#include "files.h"
#include "json.h"
#include "refused_file.h"
#include "signals.h"

namespace ptpcfg {
namespace {

constexpr int poll_ms = 100;
/** How long a thread of a live process may take to write a record. */
constexpr uint32_t patience_ms = 1000;

constexpr const char *severities[] = {"emergency", "alert",  "critical",      "error",
                                      "warning",   "notice", "informational", "debug"};

/** The least severe of all lets levels pass that have no name, too. */
uint32_t severity_of(const std::string &name) {
    if (name == severities[BITLOG_DEBUG >> 24]) {
        return UINT32_MAX;
    }
    uint32_t severity = 0;
    while (name != severities[severity]) {
        ++severity;
    }
    return severity;
}

std::string time_text(int64_t time_ns) {
    constexpr int64_t second_ns = 1000000000;
    const int64_t rest = (time_ns % second_ns + second_ns) % second_ns;
    const std::time_t seconds = (time_ns - rest) / second_ns;
    std::tm parts{};
    char day[32] = "";
    char fraction[16];
    gmtime_r(&seconds, &parts);
    std::strftime(day, sizeof day, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(fraction, sizeof fraction, ".%09" PRId64 "Z", rest);
    return std::string(day) + fraction;
}

struct close_reader {
    void operator()(bitlog_reader *reader) const { bitlog_reader_close(reader); }
};
using reader = std::unique_ptr<bitlog_reader, close_reader>;

/** Which file a name leads to now. */
struct identity {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const identity &other) const = default;
};

identity identity_of(const std::string &path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? identity{status.st_dev, status.st_ino} : identity{};
}

std::string text_of(bitlog_reader *reader, const bitlog_entry &entry) {
    char text[1024];
    bitlog_reader_format(reader, &entry, text, sizeof text);
    return text;
}

std::string plain_line(bitlog_reader *reader, const bitlog_entry &entry) {
    const char *module = bitlog_reader_module(reader, entry.record.module_id);
    std::string line = time_text(entry.time_ns) + ' ' + std::to_string(entry.thread) + ' ' +
                       bitlog_level_name(entry.record.level) + ' ' +
                       (module != nullptr ? module : "module " + std::to_string(entry.record.module_id)) + ": ";
    if (entry.record.points != nullptr) {
        line += std::string(entry.record.points->subject) + ": ";
    }
    line += text_of(reader, entry) + (entry.cut != 0 ? " (cut)" : "");
    const std::string lost =
        entry.lost_before != 0 ? "(" + std::to_string(entry.lost_before) + " records are lost here)\n" : "";
    return lost + base::printable(line) + '\n';
}

std::string json_argument(const bitlog_record &record, uint32_t index) {
    const auto &argument = record.argument[index];
    if (record.kind[index] == '4') {
        return std::to_string(argument.number);
    }
    if (record.kind[index] == '1') {
        return argument.text != nullptr ? json_string(argument.text) : "null";
    }
    char address[24];
    std::snprintf(address, sizeof address, "\"0x%" PRIxPTR "\"", reinterpret_cast<uintptr_t>(argument.address));
    return address;
}

std::string json_or_null(const char *text) { return text != nullptr ? json_string(text) : "null"; }

std::string json_line(bitlog_reader *reader, const bitlog_entry &entry) {
    const bitlog_record &record = entry.record;
    std::string arguments;
    std::string cut;
    for (uint32_t i = 0; i < record.argument_count; ++i) {
        arguments += (i != 0 ? "," : "") + json_argument(record, i);
        cut += (entry.cut >> i & 1u) != 0 ? (cut.empty() ? "" : ",") + std::to_string(i) : "";
    }
    return "{\"time\":" + json_string(time_text(entry.time_ns)) + ",\"position\":" + std::to_string(entry.position) +
           ",\"thread\":" + std::to_string(entry.thread) +
           ",\"level\":" + json_string(bitlog_level_name(record.level)) +
           ",\"module\":" + json_or_null(bitlog_reader_module(reader, record.module_id)) +
           ",\"number\":" + std::to_string(record.number) +
           ",\"subject\":" + json_or_null(record.points != nullptr ? record.points->subject : nullptr) +
           ",\"text\":" + json_string(text_of(reader, entry)) + ",\"arguments\":[" + arguments + "]" +
           (cut.empty() ? "" : ",\"cut\":[" + cut + "]") +
           (entry.lost_before == 0 ? "" : ",\"lost_before\":" + std::to_string(entry.lost_before)) + "}\n";
}

class trace_printer {
  public:
    explicit trace_printer(const trace_options &options) : options_(options), most_(severity_of(options.level)) {
        file_ = identity_of(options.file);
        std::string reason;
        const uint32_t status = open(reason);
        if (status != 0) {
            throw failure(status == EINVAL ? code_of_refused(options.file) : exit_code::io,
                          options.file + ": " + reason);
        }
    }

    void run() {
        print_all();
        while (options_.follow && !stopped()) {
            ::poll(nullptr, 0, poll_ms);
            print_all();
            follow_name();
        }
    }

  private:
    uint32_t open(std::string &reason) {
        bitlog_reader *opened = nullptr;
        char text[256] = "";
        const uint32_t status = bitlog_reader_open(options_.file.c_str(), &opened, text, sizeof text);
        if (status == 0) {
            reader_.reset(opened);
            bitlog_reader_look_in(opened, options_.libraries.c_str());
            warned_.clear();
            print_title();
        }
        reason = text;
        return status;
    }

    /** A process that was started again has made another file under the name. */
    void follow_name() {
        const identity now = identity_of(options_.file);
        std::string reason;
        if (!(now == file_) && !(now == identity{}) && open(reason) == 0) {
            file_ = now;
            print_all();
        }
    }

    void print_title() {
        if (options_.json) {
            return;
        }
        bitlog_ring_info info;
        bitlog_reader_info(reader_.get(), &info);
        std::string line = "# " + base::printable(info.program) + ", process " + std::to_string(info.process_id) +
                           ", since " + time_text(info.opened_ns) + ": " + std::to_string(info.traced) + " messages";
        line += info.traced > info.capacity ? ", the last " + std::to_string(info.capacity) + " kept" : "";
        line += info.dropped != 0 ? ", " + std::to_string(info.dropped) + " dropped" : "";
        write(line + '\n');
    }

    void print_all() {
        bitlog_entry entry;
        while (!stopped() && bitlog_reader_next(reader_.get(), &entry, options_.follow ? patience_ms : 0) != 0) {
            if (entry.record.level >> 24 <= most_) {
                warn_of_texts(entry.record.module_id);
                write(options_.json ? json_line(reader_.get(), entry) : plain_line(reader_.get(), entry));
            }
        }
        if (std::fflush(stdout) != 0) {
            fail_to_write();
        }
    }

    void warn_of_texts(uint16_t module_id) {
        const char *fault = bitlog_reader_texts_fault(reader_.get(), module_id);
        if (fault != nullptr && warned_.insert(module_id).second) {
            std::fprintf(stderr, "ptpcfg: %s: %s; its messages are shown by number\n", options_.file.c_str(),
                         base::printable(fault).c_str());
        }
    }

    static void write(const std::string &text) {
        if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
            fail_to_write();
        }
    }

    [[noreturn]] static void fail_to_write() {
        if (errno == EPIPE) {
            throw reader_is_gone();
        }
        throw failure(exit_code::io, std::string("standard output: cannot write: ") + std::strerror(errno));
    }

    const trace_options &options_;
    uint32_t most_;
    identity file_;
    reader reader_;
    std::set<uint16_t> warned_;
};

}  // namespace

std::vector<std::string> trace_levels() { return {std::begin(severities), std::end(severities)}; }

void print_trace(const trace_options &options) {
    if (options.follow) {
        end_at_signals();
    }
    trace_printer(options).run();
}

}  // namespace ptpcfg
