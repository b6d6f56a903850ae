// Names of the C++ headers' classes, enumerators and functions; docs/cpp.md says the rule to users.
#pragma once

#include <string>
#include <vector>

#include "diagnostics.h"
#include "model.h"

namespace codegen {

/**
 * Of a type or literal: without VELA_ and PTP_ before it, in letters of either case. Where that leaves a digit first, a
 * keyword, or a name that the headers have for themselves, PTP_ stays.
 */
std::string cpp_name(const std::string &name);

/**
 * The function that reads a field: its name, with an underscore behind it where the class, or something that all
 * classes have, is called so.
 */
std::string cpp_field_name(const structure &owner, const field &row);

/** Reports types and fields whose names would be the same in C++. */
void check_cpp_names(const model &schema, diagnostics &errors);

}  // namespace codegen
