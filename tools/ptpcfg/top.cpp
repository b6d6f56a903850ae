// top: what arrives at a channel, how often, and the values that came last.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "commands.h"
#include "failure.h"
#include "fields.h"
#include "files.h"
#include "filter.h"
#include "receiver.h"
#include "records.h"
#include "table.h"
#include "terminal.h"
#include "time_bound.h"

namespace ptpcfg {
namespace {

using steady = std::chrono::steady_clock;

u_int64 now_ns() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<u_int64>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

std::string with_one_digit(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", number);
    return text;
}

/** The messages of a name. */
class traffic {
  public:
    void add(const record &message, size_t bytes, const std::string &peer) {
        ++count_;
        ++in_interval_;
        bytes_ += bytes;
        last_ = steady::now();
        peer_ = peer;
        json_value value = json_of(message);
        std::map<std::string, std::string> known;
        for (const auto &[path, text] : values_) {
            known[path] = text;
        }
        std::vector<std::pair<std::string, std::string>> changed;
        std::vector<std::pair<std::string, std::string>> same;
        for (const field_node &node : nodes_of(message.type(), value)) {
            if (is_leaf(*node.value)) {
                const std::string text = plain_text(*node.value);
                const auto before = known.find(node.path);
                (before != known.end() && before->second == text ? same : changed).emplace_back(node.path, text);
            }
        }
        values_ = std::move(changed);
        values_.insert(values_.end(), same.begin(), same.end());
    }

    /** Ends an interval of so many seconds. */
    void end_interval(double seconds) { rate_ = static_cast<double>(std::exchange(in_interval_, 0)) / seconds; }

    u_int64 in_interval() const { return in_interval_; }
    std::vector<std::string> cells(const std::string &name, size_t room) const {
        const double age = std::chrono::duration<double>(steady::now() - last_).count();
        return {name,
                std::to_string(count_),
                with_one_digit(rate_),
                std::to_string(bytes_),
                with_one_digit(age) + " s",
                last_values(room)};
    }
    /** What changed last stands first; as many as there is room for. */
    std::string last_values(size_t room) const {
        std::string text;
        for (const auto &[path, value] : values_) {
            const std::string next = (text.empty() ? "" : " ") + path.substr(path.rfind('/') + 1) + "=" + value;
            if (text.size() + next.size() > room) {
                break;
            }
            text += next;
        }
        return text;
    }
    u_int64 count() const { return count_; }
    double rate() const { return rate_; }
    const std::string &peer() const { return peer_; }

  private:
    u_int64 count_ = 0;
    u_int64 in_interval_ = 0;
    u_int64 bytes_ = 0;
    double rate_ = 0;
    steady::time_point last_;
    std::string peer_;
    std::vector<std::pair<std::string, std::string>> values_;
};

class monitor {
  public:
    explicit monitor(const top_options &options)
        : options_(options),
          filter_(options.filter),
          session_(session_options{}),
          receiver_(options.channel, options.count, [this](std::string_view bytes) { take(bytes); }) {
        receiver_.set_tick(std::chrono::milliseconds(static_cast<int>(options.interval * 1000)), [this] { tick(); });
    }

    void run() {
        receiver_.run();
        end_interval();
        show();
    }

  private:
    void take(std::string_view bytes) {
        try {
            const std::vector<record> records =
                records_from_bytes("message " + std::to_string(receiver_.received()), bytes, nullptr, session_);
            if (filter_.takes(records.front())) {
                traffic_[describe(records.front().type()).short_name].add(records.front(), bytes.size(),
                                                                          receiver_.sender());
            } else {
                receiver_.leave_out();
            }
        } catch (const failure &error) {
            receiver_.complain(error.what());
        }
    }

    void tick() {
        if (steady::now() - begin_ < std::chrono::duration<double>(options_.interval)) {
            return;
        }
        end_interval();
        show();
    }

    void end_interval() {
        const double passed = std::chrono::duration<double>(steady::now() - begin_).count();
        const double seconds = std::max(passed, options_.interval);  // the last one is cut short
        begin_ = steady::now();
        came_.clear();
        for (auto &[name, row] : traffic_) {
            if (row.in_interval() > 0) {
                came_.push_back(name);
            }
            row.end_interval(seconds);
        }
    }

    void show() {
        if (screen_height() > 0) {
            draw();
            return;
        }
        std::string lines;
        for (const std::string &name : came_) {
            constexpr size_t room = 200;
            const traffic &row = traffic_[name];
            lines += time_text(now_ns()) + " " + name + " count=" + std::to_string(row.count()) +
                     " rate=" + with_one_digit(row.rate()) + " peer=\"" + row.peer() + "\" " + row.last_values(room) +
                     "\n";
        }
        write_all(STDOUT_FILENO, "standard output", lines);
    }

    /** The screen is cleared line by line, so that nothing flickers. */
    void draw() const {
        constexpr size_t other_columns = 64;
        const size_t width = line_width();
        table rows;
        rows.row({"MESSAGE", "COUNT", "PER SECOND", "BYTES", "AGE", "LAST VALUES"});
        for (const auto &[name, row] : traffic_) {
            rows.row(row.cells(name, std::max(width, other_columns + 20) - other_columns));
        }
        const std::string text = options_.channel.uri + "  " + time_text(now_ns()).substr(0, 19) + "Z  " +
                                 std::to_string(receiver_.received()) + " messages\n\n" + rows.text();
        std::string screen = "\033[H";
        size_t line = 0;
        for (size_t at = 0; at < text.size() && line + 1 < screen_height(); ++line) {
            const size_t end = std::min(text.find('\n', at), text.size());
            const std::string part = text.substr(at, std::min(end - at, width));
            screen += (line == 2 ? painted(part, colour::bold, STDOUT_FILENO) : part) + "\033[K\n";
            at = end + 1;
        }
        write_all(STDOUT_FILENO, "standard output", screen + "\033[J");
    }

    top_options options_;
    filter filter_;
    session session_;
    std::map<std::string, traffic> traffic_;
    std::vector<std::string> came_;  // in the last interval
    steady::time_point begin_ = steady::now();
    receiver receiver_;
};

}  // namespace

void top(const top_options &options) { monitor(options).run(); }

}  // namespace ptpcfg
