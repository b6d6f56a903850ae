// A 128-bit hash of what a type is, for the manifest. It changes when the type's definition does.
#pragma once

#include <string>

#include "model.h"

namespace codegen {

/** 128-bit FNV-1a as 32 hexadecimal digits. */
std::string hash_text(const std::string &text);

/**
 * The hash of a type whose schema row states none. It covers, one item a line: the kind and name of the type, and
 * per value "number literal since", per field "name type capacity since", per payload its type. Texts meant for
 * readers and identities are left out: rewording a comment is no new definition.
 */
std::string definition_of(const enumeration &type);
std::string definition_of(const structure &type);
std::string definition_of(const message &type);

}  // namespace codegen
