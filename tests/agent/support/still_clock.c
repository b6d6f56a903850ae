/* Preloaded into a PTP daemon: clocks can be read, and writes succeed without doing anything, so that a test never moves
   the clock of the machine. */
#define _GNU_SOURCE
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timex.h>
#include <time.h>
#include <unistd.h>

#define EXPORTED __attribute__((visibility("default")))

EXPORTED int clock_adjtime(clockid_t clock, struct timex *change) {
    if (change->modes == 0) {
        return (int)syscall(SYS_clock_adjtime, clock, change);
    }
    return TIME_OK;
}

EXPORTED int adjtimex(struct timex *change) { return clock_adjtime(CLOCK_REALTIME, change); }

EXPORTED int clock_settime(clockid_t clock, const struct timespec *time) {
    (void)clock;
    (void)time;
    return 0;
}

EXPORTED int settimeofday(const struct timeval *time, const struct timezone *zone) {
    (void)time;
    (void)zone;
    return 0;
}
