// Opening a file by a name under which somebody else may have put something: a pipe, a link, a file of their own.
#pragma once

#include <string.h>
#include <sys/stat.h>

#include "base/file_descriptor.h"

namespace base {

/** What may stand under the name, beside a regular file that this process's effective user owns. */
enum : unsigned { only_own = 0, allow_other_users = 1, allow_links = 2, allow_all = allow_other_users | allow_links };

/** The same from the options of an interface, which are numbers. */
constexpr unsigned allowed_by(unsigned other_users, unsigned links) {
    return (other_users != 0 ? allow_other_users : only_own) | (links != 0 ? allow_links : only_own);
}

struct opened_file {
    file_descriptor file;
    struct stat status;
    int code = 0;  // why there is no file: EINVAL (not a regular one), ELOOP (a link), EACCES, or open's
    const char *refusal = nullptr;  // the same as a clause, where the system's own words would not do

    size_t size() const { return static_cast<size_t>(status.st_size); }
    explicit operator bool() const { return static_cast<bool>(file); }
    const char *reason() const { return refusal != nullptr ? refusal : strerror(code); }
};

/**
 * Opens a regular file and nothing else. It never waits for the other end of a pipe, and the descriptor does not survive
 * exec. What it refuses is as it was, but for an empty file that O_CREAT made through a link.
 * @param flags    as for open(2); O_CLOEXEC and what guarding needs are added
 * @param allowed  allow_..., or-ed
 * @param mode     of a file that O_CREAT makes
 */
opened_file open_regular(const char *path, int flags, unsigned allowed, mode_t mode = 0);

}  // namespace base
