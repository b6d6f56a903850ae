// The clock's JSON text, for contenders that are to write and read the same.
#pragma once

#include <string>

#include "clock_xml/clock_tree.h"

namespace bench {

/** The text that the library writes of the example clock. */
std::string library_json();

}  // namespace bench
