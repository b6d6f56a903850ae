// The runtime's primitive types by name: bytes of the wire as text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "reflection.h"

namespace ptpcfg {

/** The value that the bytes of a primitive hold, as people read it. */
std::string value_text(const ptp_cfg_field_description &field, std::string_view bytes);

/** A number in network byte order. */
u_int64 read_number(std::string_view bytes);

/** A text in quotes, its control characters escaped. */
std::string quoted(std::string_view text);

}  // namespace ptpcfg
