// What happened last, for people and tools, and lines for the journal.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

namespace ptp_agent {

enum class Severity : std::uint8_t { Error = 3, Warning = 4, Notice = 5, Info = 6 };  ///< as syslog numbers them

struct LoggedEvent {
    std::uint64_t number = 0;  ///< from 1; gaps are events that are no longer kept
    std::uint64_t monotonic_ns = 0;
    std::uint64_t wall_ns = 0;
    Severity severity = Severity::Info;
    std::string subject;  ///< "clock 1", "control plane unix:/run/ptp.sock"; empty: the agent
    std::string text;
};

class EventLog {
  public:
    /** Keeps the event and writes it to standard error, in the journal's form where that is read by the journal. */
    void add(Severity severity, const std::string &subject, const std::string &text);
    const std::deque<LoggedEvent> &events() const { return events_; }

  private:
    std::deque<LoggedEvent> events_;
    std::uint64_t last_number_ = 0;
};

}  // namespace ptp_agent
