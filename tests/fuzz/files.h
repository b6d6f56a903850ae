// Files of the targets, in a folder in memory that goes with the process.
#pragma once

#include <span>
#include <string>

#include "target.h"

namespace fuzz {

const std::string &folder();
void write_file(const std::string &path, std::span<const u_int8> bytes);
octets read_file(const std::string &path);

}  // namespace fuzz
