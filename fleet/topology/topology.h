// Who follows whom: a forest of clocks, by the identities of their parents and grandmasters.
#pragma once

#include <span>
#include <vector>

#include "clock_summary.h"

namespace ptp_fleet {

enum class standing : std::uint8_t {
    grandmaster,  // follows nobody, and others may follow it
    follows,
    outside,      // a clock that others follow and that is none of the fleet's
    orphan,       // its parent is outside and not its grandmaster: the way up is not known
    loop,         // following parents leads back to it
    unidentified  // has not said who it is, or whom it follows
};

/** "grandmaster", "follows", ... */
const char *to_text(standing of);

constexpr std::size_t nobody = static_cast<std::size_t>(-1);

struct topology_node {
    clock_name name;          // empty of one outside
    clock_identity identity;  // all 0 of one unidentified
    standing is = standing::unidentified;
    std::size_t parent = nobody;  // index of a node
    std::vector<std::size_t> children;
    std::size_t depth = 0;      // steps from its root; 0 within loops
    bool disagrees = false;     // names another grandmaster than its parent does
    bool is_duplicate = false;  // another clock says that it has the same identity
};

struct topology {
    std::vector<topology_node> nodes;             // in the order of the summaries; then those outside
    std::vector<std::size_t> roots;               // grandmasters, those outside, and the unidentified
    std::vector<std::vector<std::size_t>> loops;  // each once, in the order of following
};

topology make_topology(std::span<const clock_summary> of);

/** From a node's parent up to its root, or once around its loop. */
std::vector<std::size_t> upstream(const topology &of, std::size_t node);

}  // namespace ptp_fleet
