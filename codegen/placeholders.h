// What {type}, {field_doc} and the other placeholders of templates stand for, by the part of the model.
#pragma once

#include <string>
#include <vector>

#include "model.h"
#include "text.h"

namespace codegen {

/** A field's text with its unit; a primitive's with its encoding. */
std::string documented(const field &row);
std::string documented(const primitive &type);
/** What get_all (with the lengths of texts) and set_all (without) take. */
std::vector<const field *> single_values(const structure &type, bool with_companions);

placeholders primitive_placeholders(const primitive &type);
placeholders enumeration_placeholders(const enumeration &type);
placeholders structure_placeholders(const structure &type);
placeholders field_placeholders(const structure &type, std::size_t index);
placeholders message_placeholders(const message &type);
placeholders payload_placeholders(const message &type, std::size_t index);

}  // namespace codegen
