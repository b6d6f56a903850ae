// What texts of values look like, for validators: regular expressions without anchors, in the syntax that XML Schema and
// ECMAScript share. A kind without one has forms that no short expression tells.
#pragma once

#include "values/mac.h"
#include "values/vrf.h"

namespace values {

template <class Value>
inline constexpr const char *pattern_of = nullptr;

template <>
inline constexpr const char *pattern_of<mac> = "[0-9A-Fa-f]{2}([:-][0-9A-Fa-f]{2}){5}";

template <>
inline constexpr const char *pattern_of<vrf> = "[0-9]+(:[0-9]+){3}";

}  // namespace values
