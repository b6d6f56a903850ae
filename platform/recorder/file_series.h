// The files of a recording: FILE, FILE.1 and so on, the newest first.
#pragma once

#include <string>

#include "base/failure.h"
#include "base/guarded_file.h"
#include "vela_recorder.h"

namespace vela::recorder {

using base::failure;

/** "NAME: cannot DOING: REASON" of an errno. */
inline failure system_failure(const std::string &name, const char *doing, int code) {
    return base::system_failure(code, name + ": cannot " + doing);
}

/** Why a file was not opened. */
inline failure open_failure(const std::string &name, const base::opened_file &none) {
    return {static_cast<u_int32>(none.code), name + ": cannot open: " + none.reason()};
}

/** The name of the n-th file; the one that is written is number 0. */
std::string file_name(const std::string &path, u_int32 number);

/**
 * Whether FILE.1 and the others that are there are recordings, so that they may be renamed and removed.
 * @param allowed  whose they may be, as base/guarded_file.h says it
 */
bool check_older_files(const std::string &path, unsigned allowed, failure &why);

/**
 * Makes the name of FILE free: every file moves on by one, and of the files from number `kept` on none is left. Each
 * step leaves the files readable in order, so that a process may end between any two.
 * @return 0 or an errno
 */
int turn_over(const std::string &path, u_int32 kept);

}  // namespace vela::recorder
