// Reads and writes times: seconds, or dates with a zone.
#include "time_bound.h"

#include <cctype>
#include <cstdio>
#include <ctime>
#include <limits>
#include <optional>

#include "failure.h"

namespace ptpcfg {
namespace {

constexpr u_int64 per_second = 1'000'000'000;
constexpr u_int64 most_seconds = std::numeric_limits<u_int64>::max() / per_second - 1;

/** Takes a text from its start on. */
class cursor {
  public:
    explicit cursor(const std::string &text) : text_(text) {}

    bool at_end() const { return at_ == text_.size(); }
    char peek() const { return at_end() ? '\0' : text_[at_]; }
    bool take(const char *any_of) {
        const bool taken = !at_end() && std::string(any_of).find(peek()) != std::string::npos;
        at_ += taken ? 1 : 0;
        return taken;
    }
    /** A number of at least `least` and at most `most` digits. */
    std::optional<u_int64> number(size_t least, size_t most) {
        u_int64 value = 0;
        size_t digits = 0;
        for (; digits < most && std::isdigit(static_cast<unsigned char>(peek())) != 0; ++digits, ++at_) {
            value = value * 10 + static_cast<u_int64>(peek() - '0');
        }
        return digits >= least ? std::optional(value) : std::nullopt;
    }
    /** Digits behind the point as nanoseconds; 0 without a point. */
    std::optional<u_int64> fraction() {
        if (!take(".")) {
            return 0;
        }
        const size_t start = at_;
        std::optional<u_int64> value = number(1, 9);
        for (size_t digits = at_ - start; value && digits < 9; ++digits) {
            *value *= 10;
        }
        number(0, std::string::npos);  // what is finer than a nanosecond
        return value;
    }

  private:
    const std::string &text_;
    size_t at_ = 0;
};

std::optional<u_int64> parse_seconds(const std::string &text) {
    cursor from(text);
    const auto seconds = from.number(1, 11);
    const auto fraction = from.fraction();
    if (!seconds || !fraction || !from.at_end() || *seconds > most_seconds) {
        return std::nullopt;
    }
    return *seconds * per_second + *fraction;
}

/** Seconds east of UTC. */
std::optional<int> parse_zone(cursor &from) {
    if (from.take("Zz")) {
        return 0;
    }
    const bool west = from.peek() == '-';
    if (!from.take("+-")) {
        return std::nullopt;
    }
    const auto hours = from.number(2, 2);
    const bool colon = from.take(":");
    const auto minutes = from.number(2, 2);
    if (!hours || !colon || !minutes || *hours > 23 || *minutes > 59) {
        return std::nullopt;
    }
    const int seconds = static_cast<int>(*hours * 3600 + *minutes * 60);
    return west ? -seconds : seconds;
}

/** Date and time of day, without a check that the month has that day. */
std::optional<std::tm> parse_date_time(cursor &from) {
    u_int64 part[6] = {};
    const char *const behind[6] = {"-", "-", "Tt ", ":", ":", nullptr};
    for (int i = 0; i < 6; ++i) {
        const size_t digits = i == 0 ? 4 : 2;
        const auto value = from.number(digits, digits);
        if (!value || (behind[i] != nullptr && !from.take(behind[i]))) {
            return std::nullopt;
        }
        part[i] = *value;
    }
    if (part[3] > 23 || part[4] > 59 || part[5] > 60) {
        return std::nullopt;
    }
    std::tm time{};
    time.tm_year = static_cast<int>(part[0]) - 1900;
    time.tm_mon = static_cast<int>(part[1]) - 1;
    time.tm_mday = static_cast<int>(part[2]);
    time.tm_hour = static_cast<int>(part[3]);
    time.tm_min = static_cast<int>(part[4]);
    time.tm_sec = static_cast<int>(part[5]);
    return time;
}

std::optional<u_int64> parse_rfc3339(const std::string &text) {
    cursor from(text);
    const std::optional<std::tm> time = parse_date_time(from);
    const auto fraction = time ? from.fraction() : std::nullopt;
    const auto zone = fraction ? parse_zone(from) : std::nullopt;
    if (!zone || !from.at_end()) {
        return std::nullopt;
    }
    std::tm day = *time;
    day.tm_hour = day.tm_min = day.tm_sec = 0;
    const std::time_t midnight = timegm(&day);  // 30 February becomes a day of March
    if (day.tm_mon != time->tm_mon || day.tm_mday != time->tm_mday) {
        return std::nullopt;
    }
    const int64_t seconds = midnight + time->tm_hour * 3600 + time->tm_min * 60 + time->tm_sec - *zone;
    if (seconds < 0 || static_cast<u_int64>(seconds) > most_seconds) {
        return std::nullopt;
    }
    return static_cast<u_int64>(seconds) * per_second + *fraction;
}

}  // namespace

u_int64 time_bound::in_recording(u_int64 start) const {
    const u_int64 last = std::numeric_limits<u_int64>::max();
    return !is_distance ? nanoseconds : nanoseconds > last - start ? last : start + nanoseconds;
}

time_bound parse_time_bound(const char *option, const std::string &text) {
    if (const auto distance = parse_seconds(text)) {
        return {true, *distance};
    }
    if (const auto time = parse_rfc3339(text)) {
        return {false, *time};
    }
    throw failure(exit_code::usage, std::string(option) + " " + text +
                                        ": seconds from the start are wanted, for example 12.5, or a time, for "
                                        "example 2026-03-29T01:30:00Z");
}

std::string time_text(u_int64 nanoseconds) {
    const auto seconds = static_cast<std::time_t>(nanoseconds / per_second);
    std::tm time{};
    gmtime_r(&seconds, &time);
    char text[64];
    const size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &time);
    std::snprintf(text + length, sizeof text - length, ".%09uZ", static_cast<unsigned>(nanoseconds % per_second));
    return text;
}

}  // namespace ptpcfg
