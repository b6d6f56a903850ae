// What is known of single names: literals, fields, and all that a word stands in.
#pragma once

#include <optional>
#include <string>

#include "reflection.h"

namespace ptpcfg {

/** All about a literal, or nothing when no enumeration has it. */
std::optional<std::string> literal_text(const std::string &name);

/**
 * All about a field: TYPE.FIELD, also through several structures, or its name alone, then of each type that has it.
 * Nothing when there is none; fails where a type is known, but has no such field.
 */
std::optional<std::string> field_text(const std::string &name);

/** The first sentence of a documentation. */
std::string first_sentence(const char *doc);
/** The documentation of a field, with its unit. */
std::string doc_of(const ptp_cfg_field_description &field);
/** A field's type, with the number of elements of an array. */
std::string type_of(const ptp_cfg_field_description &field);

}  // namespace ptpcfg
