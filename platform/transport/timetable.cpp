// Keeps the times of tasks, and arms one timer for the earliest.
#include "timetable.h"

#include <sys/timerfd.h>
#include <time.h>

#include <algorithm>

#include "base/clocks.h"

namespace vela::transport {

u_int64 now_ms() { return base::clock_ms(CLOCK_MONOTONIC); }

bool timetable::open() {
    timer_ = base::file_descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
    return static_cast<bool>(timer_);
}

void timetable::set(task which, u_int32 milliseconds) {
    due_[which] = std::max<u_int64>(now_ms() + milliseconds, 1);
    if (armed_ == 0 || due_[which] < armed_) {
        rearm();
    }
}

bool timetable::take(task which, u_int64 now) {
    bool is_due = due_[which] != 0 && due_[which] <= now;
    due_[which] = is_due ? 0 : due_[which];
    return is_due;
}

void timetable::rearm() {
    armed_ = 0;
    for (u_int64 due : due_) {
        armed_ = due != 0 && (armed_ == 0 || due < armed_) ? due : armed_;
    }
    itimerspec when = {};  // all zero: never
    when.it_value.tv_sec = static_cast<time_t>(armed_ / 1000);
    when.it_value.tv_nsec = static_cast<long>(armed_ % 1000) * 1'000'000;
    timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &when, nullptr);
}

}  // namespace vela::transport
