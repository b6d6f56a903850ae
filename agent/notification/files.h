// Small files, whole.
#pragma once

#include <optional>
#include <string>

namespace ptp_agent::notification {

/** Nothing, with errno, where it cannot be read. */
std::optional<std::string> file_text(const std::string &path);

/**
 * Replaces a file by a new one that is whole and on the disk before it has the name. On failure the former one stays.
 * @return empty, or what failed, for people
 */
std::string replace_file(const std::string &path, const std::string &text);

}  // namespace ptp_agent::notification
