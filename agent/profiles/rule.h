// One rule as its file says it. A path may begin with "clock/" or "port/", the object that it belongs to; "#ports" and
// "#streams" count what belongs to an object.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/intent/intent.h"

namespace ptp_agent {

/** What a value must be. A number is in the range, a text among those; whatever is not stated is not asked. */
struct Condition {
    std::string field;
    std::optional<std::pair<std::int64_t, std::int64_t>> range;
    std::vector<std::string> one_of;  ///< as Record::shown() writes them
    std::vector<std::string> not_of;
    std::string at_most_field;  ///< path of a number that it may reach
    std::string same_as_field;  ///< path of a value that it equals
    bool is_interface = false;  ///< the name of a network interface
    bool is_unique = false;     ///< no other object of its kind in the clock has the value
};

struct Rule {
    std::string id;      ///< "g8275.1/domain"
    std::string object;  ///< "clock", "port", "stream", "virtual_port", or the message of a setting
    Condition must;
    std::vector<Condition> only_if;  ///< all of them
    std::string allowed;             ///< in words, where the condition's own would not do
    std::string reason;
    std::string reference;
};

struct RuleSet {
    std::string name;         ///< "g8275.1"
    std::string clk_profile;  ///< literal of clk_profile that chooses it; empty: for every clock
    Violation::Kind kind = Violation::Kind::Profile;
    std::vector<Rule> rules;
};

/** Reads a file of rules; throws std::logic_error, with file and rule, for one that is malformed. */
RuleSet read_rules(std::string_view file);

}  // namespace ptp_agent
