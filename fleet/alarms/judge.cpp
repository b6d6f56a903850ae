// An alarm begins when its condition has held for as long as the rule says, and ends when the opposite has.
#include "judge.h"

#include <fnmatch.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace ptp_fleet {
namespace {

constexpr std::size_t changes_told = 12;  // with an alarm
constexpr double longest_within_s = 86'400;
constexpr double up_to_s = 600;  // before an alarm, changes are told of

std::uint64_t nanoseconds(double seconds) { return static_cast<std::uint64_t>(seconds * 1e9); }

std::string round_text(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.0f", value);
    return text;
}

bool is_of_the_way(const change_entry &of) {
    return of.what == "lock" || of.what == "parent" || of.what == "grandmaster";
}

}  // namespace

judge::judge(std::vector<alarm_rule> rules, const fleet_state &state, alarm_book &book)
    : rules_(std::move(rules)), state_(state), book_(book) {
    for (const alarm &each : book_.active()) {
        for (std::size_t i = 0; i < rules_.size(); ++i) {
            if (rules_[i].name == each.rule) {
                auto &watches = watches_[each.name];
                watches.resize(rules_.size());
                watches[i].alarm = each.id;
                watches[i].yes_since_ns = each.since_ns;
            }
        }
    }
}

void judge::note(const std::vector<change_entry> &changes, std::uint64_t now_ns) {
    for (const change_entry &each : changes) {
        if (is_of_the_way(each)) {
            std::deque<noted> &of = changes_[each.name];
            of.push_back({now_ns, each.what == "grandmaster"});
            while (of.front().time_ns + nanoseconds(longest_within_s) < now_ns || of.size() > 1000) {
                of.pop_front();
            }
        }
    }
}

std::ptrdiff_t judge::changes_of(const alarm_rule &rule, const clock_summary &of, std::uint64_t now_ns) const {
    const auto found = changes_.find(of.name);
    if (found == changes_.end()) {
        return 0;
    }
    const bool is_grandmaster = rule.when == condition::grandmaster_changed;
    return std::count_if(found->second.begin(), found->second.end(), [&](const noted &each) {
        return each.time_ns + nanoseconds(rule.within_s) > now_ns && (!is_grandmaster || each.is_grandmaster);
    });
}

judge::finding judge::read(const alarm_rule &rule, const clock_summary &of, std::uint64_t now_ns) const {
    const bool is_silent = state_.is_silent(of, now_ns);
    const auto found = [](bool is) { return is ? finding::yes : finding::no; };
    const auto against = [&](double value) {
        return value > rule.above ? finding::yes : value > rule.clear_below ? finding::between : finding::no;
    };
    if (rule.when == condition::silent) {
        return found(is_silent);
    }
    if (rule.when == condition::grandmaster_changed || rule.when == condition::flapping) {
        const auto count = changes_of(rule, of, now_ns);
        return count >= rule.count ? finding::yes : 2 * count >= rule.count ? finding::between : finding::no;
    }
    if (is_silent) {
        return finding::between;  // what was said last may be true no more, and is not known to be over either
    }
    switch (rule.when) {
        case condition::not_locked:
            return found(of.lock != lock_state::phase && of.lock != lock_state::unknown);
        case condition::holdover:
            return found(of.lock == lock_state::holdover);
        case condition::clock_class:
            return against(of.grandmaster_class.value_or(0));
        default:
            return against(std::abs(of.offset_ns.value_or(0)));
    }
}

std::string judge::text_of(const alarm_rule &rule, const clock_summary &of, std::uint64_t now_ns) const {
    switch (rule.when) {
        case condition::not_locked:
            return "is not locked: " + std::string(to_text(of.lock));
        case condition::holdover:
            return "is in holdover";
        case condition::clock_class:
            return "its grandmaster's clock class is " + std::to_string(of.grandmaster_class.value_or(0)) +
                   ", worse than " + round_text(rule.above);
        case condition::offset:
            return "is " + round_text(std::abs(of.offset_ns.value_or(0))) + " ns from its master, more than " +
                   round_text(rule.above) + " ns";
        case condition::silent:
            return "nothing is heard of it";
        case condition::grandmaster_changed:
            return "follows another grandmaster: " + (of.grandmaster ? to_text(*of.grandmaster) : "none");
        case condition::flapping:
            return std::to_string(changes_of(rule, of, now_ns)) + " changes in " + round_text(rule.within_s) + " s";
    }
    return {};
}

std::vector<change_entry> judge::what_came_before(const clock_summary &of, std::uint64_t since_ns) {
    if (!tree_) {
        tree_ = make_topology(rows_);
        places_.clear();
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            places_.emplace(rows_[i].name, i);
        }
    }
    std::vector<change_entry> result = state_.recent_changes(of.name, changes_told);
    for (const std::size_t above : upstream(*tree_, places_.at(of.name))) {
        const auto theirs = state_.recent_changes(tree_->nodes[above].name, changes_told);
        result.insert(result.end(), theirs.begin(), theirs.end());
    }
    const std::uint64_t length = nanoseconds(up_to_s);
    std::erase_if(result, [&](const change_entry &each) {
        return each.time_ns > since_ns + nanoseconds(1) || each.time_ns + length < since_ns;
    });
    std::stable_sort(result.begin(), result.end(),
                     [](const change_entry &a, const change_entry &b) { return a.time_ns > b.time_ns; });
    result.resize(std::min(result.size(), changes_told));
    return result;
}

void judge::judge_one(std::size_t number, const clock_summary &of, std::uint64_t now_ns) {
    const alarm_rule &rule = rules_[number];
    const finding now = read(rule, of, now_ns);
    auto found = watches_.find(of.name);
    if (now == finding::no && found == watches_.end()) {
        return;  // as nearly all are
    }
    if (found == watches_.end()) {
        found = watches_.emplace(of.name, std::vector<watch>(rules_.size())).first;
    }
    watch &at = found->second[number];
    at.yes_since_ns = now == finding::yes && at.yes_since_ns == 0 ? now_ns : at.yes_since_ns;
    at.no_since_ns = now != finding::no ? 0 : at.no_since_ns == 0 ? now_ns : at.no_since_ns;
    if (at.alarm == 0 && now != finding::yes) {
        at.yes_since_ns = 0;
    }
    if (at.alarm == 0 && at.yes_since_ns != 0 && now_ns >= at.yes_since_ns + nanoseconds(rule.for_s)) {
        alarm made;
        made.rule = rule.name;
        made.is = rule.is;
        made.name = of.name;
        made.since_ns = rule.when == condition::silent ? of.heard_ns : at.yes_since_ns;
        made.text = text_of(rule, of, now_ns);
        made.before = what_came_before(of, made.since_ns);
        at.alarm = book_.begin(std::move(made));
    } else if (at.alarm != 0 && at.no_since_ns != 0 && now_ns >= at.no_since_ns + nanoseconds(rule.clear_for_s)) {
        book_.end(at.alarm, now_ns);
        at = {};
    }
}

void judge::run(std::uint64_t now_ns) {
    rows_ = state_.summaries();
    tree_.reset();
    for (std::size_t rule = 0; rule < rules_.size(); ++rule) {
        const bool is_for_all = rules_[rule].elements == "*";
        for (const clock_summary &row : rows_) {
            if (is_for_all || fnmatch(rules_[rule].elements.c_str(), row.name.element.c_str(), 0) == 0) {
                judge_one(rule, row, now_ns);
            }
        }
    }
}

}  // namespace ptp_fleet
