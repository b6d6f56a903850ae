// What became of the bundles that came last, for control planes that ask.
#pragma once

#include <deque>
#include <span>
#include <string>
#include <vector>

#include "agent/intent/intent.h"

namespace ptp_agent {

/**
 * A bundle is named by its bytes: "CHECKSUM-LENGTH", the CRC-32 in eight hexadecimal digits. Equal bundles are told apart
 * by the numbers that they get as they arrive.
 */
class AnswerBook {
  public:
    void arrived(std::span<const std::uint8_t> bundle);
    /** The answers to the oldest bundle that has none; they are final once the daemons run with them. */
    void taken(std::vector<Answer> answers);
    /** Ends what was taken. @param refusal  of the daemons, who refused what changed; empty: they did not */
    void settle(const std::string &refusal);

    /**
     * JSON: {"last": N} with the number of the newest bundle, for a name {"last", "number", "state", "answers"}. The state
     * is "unknown" (not here yet, or no longer), "waiting" or "done".
     * @param after  the number that the bundle's is above
     */
    std::string json(std::string_view name, std::uint64_t after) const;

    static std::string name_of(std::span<const std::uint8_t> bundle);

  private:
    enum class State { Arrived, Taken, Settled };
    struct Page {
        std::uint64_t number;
        std::string name;
        State state = State::Arrived;
        std::vector<Answer> answers;
    };

    std::deque<Page> pages_;
    std::uint64_t last_ = 0;
};

/** Answers a line "answers" or "answers NAME AFTER"; empty for another. */
std::string answer_question(const AnswerBook &book, const std::string &line);

}  // namespace ptp_agent
