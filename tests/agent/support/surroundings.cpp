#include "surroundings.h"

#include <stdlib.h>

#include <filesystem>

#include "base/clocks.h"

namespace ptp_agent::test {

TemporaryDirectory::TemporaryDirectory() {
    char name[] = "/tmp/ptp_agent_test.XXXXXX";
    path_ = mkdtemp(name);
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

bool run_until(EventLoop &loop, const std::function<bool()> &holds, std::uint64_t timeout_ms) {
    const std::uint64_t end = base::clock_ms(CLOCK_MONOTONIC) + timeout_ms;
    while (!holds()) {
        if (base::clock_ms(CLOCK_MONOTONIC) >= end) {
            return false;
        }
        loop.run_once(10);
    }
    return true;
}

}  // namespace ptp_agent::test
