// Names and identities as texts.
#include "clock_summary.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>

namespace ptp_fleet {
namespace {

constexpr const char *lock_texts[] = {"unknown",   "initializing",     "freerun", "holdover",
                                      "acquiring", "frequency-locked", "locked"};
static_assert(std::size(lock_texts) == lock_states);

}  // namespace

std::string to_text(const clock_name &name) { return name.element + "/" + name.clock; }

std::optional<clock_name> read_clock_name(std::string_view text) {
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos || slash == 0 || slash + 1 == text.size()) {
        return std::nullopt;
    }
    return clock_name{std::string(text.substr(0, slash)), std::string(text.substr(slash + 1))};
}

std::string to_text(const clock_identity &identity) {
    char text[24];
    std::snprintf(text, sizeof text, "%02X-%02X-%02X-%02X-%02X-%02X-%02X-%02X", identity[0], identity[1], identity[2],
                  identity[3], identity[4], identity[5], identity[6], identity[7]);
    return text;
}

std::optional<clock_identity> read_identity(std::string_view text) {
    clock_identity result;
    if (text.size() != result.size() * 3 - 1) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < result.size(); ++i) {
        const char *digits = text.data() + 3 * i;
        const auto [end, error] = std::from_chars(digits, digits + 2, result[i], 16);
        if (error != std::errc() || end != digits + 2 || (i + 1 < result.size() && *end != '-')) {
            return std::nullopt;
        }
    }
    return result;
}

const char *to_text(lock_state state) {
    const auto number = static_cast<std::size_t>(state);
    return lock_texts[number < lock_states ? number : 0];
}

std::optional<lock_state> read_lock_state(std::string_view text) {
    const auto found = std::find(std::begin(lock_texts), std::end(lock_texts), text);
    return found != std::end(lock_texts) ? std::optional(static_cast<lock_state>(found - std::begin(lock_texts)))
                                         : std::nullopt;
}

}  // namespace ptp_fleet
