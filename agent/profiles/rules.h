// The rules of the PTP profiles and of the daemon, as data, and what they find in an intent.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/intent/intent.h"

namespace ptp_agent {

/**
 * All rules there are: those of every clock, those of each profile, and what the daemon can do. Built into the program;
 * make one at start: it reads the files that the program has inside.
 */
class RuleBook {
  public:
    /** @param profile  "default", "g8275.1" or "g8275.2": judge every clock by it; empty: each by its own clk_profile.
     *  Throws std::invalid_argument for another. */
    explicit RuleBook(std::string_view profile = {});
    ~RuleBook();
    RuleBook(RuleBook &&) noexcept;

    /** Every violation in the intent, by object and then by rule. */
    std::vector<Violation> check(const Intent &intent) const;
    std::vector<Violation> check(const ClockIntent &clock) const;

    /** Names that the constructor takes. */
    static std::vector<std::string> profiles();

    struct Subject;

  private:
    struct Rules;

    void run(std::span<const Subject> subjects, const std::string &profile, std::vector<Violation> &found) const;

    std::unique_ptr<const Rules> rules_;
};

}  // namespace ptp_agent
