// How the resources' values follow from what was read, and what is not claimed when too little was.
#include "agent/notification/samples.h"

#include <algorithm>
#include <cstdio>

namespace ptp_agent::notification {
namespace {

using OptionalState = std::optional<Reading<LockState>>;

const char *name_of(LockState state) {
    switch (state) {
        case LockState::Locked:
            return "LOCKED";
        case LockState::Holdover:
            return "HOLDOVER";
        case LockState::Freerun:
            break;
    }
    return "FREERUN";
}

/** A decimal with at most three fraction digits and none that says nothing: 6, -12.5. */
std::string decimal(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.3f", value);
    std::string result = text;
    result.erase(result.find_last_not_of('0') + 1);
    if (result.back() == '.') {
        result.pop_back();
    }
    return result == "-0" ? "0" : result;
}

/** The worst of all. One that is unknown could be worse than the others, unless they are as bad as can be. */
OptionalState worst(const std::vector<OptionalState> &states) {
    OptionalState found;
    bool all_known = !states.empty();
    for (const OptionalState &state : states) {
        if (!state) {
            all_known = false;
        } else if (!found) {
            found = state;
        } else {
            found->value = std::max(found->value, state->value);
            found->wall_ns = std::max(found->wall_ns, state->wall_ns);
        }
    }
    return all_known || (found && found->value == LockState::Freerun) ? found : std::nullopt;
}

OptionalState worst_clock(const NodeState &state) {
    std::vector<OptionalState> states;
    for (const ClockState &clock : state.clocks) {
        states.push_back(clock.lock_state);
    }
    return worst(states);
}

OptionalState os_clock(const NodeState &state) {
    if (!state.os_clock) {
        return std::nullopt;
    }
    const bool locked = state.os_clock->value == OsClockState::Locked;
    return Reading<LockState>{locked ? LockState::Locked : LockState::Freerun, state.os_clock->wall_ns};
}

std::optional<Sample> sample_of(const OptionalState &state) {
    if (!state) {
        return std::nullopt;
    }
    return Sample{{{"", ValueKind::State, name_of(state->value)}}, state->wall_ns};
}

void add_offset(Sample &sample, const std::string &name, const ClockState &clock) {
    if (clock.offset_ns) {
        sample.values.push_back({name, ValueKind::Companion, decimal(clock.offset_ns->value)});
    }
}

std::optional<Sample> lock_state(const NodeState &state) {
    std::optional<Sample> sample = sample_of(worst_clock(state));
    if (!sample) {
        return sample;
    }
    if (state.clocks.size() == 1) {
        add_offset(*sample, "", state.clocks.front());
        return sample;
    }
    for (const ClockState &clock : state.clocks) {
        if (clock.lock_state) {
            sample->values.push_back({clock.name, ValueKind::State, name_of(clock.lock_state->value)});
            add_offset(*sample, clock.name, clock);
        }
    }
    return sample;
}

/** Of several clocks the largest number, which announces the least. */
std::optional<Sample> clock_class(const NodeState &state) {
    Sample sample;
    std::uint8_t largest = 0;
    std::vector<Value> each;
    for (const ClockState &clock : state.clocks) {
        if (!clock.clock_class) {
            return std::nullopt;
        }
        largest = std::max(largest, clock.clock_class->value);
        sample.wall_ns = std::max(sample.wall_ns, clock.clock_class->wall_ns);
        each.push_back({clock.name, ValueKind::Number, std::to_string(clock.clock_class->value)});
    }
    if (each.empty()) {
        return std::nullopt;
    }
    sample.values.push_back({"", ValueKind::Number, std::to_string(largest)});
    if (each.size() > 1) {
        sample.values.insert(sample.values.end(), each.begin(), each.end());
    }
    return sample;
}

std::optional<Sample> gnss(const NodeState &state) {
    if (!state.gnss) {
        return std::nullopt;
    }
    return Sample{{{"", ValueKind::State, state.gnss->value}}, state.gnss->wall_ns};
}

std::vector<Value> reasons_for_events(const Sample &sample) {
    std::vector<Value> values;
    std::copy_if(sample.values.begin(), sample.values.end(), std::back_inserter(values),
                 [](const Value &value) { return value.kind != ValueKind::Companion; });
    return values;
}

}  // namespace

bool Sample::says_the_same_as(const Sample &other) const {
    return reasons_for_events(*this) == reasons_for_events(other);
}

Samples samples_of(const NodeState &state, ResourceSet served) {
    Samples samples;
    const auto at = [&samples](Resource resource) -> std::optional<Sample> & {
        return samples[static_cast<std::size_t>(resource)];
    };
    const bool has_os_clock = served.test(static_cast<std::size_t>(Resource::OsClockSyncState));
    at(Resource::SyncState) =
        sample_of(has_os_clock ? worst({worst_clock(state), os_clock(state)}) : worst_clock(state));
    at(Resource::OsClockSyncState) = sample_of(os_clock(state));
    at(Resource::LockState) = lock_state(state);
    at(Resource::ClockClass) = clock_class(state);
    at(Resource::GnssSyncStatus) = gnss(state);
    for (std::size_t index = 0; index < resource_count; ++index) {
        if (!served.test(index)) {
            samples[index].reset();
        }
    }
    return samples;
}

}  // namespace ptp_agent::notification
