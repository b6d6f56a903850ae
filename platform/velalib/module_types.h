// The types of all loaded modules by name, as people write them in files.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include "modules.h"

namespace velalib {

/** A name field of a type_info, which need not be terminated. */
inline std::string_view text_of(const char (&field)[64]) { return {field, strnlen(field, sizeof field)}; }

/** The first type of the loaded modules for which `test` holds; nullptr when there is none. No module goes meanwhile. */
template <typename predicate>
vela_type_info *find_type_if(predicate test) {
    const held_modules held;
    for (const vela_module *module = vela_module_tot_root.first; module != nullptr; module = module->next) {
        for (vela_type_info *const *each = module->types; each != nullptr && *each != nullptr; ++each) {
            if (test(**each)) {
                return *each;
            }
        }
    }
    return nullptr;
}

/** The static type_info of an enumeration, structure or message; nullptr when no loaded module has it. */
const vela_type_info *find_type(std::string_view name);

bool is_message(const vela_type_info &type_info);
/** Number of the latest variant; 0 for a type_info without a table. */
int8 latest_variant(const vela_type_info &type_info);

/** What to do about a name that no module has: the nearest name there is, if one is near, of a message or of a type. */
std::string type_advice(std::string_view name, bool of_message);

}  // namespace velalib
