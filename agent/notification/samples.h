// From the state of the node's clocks to the value of each resource.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/notification/resources.h"
#include "agent/notification/state.h"

namespace ptp_agent::notification {

/** What a value is: a state by its name, a number, or a number that goes along and is no reason for an event. */
enum class ValueKind : std::uint8_t { State, Number, Companion };

struct Value {
    std::string clock;  ///< of several clocks the one that is meant; empty: the node
    ValueKind kind = ValueKind::State;
    std::string text;

    bool operator==(const Value &) const = default;
};

/** The value of a resource: of the node first, then of each clock where there are several. */
struct Sample {
    std::vector<Value> values;
    std::uint64_t wall_ns = 0;

    /** Whether a consumer has nothing to learn from the other. */
    bool says_the_same_as(const Sample &other) const;
};

/** The resources by number; those that nothing is known of have no sample. */
using Samples = std::array<std::optional<Sample>, resource_count>;

/** @param served  what the node has: without an OS clock the synchronisation state is that of PTP alone */
Samples samples_of(const NodeState &state, ResourceSet served);

}  // namespace ptp_agent::notification
