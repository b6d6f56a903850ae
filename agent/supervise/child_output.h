// What a child writes: handed on to the agent's standard output, and its last lines kept for who asks why it ended.
#pragma once

#include <string>
#include <string_view>

#include "agent/base/event_loop.h"
#include "base/file_descriptor.h"

namespace ptp_agent {

/**
 * A pipe that never makes the child wait: what does not fit in, because the agent is busy, is lost. Neither does it make
 * the agent wait for who reads its own output.
 */
class ChildOutput {
  public:
    /** Throws std::system_error when there is no pipe to be had. */
    ChildOutput(EventLoop &loop, bool hands_on);

    /** For the child's standard output and error. */
    int child_end() const { return writing_.get(); }
    /** The child has that end now. */
    void close_child_end() { writing_ = base::file_descriptor(); }
    /** Takes what is there now, as after the child's end. */
    void read();
    /** The last two lines that say something, joined; bounded. Programs give a reason and then what failed by it. */
    std::string last_words() const;

  private:
    void take(std::string_view text);

    bool hands_on_;
    base::file_descriptor reading_, writing_;
    std::string last_;  // text from the end of what was written
    EventSource readable_;
};

}  // namespace ptp_agent
