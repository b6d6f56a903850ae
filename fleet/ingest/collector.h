// From the stream into the store: each message once, acknowledged when it is kept.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

#include "consumer.h"
#include "keeper.h"

namespace ptp_fleet {

/** What a portion that is kept now came to. */
struct news {
    std::vector<change_entry> changes;
    std::vector<std::pair<clock_name, std::string>> altered;  // messages that say something else than before
};

struct collecting {
    std::string uri;
    std::string name = "main";  // of the durable consumer; who has the same shares its place in the stream
    std::string database;
    keeping keep;
    double checkpoint_s = 120;
};

class collector {
  public:
    using report = std::function<void(const std::string &)>;

    /** Opens the store, which it loads into `state`. @param tell  told what an operator should know, a line each */
    collector(collecting how, const std::string &holder, fleet_state &state, open_samples &samples, report tell);

    /** Told after each portion, and at least every second. */
    using listener = std::function<void(const news &)>;
    void set_listener(listener to) { listener_ = std::move(to); }

    /** Until that is true; then everything is kept. Throws superseded, and what will not pass of the database. */
    void run(const std::function<bool()> &is_to_end);

    store_totals totals() const;

  private:
    void open(const std::function<bool()> &is_to_end);
    bool gather(std::vector<incoming> &portion);
    void take(std::vector<incoming> &portion);
    bool persist(const std::function<bool()> &is_to_end, const char *what, void (keeper::*how)());
    void keep_house(const std::function<bool()> &is_to_end, bool is_due);

    collecting how_;
    report tell_;
    fleet_state &state_;
    keeper keeper_;
    std::unique_ptr<consumer> consumer_;
    listener listener_;
    news news_;
    std::chrono::steady_clock::time_point checkpoint_at_, house_at_;
    mutable std::mutex mutex_;
    store_totals totals_;
    bool has_told_ = false;
};

}  // namespace ptp_fleet
