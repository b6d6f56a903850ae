/**
 * What the agent knows of a PTP daemon: the one interface between the daemon-specific folders (`management/`, `render/`)
 * and the rest. A port of the agent to another daemon implements `Daemon` and touches nothing else.
 *
 * Numbers are in host byte order and carry the units of IEEE 1588; a value that the daemon did not say is absent
 * (`Observed` without a value), never a guess.
 */
#ifndef PTP_AGENT_DAEMON_H
#define PTP_AGENT_DAEMON_H

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ptp_agent {

class ClockIntent;  // intent/clock_intent.h: what the control plane asked of one clock

/** A value as the daemon said it, or nothing where it does not say. */
template <typename Value>
using Observed = std::optional<Value>;

/* ---- data sets (IEEE 1588-2008, 8.2), as the daemon reports them ------------------------------------------------ */

using ClockIdentity = std::array<std::uint8_t, 8>;

struct PortIdentity {
    ClockIdentity clock{};
    std::uint16_t port = 0;

    bool operator==(const PortIdentity &) const = default;
};

struct ClockQuality {
    std::uint8_t clock_class = 248;
    std::uint8_t clock_accuracy = 0xFE;  ///< as on the wire: 0x20 (25 ns) to 0x31, 0xFE unknown
    std::uint16_t offset_scaled_log_variance = 0xFFFF;

    bool operator==(const ClockQuality &) const = default;
};

struct TimeProperties {
    std::int16_t current_utc_offset = 0;  ///< seconds, TAI minus UTC
    bool current_utc_offset_valid = false;
    bool leap59 = false;
    bool leap61 = false;
    bool time_traceable = false;
    bool frequency_traceable = false;
    bool ptp_timescale = false;
    std::uint8_t time_source = 0xA0;  ///< as on the wire: 0x20 GPS, 0x40 PTP, 0xA0 internal oscillator, ...

    bool operator==(const TimeProperties &) const = default;
};

struct DefaultDataSet {
    bool two_step = false;
    bool slave_only = false;
    std::uint16_t number_ports = 0;
    std::uint8_t priority1 = 128;
    std::uint8_t priority2 = 128;
    std::uint8_t domain = 0;
    ClockQuality quality;
    ClockIdentity identity{};

    bool operator==(const DefaultDataSet &) const = default;
};

struct CurrentDataSet {
    std::uint16_t steps_removed = 0;
    std::int64_t offset_from_master = 0;  ///< TimeInterval: nanoseconds times 2^16
    std::int64_t mean_path_delay = 0;     ///< TimeInterval

    bool operator==(const CurrentDataSet &) const = default;
};

struct ParentDataSet {
    PortIdentity parent;
    bool parent_stats = false;
    std::uint16_t observed_offset_scaled_log_variance = 0xFFFF;
    std::int32_t observed_clock_phase_change_rate = 0x7FFFFFFF;
    ClockIdentity grandmaster{};
    ClockQuality grandmaster_quality;
    std::uint8_t grandmaster_priority1 = 128;
    std::uint8_t grandmaster_priority2 = 128;

    bool operator==(const ParentDataSet &) const = default;
};

/** Port states with the numbers of IEEE 1588-2008, table 8. */
enum class PortState : std::uint8_t {
    Initializing = 1,
    Faulty,
    Disabled,
    Listening,
    PreMaster,
    Master,
    Passive,
    Uncalibrated,
    Slave,
    GrandMaster  ///< of this daemon alone: a master that is also the grandmaster
};

struct PortDataSet {
    PortIdentity identity;
    PortState state = PortState::Initializing;
    std::int8_t log_min_delay_req_interval = 0;
    std::int64_t peer_mean_path_delay = 0;  ///< TimeInterval
    std::int8_t log_announce_interval = 1;
    std::uint8_t announce_receipt_timeout = 3;
    std::int8_t log_sync_interval = 0;
    std::uint8_t delay_mechanism = 1;  ///< as on the wire: 1 end to end, 2 peer to peer
    std::int8_t log_min_pdelay_req_interval = 0;
    std::uint8_t version = 2;

    bool operator==(const PortDataSet &) const = default;
};

/** Messages counted by type; the index is the messageType of the common header (IEEE 1588-2008, table 19). */
struct PortCounters {
    std::array<std::uint64_t, 16> received{};
    std::array<std::uint64_t, 16> sent{};

    bool operator==(const PortCounters &) const = default;
};

struct PortObservation {
    std::uint16_t number = 0;  ///< from 1
    Observed<PortDataSet> data_set;
    Observed<PortCounters> counters;
    Observed<std::string> interface;
    Observed<std::uint8_t> timestamping;  ///< 0 software, 1 hardware, 2 legacy hardware
};

/** What the servo says: the measurements behind "locked". */
struct TimeStatus {
    std::int64_t master_offset_ns = 0;
    std::int64_t ingress_time_ns = 0;  ///< of the last Sync, in the clock's time; 0 before the first
    bool grandmaster_present = false;  ///< another clock is the grandmaster
    ClockIdentity grandmaster{};

    bool operator==(const TimeStatus &) const = default;
};

/** One neighbour that was heard on a port, from its Announce messages. */
struct ForeignMaster {
    std::uint16_t receiving_port = 0;
    PortIdentity sender;
    std::array<std::uint8_t, 6> mac{};  ///< source of the frame; all zero where it is not Ethernet
    std::string address;                ///< IP source as text; empty for layer 2
    ClockIdentity grandmaster{};
    ClockQuality grandmaster_quality;
    std::uint8_t grandmaster_priority1 = 128;
    std::uint8_t grandmaster_priority2 = 128;
    std::uint16_t steps_removed = 0;
    std::uint16_t previous_count = 0;  ///< Announce messages in the last whole qualification window
    std::uint16_t current_count = 0;   ///< and in the present one
    bool qualified = false;
};

/** What a clock announces when it is grandmaster itself. */
struct GrandmasterSettings {
    ClockQuality quality;
    TimeProperties properties;

    bool operator==(const GrandmasterSettings &) const = default;
};

/** All that one poll found. A part whose request failed or timed out is absent. */
struct Observation {
    std::uint64_t monotonic_ns = 0;
    std::uint64_t wall_ns = 0;  ///< UTC since 1970
    Observed<DefaultDataSet> default_ds;
    Observed<CurrentDataSet> current_ds;
    Observed<ParentDataSet> parent_ds;
    Observed<TimeProperties> time_properties;
    Observed<TimeStatus> time_status;
    Observed<GrandmasterSettings> grandmaster_settings;  ///< its own, whether it is grandmaster or not
    std::vector<PortObservation> ports;
    std::vector<ForeignMaster> foreign_masters;  ///< empty where no packet socket is allowed
};

/* ---- what is asked of the daemon --------------------------------------------------------------------------------- */

/** What can change while the daemon runs. Absent: stays as it is. */
struct Settings {
    std::optional<std::uint8_t> priority1;
    std::optional<std::uint8_t> priority2;
    std::optional<GrandmasterSettings> grandmaster;

    bool operator==(const Settings &) const = default;
};

/** A clock's intent in the daemon's own terms. Equal files need no restart; equal settings need nothing at all. */
struct Rendering {
    std::string file;   ///< the configuration file's whole text
    Settings settings;  ///< what the file cannot say for good, or would say only after a restart

    bool operator==(const Rendering &) const = default;
};

/**
 * A configuration whose last line the daemon refuses for certain, and before which it opens no clock, interface or socket:
 * what it says of the lines before is heard while the daemon that runs goes on.
 */
struct Trial {
    std::string file;       ///< its whole text
    std::string last_line;  ///< what the daemon's words have in them when it came that far
};

/** How a request ended. */
enum class Outcome : std::uint8_t {
    Done,
    Refused,      ///< the daemon answered with an error
    Unsupported,  ///< the daemon does not know what was asked: absent, not broken
    NoAnswer      ///< silence until the last retry
};

struct SettingResult {
    Outcome outcome = Outcome::NoAnswer;
    std::string reason;  ///< for people, empty when done: what was refused and with which of the daemon's errors
};

/** An event that the daemon pushed, with what it said. */
struct DaemonEvent {
    enum class Kind : std::uint8_t { PortState, TimeStatus } kind = Kind::PortState;
    PortObservation port;    ///< for PortState
    TimeStatus time_status;  ///< for TimeStatus
};

/**
 * A running daemon for one clock. All calls return at once; answers come through the callbacks, from the event loop of
 * the thread that made the object. Destroying it drops open requests without calling back.
 */
class Daemon {
  public:
    virtual ~Daemon() = default;

    /** Its name for status and logs, e.g. "ptp4l". */
    virtual std::string_view name() const = 0;

    /** The intent in the daemon's terms. Pure: starts, writes and asks nothing. `intent` has been validated. */
    virtual Rendering render(const ClockIntent &intent) const = 0;

    /** The command that runs it in the foreground with a configuration file, one word each. */
    virtual std::vector<std::string> command(const std::string &configuration_path) const = 0;

    /** The same configuration to be tried beside a daemon that runs; nothing where the daemon cannot do that. */
    virtual std::optional<Trial> trial(const Rendering &) const { return std::nullopt; }

    /** Says in which PTP domain the daemon runs from now on, where its management needs to know. */
    virtual void running_in_domain(std::uint8_t) {}

    /** Asks for everything; calls back once, when all answers or time-outs are in. One observation runs at a time. */
    virtual void observe(std::function<void(const Observation &)> done) = 0;

    /** Sets what `settings` names, in order, and stops at the first that fails. */
    virtual void set(const Settings &settings, std::function<void(const SettingResult &)> done) = 0;

    /** Where pushed events go from now on; subscriptions are renewed until the object is destroyed. */
    virtual void subscribe(std::function<void(const DaemonEvent &)> on_event) = 0;
};

}  // namespace ptp_agent

#endif
