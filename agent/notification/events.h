// Events as CloudEvents JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "agent/notification/configuration.h"
#include "agent/notification/resources.h"
#include "agent/notification/samples.h"

namespace ptp_agent::notification {

/** Keeps members in the order in which they were written. */
using Json = nlohmann::ordered_json;

/** A random UUID as text. */
std::string new_uuid();

/** RFC 3339 with nanoseconds, UTC. */
std::string time_text(std::uint64_t wall_ns);

/** UTC since 1970. */
std::uint64_t wall_clock_ns();

/**
 * An event of its own id. Without a sample, which says that the node does not know, its `values` is empty and its time
 * is now.
 */
Json event_of(Resource resource, const std::optional<Sample> &sample, const AddressSpace &addresses,
              MemberSpelling spelling);

/** As text. What is no UTF-8 is replaced, so that it never fails. */
std::string text_of(const Json &json);

}  // namespace ptp_agent::notification
