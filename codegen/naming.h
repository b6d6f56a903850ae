// Names and C types that generated code uses for the parts of the model.
#pragma once

#include <string>

#include "model.h"

namespace codegen {

/** The C type of a field passed by value. */
std::string value_type(const field &row);
/** The C type of a field, or of its elements, behind a pointer. */
std::string storage_type(const field &row);
/** The enumerator of field_kind. */
std::string kind_name(const field &row);
/** A field's name as a parameter. */
std::string parameter_name(const field &row);
std::string type_info_name(const std::string &type_name);
std::string handler_name(const message &type);

}  // namespace codegen
