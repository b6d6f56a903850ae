// Answers in gzip for who takes it.
#pragma once

#include <string_view>

#include "http_message.h"

namespace ptp_fleet {

std::string gzip(std::string_view text, int level);

/** Compresses a body that is worth it and not compressed yet. */
void compress(const http_request &request, http_response &response);

}  // namespace ptp_fleet
