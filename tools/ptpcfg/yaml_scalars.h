// What scalars of YAML mean that stand without quotes, by its core schema.
#pragma once

#include <string>
#include <string_view>

namespace ptpcfg {

/** A plain scalar as JSON: true, false, a whole number, or else a string. */
std::string json_of_plain_scalar(const std::string &value);

/** Whether every reader of YAML takes a text for that text when it stands without quotes. */
bool may_stand_plain(std::string_view text);

}  // namespace ptpcfg
