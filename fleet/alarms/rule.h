// What is to be an alarm: rules as data.
#pragma once

#include <string>
#include <vector>

#include "alarm_book.h"

namespace ptp_fleet {

enum class condition : std::uint8_t {
    not_locked,           // neither locked, nor silent
    holdover,             //
    clock_class,          // of its grandmaster, a larger number than `above`
    offset,               // farther from the master than `above` nanoseconds
    silent,               // nothing heard
    grandmaster_changed,  // within the last `within` seconds
    flapping              // `count` changes of lock, parent or grandmaster within `within` seconds
};
const char *to_text(condition of);

struct alarm_rule {
    std::string name;
    condition when = condition::not_locked;
    severity is = severity::major;
    std::string elements = "*";  // which, as in a shell
    double for_s = 0;            // how long it has to be so
    double clear_for_s = 0;      // how long it has to be over
    double above = 0;
    double clear_below = 0;  // at `above` if it were not for noise
    int count = 0;
    double within_s = 0;
};

/** [[alarm]] of a TOML text. Throws std::runtime_error, which names the place. */
std::vector<alarm_rule> read_rules(const std::string &toml, const std::string &file);

/** Those that hold where nobody has said anything. */
std::vector<alarm_rule> usual_rules();

}  // namespace ptp_fleet
