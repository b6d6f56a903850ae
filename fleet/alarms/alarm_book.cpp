// Keeps alarms in memory; who wants them kept longer listens.
#include "alarm_book.h"

#include <algorithm>
#include <tuple>

namespace ptp_fleet {
namespace {

constexpr std::size_t past_kept = 10'000;

}  // namespace

const char *to_text(severity of) {
    constexpr const char *texts[] = {"warning", "major", "critical"};
    return texts[static_cast<std::size_t>(of)];
}

void alarm_book::set_listener(listener to) {
    const std::lock_guard lock(mutex_);
    listener_ = std::move(to);
}

std::vector<alarm> alarm_book::active() const {
    std::vector<alarm> result;
    {
        const std::lock_guard lock(mutex_);
        result = active_;
    }
    std::sort(result.begin(), result.end(), [](const alarm &a, const alarm &b) {
        return std::tie(b.is, b.since_ns, a.id) < std::tie(a.is, a.since_ns, b.id);
    });
    return result;
}

std::vector<alarm> alarm_book::past(std::size_t limit) const {
    const std::lock_guard lock(mutex_);
    const std::size_t count = std::min(limit, past_.size());
    return {past_.rbegin(), past_.rbegin() + static_cast<std::ptrdiff_t>(count)};
}

std::optional<alarm> alarm_book::find(std::uint64_t id) const {
    const std::lock_guard lock(mutex_);
    for (const auto *list : {&active_, &past_}) {
        for (const alarm &each : *list) {
            if (each.id == id) {
                return each;
            }
        }
    }
    return std::nullopt;
}

std::uint64_t alarm_book::change() const {
    const std::lock_guard lock(mutex_);
    return change_;
}

bool alarm_book::alter(std::uint64_t id, const std::function<void(alarm &)> &how) {
    std::unique_lock lock(mutex_);
    const auto found = std::find_if(active_.begin(), active_.end(), [&](const alarm &each) { return each.id == id; });
    if (found == active_.end()) {
        return false;
    }
    how(*found);
    const alarm copy = *found;
    if (copy.until_ns != 0) {
        active_.erase(found);
        past_.push_back(copy);
        if (past_.size() > past_kept) {
            past_.erase(past_.begin());
        }
    }
    ++change_;
    const listener told = listener_;
    lock.unlock();
    if (told) {
        told(copy);
    }
    return true;
}

bool alarm_book::acknowledge(std::uint64_t id, const std::string &who, const std::string &note, std::uint64_t now_ns) {
    return alter(id, [&](alarm &of) {
        of.acknowledged_by = who;
        of.note = note;
        of.acknowledged_ns = now_ns;
    });
}

bool alarm_book::silence(std::uint64_t id, const std::string &who, std::uint64_t until_ns) {
    return alter(id, [&](alarm &of) {
        of.silenced_by = until_ns == 0 ? "" : who;
        of.silenced_until_ns = until_ns;
    });
}

std::uint64_t alarm_book::begin(alarm of) {
    std::unique_lock lock(mutex_);
    of.id = next_++;
    active_.push_back(of);
    ++change_;
    const listener told = listener_;
    lock.unlock();
    if (told) {
        told(of);
    }
    return of.id;
}

void alarm_book::end(std::uint64_t id, std::uint64_t now_ns) {
    alter(id, [&](alarm &of) { of.until_ns = now_ns; });
}

void alarm_book::load(std::vector<alarm> kept) {
    const std::lock_guard lock(mutex_);
    for (alarm &each : kept) {
        next_ = std::max(next_, each.id + 1);
        (each.until_ns == 0 ? active_ : past_).push_back(std::move(each));
    }
}

}  // namespace ptp_fleet
