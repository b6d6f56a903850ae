// Stands before the system's calls, and fails one of them when it is told to.
#include "failing_calls.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/uio.h>
#include <unistd.h>

#include <string>

namespace {

/** One way to fail: an error, or 0 for doing less than was asked. */
struct way {
    int error;
    const char *name;
};
#define WAY(error) \
    { error, #error }
constexpr way less_than_asked = {0, "less than asked"};

// Shared by all threads: a test has one at work.
unsigned left;  // calls until the one that fails; 0: none does
unsigned chosen_way;
test::failed_call last;

void report(const char *name, const char *how) {
    if (const char *path = getenv("PTP_CFG_FAILED_CALL")) {
        const int fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC, 0600));
        const std::string line = std::string(name) + ": " + how + "\n";
        syscall(SYS_write, fd, line.data(), line.size());
        syscall(SYS_close, fd);
    }
}

/** The way in which this call is to fail, or nullptr. Packets are not cut. */
template <size_t count>
const way *failure(const char *name, const way (&ways)[count], bool is_packet = false) {
    if (left == 0 || --left != 0) {
        return nullptr;
    }
    last.name = name;
    if (chosen_way >= count || (is_packet && ways[chosen_way].error == 0)) {
        report(name, "");
        return nullptr;
    }
    last.way = ways[chosen_way].name;
    last.is_harmless = ways[chosen_way].error == 0 || ways[chosen_way].error == EINTR;
    report(name, last.way);
    errno = ways[chosen_way].error;
    return &ways[chosen_way];
}

bool is_packet(int socket) {
    int type = SOCK_STREAM;
    socklen_t size = sizeof type;
    const int before = errno;
    getsockopt(socket, SOL_SOCKET, SO_TYPE, &type, &size);
    errno = before;
    return type != SOCK_STREAM;
}

const void *first_octet(const iovec *parts) {
    while (parts->iov_len == 0) {
        ++parts;
    }
    return parts->iov_base;
}

template <class Function>
Function *own(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

[[gnu::constructor]] void read_environment() {
    if (const char *wanted = getenv("PTP_CFG_FAIL_CALL")) {
        unsigned number = 0, of_it = 0;
        if (sscanf(wanted, "%u:%u", &number, &of_it) == 2) {
            test::fail_call(number, of_it);
        }
    }
}

}  // namespace

void test::fail_call(unsigned number, unsigned of_it) {
    last = {};
    chosen_way = of_it;
    left = number;
}

test::failed_call test::stop_failing() {
    left = 0;
    return last;
}

