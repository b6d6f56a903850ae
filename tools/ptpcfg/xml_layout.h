// XML that the library has rendered, for people.
#pragma once

#include <string>
#include <string_view>

namespace ptpcfg {

/** Adds rendered XML with a line for each element, indented; `depth` elements stand around it. */
void append_indented(std::string_view rendered, size_t depth, std::string &text);

}  // namespace ptpcfg
