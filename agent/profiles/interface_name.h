// Names of network interfaces, which become section names of the daemon's file.
#pragma once

#include <string_view>

namespace ptp_agent {

/**
 * Whether the kernel could have an interface of that name and the daemon's file can hold it: 1 to 15 characters, none of
 * them a blank, a control character, '/', '[', ']' or '#', and neither "." nor ".."; "global" and the names of the
 * file's tables mean something else there.
 */
constexpr bool is_interface_name(std::string_view name) {
    if (name.empty() || name.size() > 15 || name == "." || name == ".." || name == "global" ||
        name.starts_with("unicast_master")) {
        return false;
    }
    for (const char character : name) {
        if (character <= ' ' || character >= 0x7F || character == '/' || character == '[' || character == ']' ||
            character == '#' || character == ':') {
            return false;
        }
    }
    return true;
}

}  // namespace ptp_agent