/** A call whose failures are all errors. */
#define PLAIN_CALL(result, name, parameters, arguments, ...)                  \
    extern "C" result name parameters {                                       \
        static auto *const next = own<result parameters>(#name);              \
        static constexpr way ways[] = {__VA_ARGS__};                          \
        return failure(#name, ways) != nullptr ? result(-1) : next arguments; \
    }
/** A call that may take or give less than `count`. */
#define COUNTED_CALL(name, packets, parameters, arguments, ...)       \
    extern "C" ssize_t name parameters {                              \
        static auto *const next = own<ssize_t parameters>(#name);     \
        static constexpr way ways[] = {less_than_asked, __VA_ARGS__}; \
        if (const way *fails = failure(#name, ways, packets)) {       \
            if (fails->error != 0) {                                  \
                return -1;                                            \
            }                                                         \
            count = count > 1 ? 1 : count;                            \
        }                                                             \
        return next arguments;                                        \
    }

COUNTED_CALL(read, false, (int fd, void *bytes, size_t count), (fd, bytes, count), WAY(EINTR), WAY(EIO))
COUNTED_CALL(pread, false, (int fd, void *bytes, size_t count, off_t place), (fd, bytes, count, place), WAY(EINTR),
             WAY(EIO))
COUNTED_CALL(write, false, (int fd, const void *bytes, size_t count), (fd, bytes, count), WAY(EINTR), WAY(ENOSPC),
             WAY(EPIPE))
COUNTED_CALL(pwrite, false, (int fd, const void *bytes, size_t count, off_t place), (fd, bytes, count, place),
             WAY(EINTR), WAY(ENOSPC))
COUNTED_CALL(send, is_packet(fd), (int fd, const void *bytes, size_t count, int flags), (fd, bytes, count, flags),
             WAY(EINTR), WAY(ENOBUFS), WAY(EPIPE))
COUNTED_CALL(recv, is_packet(fd), (int fd, void *bytes, size_t count, int flags), (fd, bytes, count, flags), WAY(EINTR),
             WAY(ENOMEM), WAY(ECONNRESET))

extern "C" ssize_t sendmsg(int fd, const msghdr *message, int flags) {
    static auto *const next = own<ssize_t(int, const msghdr *, int)>("sendmsg");
    static constexpr way ways[] = {less_than_asked, WAY(EINTR), WAY(ENOBUFS), WAY(EPIPE)};
    if (const way *fails = failure("sendmsg", ways, is_packet(fd))) {
        return fails->error != 0 ? -1 : send(fd, first_octet(message->msg_iov), 1, flags);
    }
    return next(fd, message, flags);
}

extern "C" ssize_t writev(int fd, const iovec *parts, int count) {
    static auto *const next = own<ssize_t(int, const iovec *, int)>("writev");
    static constexpr way ways[] = {less_than_asked, WAY(EINTR), WAY(ENOSPC), WAY(EPIPE)};
    if (const way *fails = failure("writev", ways)) {
        return fails->error != 0 ? -1 : write(fd, first_octet(parts), 1);
    }
    return next(fd, parts, count);
}

extern "C" int open(const char *path, int flags, ...) {
    static auto *const next = own<int(const char *, int, ...)>("open");
    static constexpr way ways[] = {WAY(EMFILE), WAY(EINTR), WAY(ENOMEM)};
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return failure("open", ways) != nullptr ? -1 : next(path, flags, mode);
}

PLAIN_CALL(int, socket, (int family, int type, int protocol), (family, type, protocol), WAY(EMFILE), WAY(ENOBUFS))
PLAIN_CALL(int, accept4, (int fd, sockaddr *peer, socklen_t *size, int flags), (fd, peer, size, flags), WAY(EMFILE),
           WAY(EINTR), WAY(ENOBUFS), WAY(ECONNABORTED))
PLAIN_CALL(int, connect, (int fd, const sockaddr *to, socklen_t size), (fd, to, size), WAY(ENOBUFS), WAY(EAGAIN),
           WAY(ECONNREFUSED))
PLAIN_CALL(int, bind, (int fd, const sockaddr *at, socklen_t size), (fd, at, size), WAY(ENOBUFS), WAY(EACCES))
PLAIN_CALL(int, listen, (int fd, int most), (fd, most), WAY(EADDRINUSE))
PLAIN_CALL(int, eventfd, (unsigned value, int flags), (value, flags), WAY(EMFILE), WAY(ENOMEM))
PLAIN_CALL(int, timerfd_create, (int clock, int flags), (clock, flags), WAY(EMFILE), WAY(ENOMEM))
PLAIN_CALL(int, epoll_create1, (int flags), (flags), WAY(EMFILE), WAY(ENOMEM))
PLAIN_CALL(int, epoll_ctl, (int fd, int what, int of, epoll_event *event), (fd, what, of, event), WAY(ENOSPC),
           WAY(ENOMEM))
PLAIN_CALL(int, epoll_wait, (int fd, epoll_event *events, int room, int time), (fd, events, room, time), WAY(EINTR))
PLAIN_CALL(int, poll, (pollfd * all, nfds_t count, int time), (all, count, time), WAY(EINTR), WAY(ENOMEM))
PLAIN_CALL(int, rename, (const char *from, const char *to), (from, to), WAY(ENOSPC), WAY(EACCES))
PLAIN_CALL(int, ftruncate, (int fd, off_t size), (fd, size), WAY(EINTR), WAY(ENOSPC))
PLAIN_CALL(int, flock, (int fd, int how), (fd, how), WAY(EINTR), WAY(ENOLCK))
PLAIN_CALL(int, fsync, (int fd), (fd), WAY(EINTR), WAY(EIO), WAY(ENOSPC))

extern "C" int posix_fallocate(int fd, off_t from, off_t count) {
    static auto *const next = own<int(int, off_t, off_t)>("posix_fallocate");
    static constexpr way ways[] = {WAY(EINTR), WAY(ENOSPC)};
    const way *fails = failure("posix_fallocate", ways);
    return fails != nullptr ? fails->error : next(fd, from, count);  // its result is the error
}

extern "C" void *mmap(void *at, size_t size, int allowed, int flags, int fd, off_t from) {
    static constexpr way ways[] = {WAY(ENOMEM)};
    if (fd >= 0 && failure("mmap", ways) != nullptr) {
        return MAP_FAILED;
    }
    // Called before dlsym() can be: by the loader's and the sanitizers' own allocators.
    return reinterpret_cast<void *>(syscall(SYS_mmap, at, size, allowed, flags, fd, from));
}
