// What is known of each kind of message: which part of a clock's row it fills, and how its records are kept apart.
#pragma once

#include "clock_summary.h"
#include "message.h"

namespace ptp_fleet {

struct summary_row {
    const char *message;  // short name
    const char *path;     // of the field in its first payload
    void (*fill)(clock_summary &of, const decoded_message &from, const char *path);
};

struct record_row {
    const char *message;
    bool is_in_parts;   // says only what changed: the rest stays as it was
    const char *about;  // path of what tells several of a kind apart; null where there is one
    const char *label;  // before that, for people: "port "
};

/** Null for a message that is kept as it is, one of its kind. */
const record_row *record_row_of(std::string_view message);

/** "port 3"; empty where a clock has one of the kind. */
std::string about_of(const decoded_message &of, const record_row *row);

/** Fills what the message says into a clock's row. */
void fill_summary(clock_summary &of, const decoded_message &from);

/** The offset and path delay are in it, which change all the time. */
bool is_measurement(std::string_view message);

/** It has those, or counters: that it changed is no news. */
bool is_quiet(std::string_view message);

}  // namespace ptp_fleet
