// replay: sends the messages of a recording at their distances in time.
#include <algorithm>
#include <charconv>
#include <csignal>
#include <optional>

#include "commands.h"
#include "failure.h"
#include "outgoing.h"
#include "progress.h"
#include "recording.h"
#include "signals.h"
#include "time_bound.h"

namespace ptpcfg {
namespace {

/** Which records are replayed: by time and by message. */
class selection {
  public:
    explicit selection(const replay_options &options) {
        if (!options.from.empty()) {
            from_ = parse_time_bound("--from", options.from);
        }
        if (!options.to.empty()) {
            to_ = parse_time_bound("--to", options.to);
        }
        for (const std::string &name : options.filter) {
            messages_.push_back(message_named(name));
        }
    }

    bool takes(const vela_recording_item &item) {
        if (!start_) {
            start_ = item.time_ns;
        }
        return (!from_ || item.time_ns >= from_->in_recording(*start_)) &&
               (!to_ || item.time_ns < to_->in_recording(*start_)) && takes_message(item);
    }

  private:
    bool takes_message(const vela_recording_item &item) const {
        return messages_.empty() || std::find(messages_.begin(), messages_.end(),
                                              ptp_cfg_message_identify(item.bytes, item.length)) != messages_.end();
    }

    std::optional<time_bound> from_;
    std::optional<time_bound> to_;
    std::vector<const ptp_cfg_type *> messages_;
    std::optional<u_int64> start_;  // time of the recording's first record
};

/** When each message is due. */
class pace {
  public:
    using clock = outgoing::clock;

    explicit pace(const std::string &speed) {
        if (speed == "max") {
            return;
        }
        double factor = 0;
        const auto [end, problem] = std::from_chars(speed.data(), speed.data() + speed.size(), factor);
        if (problem != std::errc() || end != speed.data() + speed.size() || !(factor >= 1e-6 && factor <= 1e9)) {
            throw failure(exit_code::usage, "--speed " + speed + ": 'max' or a number from 0.000001 to 1e9 is wanted");
        }
        factor_ = factor;
    }

    /** The first message is due at once. Where the recorded clock was set back, nothing is waited for. */
    clock::time_point due(u_int64 time_ns) {
        const clock::time_point now = clock::now();
        if (!factor_) {
            return now;
        }
        if (!last_ns_) {
            due_ = now;
        } else if (time_ns > *last_ns_) {
            constexpr double longest = 1e18;  // thirty years, and within the clock's range
            const double wait = std::min(static_cast<double>(time_ns - *last_ns_) / *factor_, longest);
            due_ = std::min(due_, now + std::chrono::hours(24 * 365 * 100)) +
                   std::chrono::nanoseconds(static_cast<int64_t>(wait));
        }
        last_ns_ = time_ns;
        return due_;
    }

  private:
    std::optional<double> factor_;  // none: as fast as the peer takes them
    std::optional<u_int64> last_ns_;
    clock::time_point due_;
};

class replayer {
  public:
    explicit replayer(const replay_options &options)
        : selection_(options),
          pace_(options.speed),
          input_(options.file, [this] { progress_.clear(); }),
          channel_(options.channel) {}

    void run() {
        end_at_signals();
        u_int64 selected = 0;
        const vela_recording_item *item = nullptr;
        while (stop_signal() == 0 && (item = input_.next()) != nullptr) {
            ++records_;
            if (selection_.takes(*item)) {
                ++selected;
                replay(*item);
            }
            progress_.show(input_.fraction(), channel_.sent());
        }
        if (stop_signal() == 0) {
            channel_.finish();
        }
        progress_.draw(input_.fraction(), channel_.sent());
        if (stop_signal() == 0) {
            input_.finish();
            check_selected(selected);
        }
    }

    /** How far it came, for the line that says that a signal ended it. */
    std::string account() const {
        const u_int64 unconfirmed = channel_.unconfirmed();
        return std::to_string(channel_.sent()) + " messages" +
               (unconfirmed == 0 ? "" : ", of which up to " + std::to_string(unconfirmed) + " were not confirmed");
    }

  private:
    void replay(const vela_recording_item &item) {
        channel_.wait_for_peer();
        const pace::clock::time_point due = pace_.due(item.time_ns);
        while (pace::clock::now() < due && stop_signal() == 0) {
            channel_.work_until(std::min(due, pace::clock::now() + std::chrono::milliseconds(200)));
            progress_.show(input_.fraction(), channel_.sent());
        }
        const bool is_damaged = (item.source & VELA_RECORD_DAMAGED) != 0;
        if (stop_signal() == 0 && (is_damaged || !channel_.offer(bytes_of(item)))) {
            input_.complain("this is no message; it is not sent");
        }
    }

    void check_selected(u_int64 selected) const {
        if (selected == 0) {
            throw failure(exit_code::bad_input,
                          input_.path() + (records_ == 0 ? ": holds no message"
                                                         : ": none of its " + std::to_string(records_) +
                                                               " messages is selected; nothing was sent"));
        }
    }

    progress progress_;  // the others write texts over it
    selection selection_;
    pace pace_;
    recording input_;
    outgoing channel_;
    u_int64 records_ = 0;
};

}  // namespace

void replay(const replay_options &options) {
    std::string account;
    {
        replayer replayer(options);
        replayer.run();
        account = replayer.account();
    }
    if (const int signal = stop_signal(); signal != 0) {
        std::fprintf(stderr, "ptpcfg: ended by a signal after %s\n", account.c_str());
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

}  // namespace ptpcfg
