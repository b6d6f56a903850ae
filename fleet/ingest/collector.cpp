// The one loop: fetch, take, write, acknowledge.
#include "collector.h"

#include <thread>

#include "base/clocks.h"

namespace ptp_fleet {
namespace {

using namespace std::chrono_literals;
using steady = std::chrono::steady_clock;

constexpr std::size_t portion_most = 2000;
constexpr auto portion_time = 200ms;  // after which what there is of a portion is written
constexpr int fetch_ms = 500;
constexpr int idle_ms = 50;  // without a message, after which what there is is written
constexpr double patience_s = 5;
constexpr auto pause = 500ms;
constexpr auto house_time = 2s;
constexpr std::uint64_t checkpoint_messages = 2'000'000;  // replaying more would take long

}  // namespace

collector::collector(collecting how, const std::string &holder, fleet_state &state, open_samples &samples, report tell)
    : how_(std::move(how)),
      tell_(std::move(tell)),
      state_(state),
      keeper_(how_.database, holder, state, samples),
      checkpoint_at_(steady::now() +
                     std::chrono::duration_cast<steady::duration>(std::chrono::duration<double>(how_.checkpoint_s))),
      house_at_(steady::now() + house_time),
      totals_(keeper_.totals()) {}

store_totals collector::totals() const {
    const std::lock_guard lock(mutex_);
    return totals_;
}

void collector::open(const std::function<bool()> &is_to_end) {
    while (!consumer_ && !is_to_end()) {
        try {
            consumer_ = std::make_unique<consumer>(how_.uri, "ptp_fleet_" + how_.name, patience_s);
            tell_("reads " + how_.uri);
            has_told_ = false;
        } catch (const std::runtime_error &reason) {
            if (!has_told_) {
                tell_(std::string(reason.what()) + "; tries again");
            }
            has_told_ = true;
            std::this_thread::sleep_for(pause);
        }
    }
}

/** Whether something came. */
bool collector::gather(std::vector<incoming> &portion) {
    auto end = steady::now() + std::chrono::milliseconds(fetch_ms);
    try {
        while (portion.size() < portion_most && steady::now() < end) {
            std::optional<incoming> one = consumer_->next(portion.empty() ? fetch_ms : idle_ms);
            if (!one) {
                break;
            }
            end = portion.empty() ? steady::now() + portion_time : end;
            portion.push_back(std::move(*one));
        }
    } catch (const std::runtime_error &reason) {
        tell_(reason.what());
        if (portion.empty()) {
            std::this_thread::sleep_for(pause);
            consumer_.reset();
        }
    }
    return !portion.empty();
}

void collector::take(std::vector<incoming> &portion) {
    for (incoming &each : portion) {
        if (!each.fault.empty()) {
            consumer_->bury(each, each.fault);
            continue;
        }
        keeper::outcome came = keeper_.take(each.entry);
        if (!came.refused.empty()) {
            consumer_->bury(each, came.refused);
        }
        std::move(came.changes.begin(), came.changes.end(), std::back_inserter(news_.changes));
        if (came.is_altered) {
            news_.altered.emplace_back(each.entry.name, each.entry.message);
        }
    }
}

/** Writes, again and again while the disk is full. False when it was told to end meanwhile. */
bool collector::persist(const std::function<bool()> &is_to_end, const char *what, void (keeper::*how)()) {
    bool has_told = false;
    for (;;) {
        try {
            (keeper_.*how)();
            if (has_told) {
                tell_(std::string(what) + ": goes on");
            }
            return true;
        } catch (const database_error &reason) {
            if (!reason.may_pass()) {
                throw;
            }
            if (!has_told) {
                tell_(std::string(what) + ": " + reason.what() + "; nothing is lost, it is tried again");
            }
            has_told = true;
        }
        if (is_to_end()) {
            return false;
        }
        std::this_thread::sleep_for(pause);
    }
}

void collector::keep_house(const std::function<bool()> &is_to_end, bool is_due) {
    const auto now = steady::now();
    if (is_due || now >= checkpoint_at_ || keeper_.since_checkpoint() > checkpoint_messages) {
        persist(is_to_end, "checkpoint", &keeper::checkpoint);
        checkpoint_at_ = steady::now() +
                         std::chrono::duration_cast<steady::duration>(std::chrono::duration<double>(how_.checkpoint_s));
    }
    if (now >= house_at_) {
        try {
            keeper_.maintain(how_.keep, base::clock_ns(CLOCK_REALTIME));
        } catch (const database_error &reason) {
            tell_(reason.what());
        }
        house_at_ = steady::now() + house_time;
    }
}

void collector::run(const std::function<bool()> &is_to_end) {
    std::vector<incoming> portion;
    while (!is_to_end()) {
        open(is_to_end);
        portion.clear();
        if (consumer_ && gather(portion)) {
            take(portion);
            if (!persist(is_to_end, "store", &keeper::commit)) {
                return;
            }
            consumer_->acknowledge(portion);
            state_.tell_waiting();
        }
        if (listener_) {
            listener_(news_);
        }
        news_ = {};
        keep_house(is_to_end, false);
        const std::lock_guard lock(mutex_);
        totals_ = keeper_.totals();
    }
    keep_house([] { return true; }, true);
}

}  // namespace ptp_fleet
