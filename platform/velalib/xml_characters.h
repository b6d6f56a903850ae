// What XML says of single characters, names and references.
#pragma once

#include <string_view>

#include "velalib/types.h"

namespace velalib {

inline bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

/** Where a name ends that begins at a position: there when none does. */
size_t name_end(std::string_view text, size_t from);

/** Length of one of XML's own references at the start of a text; 0 when there is none. */
size_t reference_length(std::string_view text);

/** Whether a declared encoding is one whose bytes are read as they stand. */
bool is_ascii_or_utf8(std::string_view name);

}  // namespace velalib
