// A request on its way through the API.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agent/notification/api.h"

namespace ptp_agent::notification {

struct Api::Call {
    const Request &request;
    const Answer &answer;
    std::vector<std::string_view> parts;  ///< of the path behind the prefix
    std::string base;                     ///< the URL up to there
};

}  // namespace ptp_agent::notification
