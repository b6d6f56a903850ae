// Values as JSON writes them.
#pragma once

#include <string>
#include <string_view>

namespace ptpcfg {

/** A string in quotes. Bytes that are no UTF-8 become U+FFFD. */
std::string json_string(std::string_view text);

}  // namespace ptpcfg
