// A bar that shows how far work has come, on a terminal only.
#pragma once

#include <chrono>
#include <string>

#include "velalib/types.h"

namespace ptpcfg {

class progress {
  public:
    progress();
    ~progress();
    progress(const progress &) = delete;
    progress &operator=(const progress &) = delete;

    /** Shows the bar when it was not drawn just now. */
    void show(double fraction, u_int64 messages);
    /** Draws it in any case. */
    void draw(double fraction, u_int64 messages);
    /** Removes the bar, so that a line of text can be written. */
    void clear();

  private:
    using clock = std::chrono::steady_clock;
    bool is_terminal_;
    bool is_drawn_ = false;
    clock::time_point next_;
};

}  // namespace ptpcfg
