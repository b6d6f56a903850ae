/* Preloaded into an agent: the system's clock reads later by the nanoseconds in the file that SHIFTED_CLOCK names, as if
   somebody had stepped it. A test changes the number while the agent runs. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#define EXPORTED __attribute__((visibility("default")))

static const volatile int64_t *shift;

__attribute__((constructor)) static void open_shift(void) {
    const char *path = getenv("SHIFTED_CLOCK");
    const int file = path == NULL ? -1 : open(path, O_RDONLY | O_CLOEXEC);
    void *mapped = file < 0 ? MAP_FAILED : mmap(NULL, sizeof *shift, PROT_READ, MAP_SHARED, file, 0);
    shift = mapped == MAP_FAILED ? NULL : mapped;
    close(file);
}

EXPORTED int clock_gettime(clockid_t clock, struct timespec *time) {
    const int64_t second = 1000000000;
    const int result = (int)syscall(SYS_clock_gettime, clock, time);
    if (result == 0 && clock == CLOCK_REALTIME && shift != NULL) {
        const int64_t now = time->tv_sec * second + time->tv_nsec + *shift;
        time->tv_sec = now / second;
        time->tv_nsec = now % second;
    }
    return result;
}
