// Lets go of what is old, a few clocks at a time, so that nobody waits for it.
#include <algorithm>

#include "keeper.h"

namespace ptp_fleet {
namespace {

constexpr double day_ns = 86'400e9;
constexpr double hour_ns = 3'600e9;
constexpr std::uint64_t clocks_at_once = 200;
constexpr int pieces_at_once = 64;
constexpr double least_pressure = 0.01;

std::uint64_t before(std::uint64_t now_ns, double length_ns) {
    const auto length = static_cast<std::uint64_t>(length_ns);
    return now_ns > length ? now_ns - length : 0;
}

/** What a clock's tables hold of the past, for one portion of clocks. */
class forgetting {
  public:
    forgetting(database &of, std::uint64_t first, std::uint64_t last) : of_(of), first_(first), last_(last) {}

    void drop_codes(std::uint64_t before_ns) {
        run("UPDATE chunk SET coded = '' WHERE clock = ?1 AND first_ns < ?2 AND coded != ''", before_ns);
    }
    /** Hours end with the chunks that are to go, so that an hour is summed once. */
    void sum_hours(std::uint64_t before_ns) {
        const auto hour = static_cast<std::uint64_t>(hour_ns);
        const std::uint64_t end = before_ns / hour * hour;
        run("INSERT OR REPLACE INTO hour SELECT clock, first_ns / 3600000000000 * 3600000000000 AS h, sum(count), "
            "min(low), sum(mean * count) / sum(count), max(high), sum(delay * count) / sum(count) FROM chunk "
            "WHERE clock = ?1 AND first_ns < ?2 GROUP BY h",
            end);
        run("DELETE FROM chunk WHERE clock = ?1 AND first_ns < ?2", end);
    }
    void drop_hours(std::uint64_t before_ns) { run("DELETE FROM hour WHERE clock = ?1 AND first_ns < ?2", before_ns); }
    /** The last before that time stays: it was so until the next. */
    void drop_records(std::uint64_t before_ns) {
        run("DELETE FROM record AS r WHERE clock = ?1 AND time_ns < ?2 AND EXISTS (SELECT 1 FROM record WHERE clock = "
            "r.clock AND message = r.message AND about = r.about AND time_ns > r.time_ns AND time_ns < ?2)",
            before_ns);
        run("DELETE FROM change WHERE clock = ?1 AND time_ns < ?2", before_ns);
    }

  private:
    void run(const char *sql, std::uint64_t before_ns) {
        statement each(of_, sql);
        for (std::uint64_t clock = first_; clock <= last_; ++clock) {
            each.bind(clock, before_ns).run();
        }
    }

    database &of_;
    std::uint64_t first_, last_;
};

}  // namespace

void keeper::maintain(const keeping &how, std::uint64_t now_ns) {
    const std::uint64_t used = (database_.number("PRAGMA page_count") - database_.number("PRAGMA freelist_count")) *
                               database_.number("PRAGMA page_size");
    pressure_ = used > how.most_bytes ? std::max(pressure_ * 0.9, least_pressure) : std::min(1.0, pressure_ * 1.01);
    const std::uint64_t done = meta("done");
    transaction all(database_);
    hold();
    statement(database_,
              "DELETE FROM piece WHERE id IN (SELECT id FROM piece WHERE id <= ?1 AND last_ns < ?2 "
              "ORDER BY id LIMIT ?3)")
        .bind(done, before(now_ns, how.journal_hours * hour_ns * pressure_), pieces_at_once)
        .run();
    const std::uint64_t first = next_to_maintain_ + 1;
    const std::uint64_t last = std::min<std::uint64_t>(next_to_maintain_ + clocks_at_once, ids_.size());
    forgetting some(database_, first, last);
    some.drop_codes(before(now_ns, how.seconds_days * day_ns * pressure_));
    some.sum_hours(before(now_ns, how.minutes_days * day_ns * pressure_));
    some.drop_hours(before(now_ns, how.hours_days * day_ns));
    some.drop_records(before(now_ns, how.records_days * day_ns * pressure_));
    next_to_maintain_ = last >= ids_.size() ? 0 : last;
    for (const std::string &gone : ledger_.forget(before(now_ns, how.source_days * day_ns))) {
        statement(database_, "DELETE FROM source WHERE name = ?1").bind(gone).run();
    }
    all.commit();
}

}  // namespace ptp_fleet
