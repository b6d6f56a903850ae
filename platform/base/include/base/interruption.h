// Calls of the system that a signal may interrupt, made until they are through.
#pragma once

#include <errno.h>
#include <fcntl.h>

namespace base {

template <class Call>
auto uninterrupted(Call call) {
    decltype(call()) result;
    do {
        result = call();
    } while (result == -1 && errno == EINTR);
    return result;
}

/** Gives a file so many bytes on its disk; 0 or the error's number. */
inline int reserve(int file, off_t size) {
    int code;
    do {
        code = posix_fallocate(file, 0, size);
    } while (code == EINTR);
    return code;
}

}  // namespace base
