// Sources that put bytes into a section which is not loaded.
#pragma once

#include <string>

namespace codegen {

/**
 * A C++ source whose object holds `content` in the section. A section attribute on an object would make the
 * section a loaded one, so the bytes are given to the assembler.
 */
std::string section_source(const std::string &purpose, const std::string &section, const std::string &content);

}  // namespace codegen
