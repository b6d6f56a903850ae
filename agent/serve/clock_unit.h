// One clock: its daemon, what is asked of it, what it does, and the reports of that.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/holdover/holdover.h"
#include "agent/management/ptp4l.h"
#include "agent/observe/announce_listener.h"
#include "agent/observe/reporter.h"
#include "agent/serve/configuration.h"
#include "agent/serve/event_log.h"
#include "agent/supervise/daemon_control.h"

namespace ptp_agent {

struct ClockCallbacks {
    /** Reports of this clock, in order. */
    std::function<void(const std::vector<Report> &)> publish;
    /** An observation has been dealt with. */
    std::function<void()> observed;
};

class ClockUnit {
  public:
    ClockUnit(EventLoop &loop, const AgentConfiguration &configuration, std::uint8_t handle, EventLog &log,
              ClockCallbacks callbacks);

    /** Brings the daemon there. A clock without a port has none; the answer comes all the same. */
    void apply(const ClockIntent &intent, DaemonControl::Refusal refusal,
               std::function<void(const ApplyResult &)> done);
    /** What apply() would do. */
    Plan plan_of(const ClockIntent &intent) const;
    /** Everything is reported again with the next observation, which is made now. */
    void request_full();
    /** Takes the new values that need no restart. */
    void reconfigure(const AgentConfiguration &configuration);
    /** The daemon is asked to end. */
    void stop();
    bool has_ended() const { return control_.supervisor().process() == 0; }

    std::uint8_t handle() const { return handle_; }
    const std::optional<ClockIntent> &intent() const { return intent_; }
    const Observation &last_observation() const { return last_; }
    const HoldoverReport &holdover() const { return holdover_report_; }
    const DaemonControl &control() const { return control_; }
    const Ptp4l &daemon() const { return daemon_; }
    const std::optional<MasterInfo> &master() const { return reporter_.master(); }
    std::uint64_t reports() const { return reports_; }
    std::uint64_t polls() const { return polls_; }
    bool hears_masters() const { return listener_.is_allowed(); }

  private:
    std::string subject() const { return "clock " + std::to_string(handle_); }
    Rendering wanted_rendering(const ClockIntent &intent) const;
    void poll();
    void observed(const Observation &found);
    void decide(const Observation &found);
    void announce(const GrandmasterSettings &settings);
    void report(const Observation &found);
    void note_changes(const Observation &found);
    void process_changed(ProcessState state, const std::string &why);

    EventLoop &loop_;
    const AgentConfiguration *configuration_;
    std::uint8_t handle_;
    EventLog &log_;
    ClockCallbacks callbacks_;
    Ptp4l daemon_;
    DaemonControl control_;
    AnnounceListener listener_;
    Holdover holdover_;
    HoldoverReport holdover_report_;
    SharedHandle report_handle_;
    Reporter reporter_;
    std::optional<ClockIntent> intent_;
    bool is_announcement_pending_ = false;
    std::optional<GrandmasterSettings> announced_;  // what holdover wants announced
    Observation last_;
    bool is_observing_ = false, poll_again_ = false, full_wanted_ = true, is_stopped_ = false;
    std::uint64_t next_full_ns_ = 0;
    std::uint64_t reports_ = 0, polls_ = 0;
    Timer timer_;
};

}  // namespace ptp_agent
