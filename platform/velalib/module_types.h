// The types of all loaded modules by name, as people write them in files.
#pragma once

#include <string>
#include <string_view>

#include "velalib/handle.h"

namespace velalib {

/** The static record of an enumeration, structure or message; nullptr when no loaded module has it. */
const vela_type_info *find_type(std::string_view name);

bool is_message(const vela_type_info &record);
/** Number of the newest variant; 0 for a record without a table. */
int newest_variant(const vela_type_info &record);

/** What to do about a name that no module has: the nearest name there is, if one is near, of a message or of a type. */
std::string type_advice(std::string_view name, bool of_message);

}  // namespace velalib
