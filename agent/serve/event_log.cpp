// A bounded list of events.
#include "agent/serve/event_log.h"

#include <cstdio>
#include <cstdlib>

#include "base/characters.h"
#include "base/clocks.h"

namespace ptp_agent {
namespace {

constexpr std::size_t most_events = 512;

}  // namespace

void EventLog::add(Severity severity, const std::string &subject, const std::string &text) {
    // Parts of it came from peers.
    const std::string line = base::printable(subject.empty() ? text : subject + ": " + text);
    static const bool is_journal = std::getenv("JOURNAL_STREAM") != nullptr;
    if (is_journal) {
        std::fprintf(stderr, "<%u>%s\n", static_cast<unsigned>(severity), line.c_str());
    } else {
        std::fprintf(stderr, "ptp_agent: %s\n", line.c_str());
    }
    events_.push_back(
        {++last_number_, base::clock_ns(CLOCK_MONOTONIC), base::clock_ns(CLOCK_REALTIME), severity, subject, text});
    if (events_.size() > most_events) {
        events_.pop_front();
    }
}

}  // namespace ptp_agent
