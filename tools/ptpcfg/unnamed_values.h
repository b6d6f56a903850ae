// Values of enumerations that have no literal: the library writes "value out of range" in their place, which loses them.
// Here they are written as their numbers.
#pragma once

#include <string>

#include "session.h"

namespace ptpcfg {

/**
 * In XML that the library has rendered of a record, from a position on: the number in place of
 * `<TYPE value out of range/>`, which reads back (VELA_XML_NUMBERS) and is well-formed.
 */
void number_in_xml(const record &record, size_t from, std::string &text);

/** In a record's printed text: the number, and the line feed that the library leaves out there. */
void number_in_print(const record &record, size_t from, std::string &text);

}  // namespace ptpcfg
