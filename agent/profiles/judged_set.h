// A set of messages that is judged as a whole.
#pragma once

#include "agent/profiles/rules.h"

namespace ptp_agent {

class JudgedSet {
  public:
    /** @param profile  as RuleBook has it; throws as it does */
    explicit JudgedSet(std::string_view profile) : rules_(profile) {}

    /** Merges a message into what is asked; what cannot be merged is a violation. */
    void add(const ptp_cfg_type *type, void *message, vela_handle *handle) {
        const Answer answer = merge(intent_, type, message, handle);
        found_.insert(found_.end(), answer.violations.begin(), answer.violations.end());
    }

    /** What could not be merged, then what breaks a rule. */
    std::vector<Violation> violations() const {
        std::vector<Violation> all = found_;
        const std::vector<Violation> broken = rules_.check(intent_);
        all.insert(all.end(), broken.begin(), broken.end());
        return all;
    }

  private:
    RuleBook rules_;
    Intent intent_{make_handle()};
    std::vector<Violation> found_;
};

}  // namespace ptp_agent
