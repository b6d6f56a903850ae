// Opens regular files, and says why another is not opened.
#include "base/guarded_file.h"

#include <errno.h>
#include <fcntl.h>

#include "base/interruption.h"

namespace base {
namespace {

constexpr char a_folder[] = "it is a folder, no file";
constexpr char no_regular_file[] = "it is no regular file";

opened_file refuse(int code, const char *clause) {
    opened_file none = {};
    none.code = code;
    none.refusal = clause;
    return none;
}

}  // namespace

opened_file open_regular(const char *path, int flags, unsigned allowed, mode_t mode) {
    const int follow = (allowed & allow_links) != 0 ? 0 : O_NOFOLLOW;
    opened_file opened = {};
    opened.file = file_descriptor(
        uninterrupted([=] { return open(path, flags | follow | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode); }));
    if (!opened) {
        opened.code = errno;
        struct stat named;
        if (opened.code == ENXIO) {  // a socket, or a pipe that nobody reads
            return refuse(EINVAL, no_regular_file);
        }
        if (opened.code == EISDIR) {
            return refuse(EINVAL, a_folder);
        }
        if (opened.code == ELOOP && follow != 0 && lstat(path, &named) == 0 && S_ISLNK(named.st_mode)) {
            return refuse(ELOOP, "it is a symbolic link, which is not followed here");
        }
        return opened;
    }
    // What was opened is asked, not the name: that may lead elsewhere by now.
    if (fstat(opened.file.get(), &opened.status) != 0) {
        return refuse(errno, nullptr);
    }
    if (!S_ISREG(opened.status.st_mode)) {
        return refuse(EINVAL, S_ISDIR(opened.status.st_mode) ? a_folder : no_regular_file);
    }
    if ((allowed & allow_other_users) == 0 && opened.status.st_uid != geteuid()) {
        return refuse(EACCES, "it belongs to another user");
    }
    return opened;
}

}  // namespace base
