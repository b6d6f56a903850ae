// The exit code for a file that was opened and refused.
#pragma once

#include <filesystem>
#include <string>

#include "failure.h"

namespace ptpcfg {

/** What a file holds is wrong; or it is no file at all, such as a folder, which is no fault of any content. */
inline exit_code code_of_refused(const std::string &path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored) ? exit_code::bad_input : exit_code::io;
}

}  // namespace ptpcfg
