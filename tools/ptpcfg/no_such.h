// What is said of a name that nothing has.
#pragma once

#include "base/characters.h"
#include "reflection.h"

namespace ptpcfg {

/** "there is no WHAT 'NAME'" and a suggestion or a semicolon: where the names are listed is to follow. */
inline std::string no_such(const char *what, const std::string &name, const std::vector<std::string> &known) {
    const std::string hint = suggestion(name, known);
    return std::string("there is no ") + what + " '" + base::printable(name) + "'" + (hint.empty() ? ";" : hint);
}

}  // namespace ptpcfg
