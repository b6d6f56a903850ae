// What the agent tells about itself: JSON for programs and people, text for Prometheus.
#pragma once

#include <string>

#include "agent/serve/agent.h"

namespace ptp_agent {

/** Everything that is known now, with what each reported field is made from. */
std::string status_json(const Agent &agent);
/** What happened last, oldest first. */
std::string events_json(Agent &agent);
/** The intent, as XML of its messages in a JSON list. */
std::string config_json(const Agent &agent);
/** Text exposition format 0.0.4. */
std::string metrics_text(const Agent &agent);

}  // namespace ptp_agent
