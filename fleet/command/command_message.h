// Commands out of JSON, and names that can be part of a subject.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ptp_fleet {

/** Letters, digits, - and _, as elements are called. */
bool is_subject_name(const std::string &text);

/**
 * The bytes of a command. Throws std::runtime_error, which names the place, for what is none.
 * @param message  receives its short name
 */
std::vector<std::uint8_t> encode_command(const std::string &json, std::string &message);

}  // namespace ptp_fleet
