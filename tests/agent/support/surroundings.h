// What tests of the agent stand on: a directory of their own, and a loop that runs until something holds.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "agent/base/event_loop.h"

namespace ptp_agent::test {

/** A directory of the test's own, removed with all that is in it. */
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;
    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

/** Runs the loop until the condition holds; false when it does not within the time. */
bool run_until(EventLoop &loop, const std::function<bool()> &holds, std::uint64_t timeout_ms = 5000);

}  // namespace ptp_agent::test
