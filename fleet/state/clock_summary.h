// What there is to know of a clock at a glance: a row of a table of all clocks.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ptp_fleet {

/** An element has one clock or more, which the subject of its messages names. */
struct clock_name {
    std::string element;
    std::string clock;

    auto operator<=>(const clock_name &) const = default;
};

/** "tower7/0" */
std::string to_text(const clock_name &name);
/** The opposite; nothing where there is no '/'. */
std::optional<clock_name> read_clock_name(std::string_view text);

struct clock_name_hash {
    std::size_t operator()(const clock_name &name) const {
        return std::hash<std::string>()(name.element) * 31 + std::hash<std::string>()(name.clock);
    }
};

using clock_identity = std::array<std::uint8_t, 8>;

/** "AA-BB-CC-FF-FE-00-03-30", as JSON and XML of messages have it. */
std::string to_text(const clock_identity &identity);
std::optional<clock_identity> read_identity(std::string_view text);

/** The numbers are those of ptp_clock_state. */
enum class lock_state : std::uint8_t { unknown, initializing, freerun, holdover, acquiring, frequency, phase };
constexpr std::size_t lock_states = 7;

/** "unknown", "initializing", "freerun", "holdover", "acquiring", "frequency-locked", "locked" */
const char *to_text(lock_state state);
std::optional<lock_state> read_lock_state(std::string_view text);

/** Times are nanoseconds since 1970, 0 for never. What is absent was not said yet. */
struct clock_summary {
    clock_name name;
    std::optional<clock_identity> identity, parent, grandmaster;
    lock_state lock = lock_state::unknown;
    std::uint64_t lock_since_ns = 0;
    std::optional<int> clock_class;        // its own
    std::optional<int> grandmaster_class;  // of the one it follows
    std::optional<int> priority1, priority2, domain, steps_removed;
    std::optional<double> offset_ns, path_delay_ns;
    std::uint64_t heard_ns = 0;    // when the server last took something of it, by the server's time
    std::uint64_t changed_ns = 0;  // last change of anything but offset and path delay
    std::uint64_t messages = 0;
    std::uint64_t events = 0;
    std::uint64_t change = 0;  // number of the last change of this row: they rise over all clocks
};

}  // namespace ptp_fleet
