// The states of a clock that its daemon does not have: free run, acquiring, locked, holdover in and out of specification;
// and what the clock announces in each. Pure: time comes in with each call, what to set and when to ask again goes out.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "agent/daemon.h"
#include "agent/intent/clock_intent.h"

namespace ptp_agent {

enum class LockState : std::uint8_t { FreeRun, Acquiring, Locked, HoldoverInSpec, HoldoverOutOfSpec };

/** "free run", "acquiring", "locked", "holdover in specification", "holdover out of specification" */
std::string_view to_text(LockState state);
/** LOCKED, HOLDOVER (in specification) or FREERUN, as radio applications know them. */
std::string_view to_oran(LockState state);
/** The number that ptp_clock_runtime_state has for it (VELA_PTP_CLOCK_STATE_...). */
std::uint32_t to_clock_state(LockState state);

/** What the element's maker declares of the element; from the agent's configuration. */
struct HoldoverModel {
    std::int64_t lock_bound_ns = 1000;             ///< locked: the servo's offset stays inside
    std::uint64_t lock_time_ns = 2'000'000'000;    ///< ... for this long
    std::uint64_t unlock_time_ns = 1'000'000'000;  ///< no longer locked: it is outside for this long
    std::uint64_t silence_ns = 3'000'000'000;      ///< without an answer or a Sync for this long the clock runs alone
    std::int64_t specification_ns = 1500;          ///< holdover is in specification up to this error
    std::uint64_t out_of_specification_ns = 86'400'000'000'000;  ///< afterwards, what once was locked is free run
    std::int64_t initial_error_ns = 100;                         ///< error when holdover begins
    double drift_ppb = 1.0;                                      ///< frequency error when holdover begins
    double aging_ppb_per_hour = 0.1;                             ///< how it grows
    double temperature_ppb_per_kelvin = 0.0;                     ///< and with the temperature ...
    double temperature_range_kelvin = 0.0;                       ///< ... over this range
    std::uint64_t timer_unit_ns = 1'000'000'000;  ///< unit of the holdover timer and of the UTC offset's time-out
    std::uint8_t frequency_category = 2;          ///< 1 to 3, of ITU-T G.8275.1, where no virtual port says its own
    std::uint8_t locked_accuracy = 0x21;          ///< clockAccuracy when locked to a primary reference: 100 ns
    std::uint16_t locked_variance = 0x4E5D;       ///< offsetScaledLogVariance then
    bool is_system_clock = false;                 ///< the daemon adjusts the system's clock, not one of hardware
};

/** The error that the model expects after a time without a source. */
std::int64_t expected_error_ns(const HoldoverModel &model, std::uint64_t elapsed_ns);
/** How long the error stays inside the specification. */
std::uint64_t time_in_specification_ns(const HoldoverModel &model);

struct HoldoverReport {
    LockState state = LockState::FreeRun;
    /** What to announce: set it when it differs from what was set last, and after each start of the daemon. None: the
     *  clock is slave-only and announces nothing. */
    std::optional<GrandmasterSettings> announce;
    /** When to call again even without an observation; monotonic. None: nothing is pending. */
    std::optional<std::uint64_t> next_ns;
    /** Expected error of the time in holdover; none elsewhere. */
    std::optional<std::int64_t> estimated_error_ns;
    /** The class that the clock has by its state; that of its master while it follows one. */
    std::uint8_t clock_class = 248;
    /** Index of the virtual port that the clock follows. */
    std::optional<std::uint8_t> virtual_port;
    std::string_view reason;   ///< for people: why this state
    bool has_changed = false;  ///< the state differs from that of the call before
};

class Holdover {
  public:
    explicit Holdover(HoldoverModel model) : model_(model) {}

    /**
     * @param observation   what a poll found; nullptr: none came, time went on
     * @param monotonic_ns  now; never less than before
     * @param wall_ns       now, UTC since 1970, for leap seconds
     */
    HoldoverReport update(const ClockIntent &intent, const Observation *observation, std::uint64_t monotonic_ns,
                          std::uint64_t wall_ns);

    LockState state() const { return state_; }

  private:
    enum class SourceKind { None, VirtualPort, Master };
    /** What the clock could follow now. */
    struct Source {
        SourceKind kind = SourceKind::None;
        bool is_in_bound = false;               ///< its offset is inside the bound
        bool is_calibrated = true;              ///< the servo follows it, not only the port
        std::uint64_t measured_ns = 0;          ///< when that was seen
        std::optional<std::int64_t> offset_ns;  ///< from it; none where nothing measures it
        const VirtualPortIntent *port = nullptr;
        std::string_view reason;  ///< why there is none
    };
    /** What the last observation with measurements said. */
    struct Measured {
        std::uint64_t at_ns = 0;
        bool is_following = false;  ///< a port is slave, or about to be
        bool is_slave = false;
        std::int64_t offset_ns = 0;
        std::uint64_t ingress_ns = 0;
        std::uint64_t ingress_changed_at_ns = 0;
        std::uint64_t sync_patience_ns = 0;  ///< without a Sync for this long, it has no master
        std::uint8_t grandmaster_class = 248;
        std::optional<TimeProperties> properties;
    };

    void measure(const Observation &observation, std::uint64_t now);
    void notice_step(std::uint64_t now, std::uint64_t wall_ns);
    Source source_of(const ClockIntent &intent, std::uint64_t now) const;
    Source master_source(const ClockIntent &intent, std::uint64_t now) const;
    void follow(const Source &source, const ClockIntent &intent, std::uint64_t now);
    void stay_locked(const Source &source, std::uint64_t now);
    void stand_alone(const Source &source, const ClockIntent &intent, std::uint64_t now);
    void begin_holdover(std::uint64_t now, std::string_view reason);
    void forget(std::string_view reason);
    std::uint64_t specification_end(const ClockIntent &intent) const;
    std::optional<std::uint64_t> next_time(const Source &source, const ClockIntent &intent, std::uint64_t now) const;
    HoldoverReport report(const Source &source, const ClockIntent &intent, std::uint64_t now, std::uint64_t wall_ns);

    HoldoverModel model_;
    LockState state_ = LockState::FreeRun;
    std::string_view reason_ = "no source was followed yet";
    std::optional<Measured> measured_;
    SourceKind followed_ = SourceKind::None;  // by the last call
    SourceKind last_locked_to_ = SourceKind::None;
    std::uint8_t last_category_ = 0;  // frequency category of the virtual port that was locked to
    std::optional<std::uint64_t> in_bound_since_;
    std::optional<std::uint64_t> out_of_bound_since_;
    std::optional<std::uint64_t> alone_since_;         // holdover began; kept until locked or free run
    std::optional<TimeProperties> master_properties_;  // of the master that was locked to
    std::optional<std::int64_t> wall_minus_monotonic_;
};

}  // namespace ptp_agent
