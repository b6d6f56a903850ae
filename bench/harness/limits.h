// What the figures of one run must hold.
#pragma once

#include <string>
#include <vector>

namespace bench {

/** What was timed: a contender's piece of work in a scenario. */
struct side {
    const char *scenario;
    const char *work;
    const char *contender;
};

/**
 * The left side takes at most `factor` times the time of the right one, plus `more` nanoseconds. Where `base` names
 * something, only what the left side takes longer than that counts.
 */
struct limit {
    side left;
    side right;
    double factor;
    double more;
    side base = {};
};

const std::vector<limit> &limits();

/** A contender that is to be ahead of all others named. */
struct race {
    const char *scenario;
    const char *work;
    const char *contender;
    std::vector<const char *> others;
};

const std::vector<race> &races();

}  // namespace bench
