// Opening a file by a name under which somebody else may have put something: a pipe, a link, a file of their own.
#pragma once

#include <sys/types.h>

namespace guarded_file {

/** What may stand under the name, beside a regular file that this process's effective user owns. */
enum : unsigned { only_own = 0, allow_other_users = 1, allow_links = 2, allow_all = allow_other_users | allow_links };

/**
 * Opens a regular file and nothing else. It never waits for the other end of a pipe, and the descriptor does not survive
 * exec. What it refuses is as it was, but for an empty file that O_CREAT made through a link.
 * @param flags    as for open(2); O_CLOEXEC and what guarding needs are added
 * @param mode     of a file that O_CREAT makes
 * @param allowed  allow_..., or-ed
 * @param refusal  receives a static clause, such as "it belongs to another user", or nullptr when errno says it all
 * @return the descriptor, or -1 with errno: EINVAL (no regular file), ELOOP (a link), EACCES (another user's), or that
 *         of open
 */
int open_regular(const char *path, int flags, mode_t mode, unsigned allowed, const char *&refusal);

}  // namespace guarded_file
