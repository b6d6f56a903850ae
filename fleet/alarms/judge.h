// Judges all clocks by the rules, again and again, and puts what comes of it into the book.
#pragma once

#include <deque>
#include <unordered_map>

#include "rule.h"
#include "topology.h"

namespace ptp_fleet {

/** For one thread. */
class judge {
  public:
    /** Goes on with the alarms of the book that are still. */
    judge(std::vector<alarm_rule> rules, const fleet_state &state, alarm_book &book);

    /** What changed now. */
    void note(const std::vector<change_entry> &changes, std::uint64_t now_ns);
    void run(std::uint64_t now_ns);

  private:
    enum class finding : std::uint8_t { no, between, yes };
    /** A rule at a clock. */
    struct watch {
        std::uint64_t yes_since_ns = 0;  // 0: it is not so
        std::uint64_t no_since_ns = 0;
        std::uint64_t alarm = 0;  // 0: none
    };
    struct noted {
        std::uint64_t time_ns;
        bool is_grandmaster;
    };

    finding read(const alarm_rule &rule, const clock_summary &of, std::uint64_t now_ns) const;
    std::ptrdiff_t changes_of(const alarm_rule &rule, const clock_summary &of, std::uint64_t now_ns) const;
    std::string text_of(const alarm_rule &rule, const clock_summary &of, std::uint64_t now_ns) const;
    void judge_one(std::size_t rule, const clock_summary &of, std::uint64_t now_ns);
    std::vector<change_entry> what_came_before(const clock_summary &of, std::uint64_t since_ns);

    std::vector<alarm_rule> rules_;
    const fleet_state &state_;
    alarm_book &book_;
    std::unordered_map<clock_name, std::vector<watch>, clock_name_hash> watches_;
    std::unordered_map<clock_name, std::deque<noted>, clock_name_hash> changes_;
    std::vector<clock_summary> rows_;                                      // of this run
    std::optional<topology> tree_;                                         // made when it is needed, once a run
    std::unordered_map<clock_name, std::size_t, clock_name_hash> places_;  // in it
};

}  // namespace ptp_fleet
