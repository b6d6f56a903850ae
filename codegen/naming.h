// Names and C types that generated code uses for the parts of the model, and the placeholders made of them.
#pragma once

#include <string>
#include <vector>

#include "model.h"
#include "text.h"

namespace codegen {

/** The C type of a field passed by value. */
std::string value_type(const field &row);
/** The C type of a field, or of its elements, behind a pointer. */
std::string storage_type(const field &row);
/** The enumerator of field_kind. */
std::string kind_name(const field &row);
/** A field's text with its unit; a primitive's with its encoding. */
std::string documented(const field &row);
std::string documented(const primitive &type);
/** A field's name as a parameter. */
std::string parameter_name(const field &row);
/** What get_all (with the lengths of texts) and set_all (without) take. */
std::vector<const field *> single_values(const structure &type, bool with_companions);

std::string type_info_name(const std::string &type_name);
std::string handler_name(const message &type);

placeholders primitive_placeholders(const primitive &type);
placeholders enumeration_placeholders(const enumeration &type);
placeholders structure_placeholders(const structure &type);
placeholders field_placeholders(const structure &type, std::size_t index);
placeholders message_placeholders(const message &type);
placeholders payload_placeholders(const message &type, std::size_t index);

}  // namespace codegen
