// Data files that are part of the program.
#pragma once

#include <string_view>

namespace ptp_agent {

/** The text of a file by its name without folders: "behaviour.toml". Throws std::logic_error for another. */
std::string_view embedded_file(std::string_view name);

}  // namespace ptp_agent
