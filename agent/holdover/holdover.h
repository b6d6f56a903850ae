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
/** LOCKED, HOLDOVER or FREERUN, as radio applications know them. */
std::string_view to_oran(LockState state);
/** The number that ptp_clock_runtime_state has for it (VELA_PTP_CLOCK_STATE_...). */
std::uint32_t to_clock_state(LockState state);

/** What the element's maker declares of the element; from the agent's configuration. */
struct HoldoverModel {
    std::int64_t lock_bound_ns = 1000;            ///< locked: the servo's offset stays inside
    std::uint64_t lock_time_ns = 2'000'000'000;   ///< ... for this long
    std::uint64_t silence_ns = 3'000'000'000;     ///< no answer of the daemon for this long: its clock runs alone
    std::int64_t specification_ns = 1500;         ///< holdover is in specification up to this error
    double drift_ppb = 1.0;                       ///< frequency error when holdover begins
    double aging_ppb_per_hour = 0.1;              ///< how it grows
    double temperature_ppb_per_kelvin = 0.0;      ///< and with the temperature ...
    double temperature_range_kelvin = 0.0;        ///< ... over this range
    std::int64_t initial_error_ns = 100;          ///< error when holdover begins
    std::uint64_t timer_unit_ns = 1'000'000'000;  ///< unit of ptp_hbc_holdover_timer_cmd and of the UTC time-out
    std::uint8_t frequency_category = 2;     ///< 1 to 3: G.8275.1 holdover frequency quality; picks 140, 150 or 160
    std::uint16_t locked_variance = 0x4E5D;  ///< offsetScaledLogVariance when locked to a primary reference
    std::uint8_t locked_accuracy = 0x21;     ///< clockAccuracy when locked to a primary reference: 100 ns
};

struct HoldoverReport {
    LockState state = LockState::FreeRun;
    /** What to announce: the caller sets it when it differs from what the daemon has. None: nothing is known to be right. */
    std::optional<GrandmasterSettings> announce;
    /** When to call again even without an observation; monotonic. None: nothing is pending. */
    std::optional<std::uint64_t> next_ns;
    /** Estimated error of the time in holdover; none elsewhere. */
    std::optional<std::int64_t> estimated_error_ns;
    /** Class that this clock has by its state, whether it announces it as grandmaster or not. */
    std::uint8_t clock_class = 248;
    std::string_view reason;   ///< for people: why this state
    bool has_changed = false;  ///< the state differs from that of the call before
};

class Holdover {
  public:
    explicit Holdover(HoldoverModel model) : model_(model) {}

    /**
     * @param observation     what a poll found; nullptr: none came, time went on
     * @param monotonic_ns    now; never less than before
     * @param wall_ns         now, UTC since 1970, for leap seconds
     */
    HoldoverReport update(const ClockIntent &intent, const Observation *observation, std::uint64_t monotonic_ns,
                          std::uint64_t wall_ns);

    LockState state() const { return state_; }

  private:
    HoldoverModel model_;
    LockState state_ = LockState::FreeRun;
};

}  // namespace ptp_agent
