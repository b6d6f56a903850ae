// Small files that are read and replaced whole.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace ptp_agent {

/** The content, or nothing when there is no such file or it cannot be read; errno says why. */
std::optional<std::string> read_file(const std::string &path);

/**
 * Replaces the file by one with that content, which is whole before it has the name.
 * @return empty, or what failed, for people; the file is then the former one
 */
std::string write_file(const std::string &path, const std::string &content, mode_t mode = 0644);

}  // namespace ptp_agent
