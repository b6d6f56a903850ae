// Decides whether a loaded schema holds together, resolves its names and computes its layouts.
#pragma once

#include "diagnostics.h"
#include "model.h"

namespace codegen {

/** Every rule that is broken is reported; the model may be used further only when none is. */
void check_and_resolve(model &schema, diagnostics &errors);

/** Whether a name may be a C and C++ identifier. */
bool is_identifier(const std::string &name);
/** Whether a name is a keyword of C11 or C++20. */
bool is_keyword(const std::string &name);

}  // namespace codegen
