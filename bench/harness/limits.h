// What the figures of one run must hold.
#pragma once

#include <vector>

namespace bench {

/** The time of `contender` is at most `at_most` times that of `reference`, or with no reference that many ns. */
struct limit {
    const char *scenario;
    const char *work;
    const char *contender;
    const char *reference;
    double at_most;
};

const std::vector<limit> &limits();

}  // namespace bench
