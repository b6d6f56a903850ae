// What a channel is to do at a later time, behind one descriptor.
#pragma once

#include "base/file_descriptor.h"
#include "velalib.h"

namespace vela::transport {

// Milliseconds of a clock that nobody sets.
u_int64 now_ms();

class timetable {
  public:
    enum task {
        look_around,      // something that the descriptors do not tell of
        accept_again,     // descriptors or memory had run out
        connect_again,    // the wait between two attempts is over
        tell_of_refused,  // peers were turned away of whom nothing was told yet
        task_count
    };

    // False, with errno, when there is no descriptor.
    bool open();
    // Readable once a task is due.
    int fd() const { return timer_.get(); }

    // Replaces the time of a task.
    void set(task which, u_int32 milliseconds);
    bool is_set(task which) const { return due_[which] != 0; }
    // Whether a task is due; it is then taken from the table.
    bool take(task which, u_int64 now);
    // To be called after the due tasks were taken: sets the descriptor for those that are left.
    void rearm();

  private:
    base::file_descriptor timer_;
    u_int64 due_[task_count] = {};  // 0: not
    u_int64 armed_ = 0;             // when the descriptor becomes readable; 0: never
};

}  // namespace vela::transport
