// The system's clocks as plain numbers.
#pragma once

#include <stdint.h>
#include <time.h>

namespace base {

inline uint64_t clock_ns(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(now.tv_nsec);
}

inline uint64_t clock_ms(clockid_t clock) { return clock_ns(clock) / 1'000'000; }

}  // namespace base
