// Commands out of JSON, and names that can be part of a subject.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ptp_fleet {

/** Letters, digits, - and _, as elements are called. */
bool is_subject_name(const std::string &text);

/** JSON of a message with the flags of the fields that it gives, where it does not say so itself. */
std::string with_state_flags(const std::string &json);

/**
 * The bytes of a command, which says what its JSON gives and nothing else: elements leave other fields as they are. Throws std::runtime_error, which names the place, for what is none.
 * @param message  receives its short name
 */
std::vector<std::uint8_t> encode_command(const std::string &json, std::string &message);

}  // namespace ptp_fleet
