// Part of each library that opens files; it needs nothing of C++ at run time.
#include "guarded_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace guarded_file {
namespace {

int refuse(int code, const char *clause, const char *&refusal) {
    refusal = clause;
    errno = code;
    return -1;
}

}  // namespace

int open_regular(const char *path, int flags, mode_t mode, unsigned allowed, const char *&refusal) {
    refusal = nullptr;
    const int follow = (allowed & allow_links) != 0 ? 0 : O_NOFOLLOW;
    const int fd = open(path, flags | follow | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode);
    if (fd < 0) {
        struct stat named;
        if (errno == ENXIO) {  // a socket, or a pipe that nobody reads
            return refuse(EINVAL, "it is no regular file", refusal);
        }
        if (errno == EISDIR) {
            return refuse(EINVAL, "it is a folder, no file", refusal);
        }
        if (errno == ELOOP && follow != 0 && lstat(path, &named) == 0 && S_ISLNK(named.st_mode)) {
            return refuse(ELOOP, "it is a symbolic link, which is not followed here", refusal);
        }
        return -1;
    }
    // What was opened is asked, not the name: that may lead elsewhere by now.
    struct stat opened;
    int code = fstat(fd, &opened) != 0 ? errno : 0;
    if (code == 0 && !S_ISREG(opened.st_mode)) {
        code = EINVAL;
        refusal = S_ISDIR(opened.st_mode) ? "it is a folder, no file" : "it is no regular file";
    } else if (code == 0 && (allowed & allow_other_users) == 0 && opened.st_uid != geteuid()) {
        code = EACCES;
        refusal = "it belongs to another user";
    }
    if (code != 0) {
        close(fd);
        errno = code;
        return -1;
    }
    return fd;
}

}  // namespace guarded_file
