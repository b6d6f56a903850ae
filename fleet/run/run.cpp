// Puts the parts together, and takes them apart in the opposite order.
#include "run.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <thread>

#include "alarm_json.h"
#include "base/clocks.h"
#include "judge.h"
#include "lease.h"
#include "nats_desk.h"
#include "sqlite_history.h"

namespace ptp_fleet {
namespace {

volatile std::sig_atomic_t is_stopped = 0;

void stop(int) { is_stopped = 1; }

void tell(const std::string &what) {
    std::printf("ptp_fleet: %s\n", what.c_str());
    std::fflush(stdout);
}

/** Of this process and no other, also when its number is used again. */
std::string holder_name() {
    char host[256] = "";
    gethostname(host, sizeof host - 1);
    return std::string(host) + ":" + std::to_string(getpid()) + ":" + std::to_string(base::clock_ns(CLOCK_REALTIME));
}

/** What waits for the lease, says so once. Null when it was told to end. */
std::unique_ptr<lease> wait_for_lease(const run_configuration &how, const std::string &holder) {
    std::unique_ptr<lease> mine;
    std::string told;
    const auto say = [&](const std::string &what) {
        if (what != told) {
            tell(what);
            told = what;
        }
    };
    while (is_stopped == 0) {
        try {
            if (!mine) {
                mine = std::make_unique<lease>(how.collect.uri, how.collect.name, holder, how.lease_s, how.replicas);
            }
            if (mine->take()) {
                return mine;
            }
            say("stands by: " + mine->holder() + " works as " + how.collect.name);
        } catch (const std::runtime_error &error) {
            say(error.what());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    return nullptr;
}

/** Everything of a collector that works. */
class worker {
  public:
    worker(const run_configuration &how, const std::string &holder, const lease *mine)
        : how_(how),
          lease_(mine),
          state_(how.silent_after_s),
          collector_(how.collect, holder, state_, samples_, tell),
          past_(how.collect.database, samples_, [this] { return collector_.totals(); }),
          notes_(how.collect.database),
          desk_(how.collect.uri, how.collect.name, how.replicas, state_, notes_) {
        book_.load(notes_.alarms());
        if (!how_.hook.url.empty()) {
            hook_ = std::make_unique<webhook>(how_.hook, tell);
        }
        book_.set_listener([this](const alarm &of) { keep(of); });
        judge_ = std::make_unique<judge>(how_.rules, state_, book_);
        collector_.set_listener([this](const news &of) { judge_all(of); });
        if (!how_.web.listen.empty()) {
            web_ = std::make_unique<web>(how_.web, services{state_, book_, past_, desk_});
            tell("serves at port " + std::to_string(web_->port()) + " (" + how_.web.listen + ")");
        }
    }

    void run() {
        tell("works as " + how_.collect.name + ": " + std::to_string(state_.counts(0).clocks) + " clocks in " +
             how_.collect.database);
        collector_.run([this] { return is_stopped != 0 || has_lost_it(); });
        write_alarms();
        if (has_lost_it()) {
            throw superseded("another process works as " + how_.collect.name + " now");
        }
    }

  private:
    bool has_lost_it() const { return lease_ != nullptr && lease_->is_lost(); }

    void keep(const alarm &of) {
        const std::uint64_t now_ns = base::clock_ns(CLOCK_REALTIME);
        if (hook_ && of.silenced_until_ns < now_ns) {
            hook_->post(cloud_event(of, how_.collect.name, now_ns));
        }
        const std::lock_guard lock(kept_mutex_);
        kept_.push_back(of);
    }

    /** All that happened to alarms in a second at once: a storm of them is a write like any other. */
    void write_alarms() {
        std::vector<alarm> all;
        {
            const std::lock_guard lock(kept_mutex_);
            all.swap(kept_);
        }
        try {
            if (!all.empty()) {
                notes_.put(all);
            }
        } catch (const std::runtime_error &error) {
            tell(error.what());
            const std::lock_guard lock(kept_mutex_);
            kept_.insert(kept_.begin(), all.begin(), all.end());
        }
    }

    void judge_all(const news &of) {
        const std::uint64_t now_ns = base::clock_ns(CLOCK_REALTIME);
        judge_->note(of.changes, now_ns);
        for (const change_entry &each : of.changes) {
            desk_.note(each);
        }
        for (const auto &[name, message] : of.altered) {
            desk_.note(name, message);
        }
        if (now_ns < judged_ns_ + 1'000'000'000) {
            return;
        }
        judged_ns_ = now_ns;
        judge_->run(now_ns);
        write_alarms();
        try {
            desk_.settle(now_ns);
        } catch (const std::runtime_error &error) {
            tell(error.what());
        }
    }

    const run_configuration &how_;
    const lease *lease_;
    fleet_state state_;
    open_samples samples_;
    collector collector_;
    sqlite_history past_;
    notes notes_;
    alarm_book book_;
    nats_desk desk_;
    std::unique_ptr<webhook> hook_;
    std::unique_ptr<judge> judge_;
    std::uint64_t judged_ns_ = 0;
    std::mutex kept_mutex_;
    std::vector<alarm> kept_;  // not written yet
    std::unique_ptr<web> web_;
};

}  // namespace

void run(const run_configuration &how) {
    std::signal(SIGINT, stop);
    std::signal(SIGTERM, stop);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);  // a limit of files is told as a full disk is
    const std::string holder = holder_name();
    const std::unique_ptr<lease> mine = how.is_alone ? nullptr : wait_for_lease(how, holder);
    if (is_stopped == 0) {
        worker(how, holder, mine.get()).run();
    }
}

}  // namespace ptp_fleet
