// The parts of the C++ headers that have sources of their own.
#pragma once

#include <string>

#include "emit.h"

namespace codegen {

/** The classes of a structure: const view, view and owner. */
std::string cpp_structure(const structure &type);
/** The class of a message, which owns it. */
std::string cpp_message(const message &type);

/** A comment of a line inside a class. */
std::string cpp_comment(const std::string &text);

}  // namespace codegen
