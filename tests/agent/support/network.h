// Network namespaces and links that a test makes itself and that end with its process.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "base/file_descriptor.h"

namespace ptp_agent::test {

/**
 * Moves this process into a network namespace of its own (and a user namespace, where it is not root), once.
 * @return empty, or why that is not possible here: the text for GTEST_SKIP()
 */
std::string enter_own_network();

/** Runs a command and gives its exit status; what it says goes to this program's output. */
int run(const std::vector<std::string> &words);

/** Another namespace, for a second machine. Processes that are to live there are started by `enter()` after fork. */
class SecondNamespace {
  public:
    SecondNamespace();
    ~SecondNamespace();
    SecondNamespace(const SecondNamespace &) = delete;
    SecondNamespace &operator=(const SecondNamespace &) = delete;

    /** As `ip link set dev NAME netns` names it. */
    std::string process() const { return std::to_string(holder_); }
    int descriptor() const { return network_.get(); }
    /** Runs a command inside. */
    int run(const std::vector<std::string> &words) const;

  private:
    pid_t holder_ = -1;
    base::file_descriptor network_;
};

/** Two interfaces that are joined, both in this namespace and up. Removed at the end. */
class Link {
  public:
    Link(std::string one, std::string other);
    ~Link();
    Link(const Link &) = delete;
    Link &operator=(const Link &) = delete;

    const std::string &one() const { return one_; }
    const std::string &other() const { return other_; }
    void set_up(bool up) const;

  private:
    std::string one_, other_;
};

}  // namespace ptp_agent::test
