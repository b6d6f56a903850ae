// A bounded list of events.
#include "agent/serve/event_log.h"

#include <cstdio>
#include <cstdlib>

#include "base/characters.h"
#include "base/clocks.h"

namespace ptp_agent {
namespace {

constexpr std::size_t most_events = 512;

/** Parts of it came from peers: no control character gets through. */
std::string one_line(std::string text) {
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos;) {
        text.replace(at, 1, ";");
    }
    return base::printable(text);
}

}  // namespace

void EventLog::add(Severity severity, const std::string &subject, const std::string &text) {
    const std::string line = one_line(subject.empty() ? text : subject + ": " + text);
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
