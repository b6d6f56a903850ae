// Preloaded into a process, it puts each wait for descriptors off until a signal was handled, five seconds at most: the
// signal then comes after the process has looked for one and before it waits.
#include <dlfcn.h>
#include <poll.h>
#include <sys/epoll.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>

namespace {

void wait_for_signal() {
    if (const char *sign = std::getenv("LATE_WAIT_SIGN")) {
        [[maybe_unused]] const int done = ::symlink("it stands before a wait", sign);
    }
    const timespec longest = {5, 0};
    nanosleep(&longest, nullptr);
}

template <typename Function>
Function next(Function, const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int poll(pollfd *watched, nfds_t count, int timeout) {
    if (timeout != 0) {
        wait_for_signal();
    }
    return next(&poll, "poll")(watched, count, timeout);
}

extern "C" __attribute__((visibility("default"))) int epoll_wait(int descriptor, epoll_event *events, int most,
                                                                 int timeout) {
    if (timeout != 0) {
        wait_for_signal();
    }
    return next(&epoll_wait, "epoll_wait")(descriptor, events, most, timeout);
}
