// What the emitters of the reference pages share.
#pragma once

#include <string>
#include <string_view>

#include "emit.h"

namespace codegen {

constexpr std::string_view reference_directory = "docs/reference";

/** The page that lists all others. */
void emit_reference_index(const generation &input, output_set &files);

/** Where a subject's table stands on the index page. */
std::string subject_anchor(const std::string &subject);
/** The public header of a subject, as it is included. */
std::string header_of(const std::string &subject);

}  // namespace codegen
