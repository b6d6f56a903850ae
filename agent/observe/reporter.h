/**
 * From observations to report messages: everything once, then what changed. It keeps what was said, never what is to be
 * said: each report is made from the observation at hand.
 */
#pragma once

#include <map>
#include <string>
#include <vector>

#include "agent/observe/report_maker.h"
#include "agent/observe/time_jumps.h"

namespace ptp_agent {

struct ReportInput {
    const Observation *now = nullptr;
    const ClockIntent *intent = nullptr;      ///< null where nothing was asked
    std::optional<std::int64_t> clock_state;  ///< number of ptp_clock_state
    bool hears_masters = false;               ///< an empty list of foreign masters means that there are none
    bool full = false;                        ///< say everything again
};

/** A message to be sent, with what it is about. */
struct Report {
    const ReportRow *row;
    std::string subject;  ///< "", "port 1", "part 2", ...
    Record message;
};

class Reporter {
  public:
    /**
     * @param handle         should track state
     * @param statistics_ns  how often counters are looked at; in between they count as unchanged
     */
    Reporter(SharedHandle handle, std::uint64_t statistics_ns);

    /** Events first, then states. What the daemon does not say now, as when it does not answer, is not reported. */
    std::vector<Report> report(const ReportInput &input);

    const std::optional<MasterInfo> &master() const { return master_; }

  private:
    using Sources = std::vector<ReportSource>;

    void take_statistics(const Observation &now, bool full);
    std::optional<MasterInfo> identify_master(const ReportInput &input) const;
    void follow_master(const ReportInput &input, std::vector<Report> &reports);
    void tell_jump(const ReportInput &input, std::vector<Report> &reports);
    Sources sources_of(Scope scope, const ReportInput &input) const;
    ReportSource clock_source(const ReportInput &input) const;
    void port_source(const ReportInput &input, std::size_t index, ReportSource &source) const;
    void add_state(const ReportMaker &maker, const ReportInput &input, std::vector<Report> &reports);
    void add_parts(const ReportMaker &maker, const ReportInput &input, std::vector<Report> &reports);
    void add(const ReportMaker &maker, const std::string &subject, ReportValues values, bool full,
             std::vector<Report> &reports);

    SharedHandle handle_;
    std::uint64_t statistics_ns_;
    std::vector<ReportMaker> makers_;
    ReportMaker selected_, set_time_, step_time_;
    std::map<std::string, ReportValues> told_;
    std::map<const ReportRow *, std::size_t> told_lengths_;  // of lists that go in parts
    std::map<std::uint16_t, PortCounters> counters_;         // by the daemon's port number
    std::optional<PortCounters> total_;
    std::uint64_t counted_ns_ = 0;
    bool answered_ = false;  // the daemon, last time
    std::optional<PortIdentity> parent_;
    std::optional<MasterInfo> master_, former_master_;
    bool master_updated_ = false;
    TimeJumps jumps_;
};

}  // namespace ptp_agent
