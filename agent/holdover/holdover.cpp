// The states of a clock that its daemon does not have.
#include "agent/holdover/holdover.h"

#include <algorithm>
#include <cmath>

#include "agent/holdover/announce.h"
#include "agent/render/options.h"
#include "ptp_cfg/enumerations.h"

namespace ptp_agent {
namespace {

constexpr double ns_per_second = 1e9;
constexpr double seconds_per_hour = 3600;
/** Steps of the system's clock below this are not told from the time between two looks at it. */
constexpr std::int64_t least_step_ns = 1'000'000;
constexpr std::uint64_t no_end = UINT64_MAX;
/** Sync messages that may be missing before their sender counts as gone. */
constexpr int patient_syncs = 4;

std::int64_t magnitude(std::int64_t value) { return value < 0 ? -value : value; }

/** A state that was told to be bad; what nobody told is not. */
bool is_bad(const SharedRecord &state, std::string_view field) { return state != nullptr && !state->is_true(field); }

bool is_good(const VirtualPortIntent &source, const ElementSettings &settings) {
    const Record &port = *source.port;
    return port.is_true("status") && port.is_true("prtc_connected") && port.is_true("time_set_flag") &&
           !is_bad(source.quality_level, "tod_state") && !is_bad(source.quality_level, "pps_state") &&
           !is_bad(settings.pps_input, "") && !is_bad(settings.tod_input, "");
}

/** The good one with the lowest localPriority, then the lowest index. */
const VirtualPortIntent *best_virtual_port(const ClockIntent &intent) {
    const VirtualPortIntent *best = nullptr;
    for (const VirtualPortIntent &each : intent.virtual_ports()) {
        const bool is_better =
            best == nullptr || each.port->number("local_priority") < best->port->number("local_priority");
        if (is_better && is_good(each, intent.settings())) {
            best = &each;
        }
    }
    return best;
}

/** Whether the control plane lets the clock follow a master of that class. */
bool is_acceptable(const ElementSettings &settings, std::uint8_t clock_class) {
    constexpr std::uint8_t primary_reference = 6;
    const std::int64_t threshold = settings.acceptable_clock_class == nullptr
                                       ? 0
                                       : settings.acceptable_clock_class->number_or("acceptable_cc_threshold", 0);
    const bool needs_primary = settings.prtc_only != nullptr && settings.prtc_only->is_true("master_prtc_only_en");
    return (threshold == 0 || clock_class <= threshold) && (!needs_primary || clock_class == primary_reference);
}

std::uint8_t category_of(const VirtualPortIntent &port, std::uint8_t otherwise) {
    constexpr std::int64_t unknown = VELA_G8275_1_FREQ_UNKNOWN;
    const std::int64_t number =
        port.quality_level == nullptr ? unknown : port.quality_level->number_or("g8275_1_freq_cat", unknown);
    return number >= unknown ? otherwise : static_cast<std::uint8_t>(number + 1);
}

/** Slower Sync rates need more patience than the model has. */
std::uint64_t sync_patience(const PortDataSet &port, std::uint64_t least) {
    const double interval = std::ldexp(ns_per_second, std::clamp<int>(port.log_sync_interval, -10, 10));
    return std::max(least, static_cast<std::uint64_t>(patient_syncs * interval));
}

}  // namespace

std::string_view to_text(LockState state) {
    switch (state) {
        case LockState::Acquiring:
            return "acquiring";
        case LockState::Locked:
            return "locked";
        case LockState::HoldoverInSpec:
            return "holdover in specification";
        case LockState::HoldoverOutOfSpec:
            return "holdover out of specification";
        default:
            return "free run";
    }
}

std::string_view to_oran(LockState state) {
    return state == LockState::Locked ? "LOCKED" : state == LockState::HoldoverInSpec ? "HOLDOVER" : "FREERUN";
}

std::uint32_t to_clock_state(LockState state) {
    switch (state) {
        case LockState::Acquiring:
            return VELA_PTP_CLOCK_STATE_ACQUIRING;
        case LockState::Locked:
            return VELA_PTP_CLOCK_STATE_PHASE_ALIGNED;
        case LockState::HoldoverInSpec:
        case LockState::HoldoverOutOfSpec:
            return VELA_PTP_CLOCK_STATE_HOLDOVER;
        default:
            return VELA_PTP_CLOCK_STATE_FREERUN;
    }
}

std::int64_t expected_error_ns(const HoldoverModel &model, std::uint64_t elapsed_ns) {
    const double seconds = static_cast<double>(elapsed_ns) / ns_per_second;
    const double frequency =
        model.drift_ppb + model.temperature_ppb_per_kelvin * model.temperature_range_kelvin;  // ns each second
    const double aging = model.aging_ppb_per_hour / seconds_per_hour / 2 * seconds * seconds;
    const double error = static_cast<double>(model.initial_error_ns) + frequency * seconds + aging;
    return error >= 9e18 ? INT64_MAX : static_cast<std::int64_t>(error);
}

std::uint64_t time_in_specification_ns(const HoldoverModel &model) {
    std::uint64_t inside = 0;
    std::uint64_t outside = model.out_of_specification_ns;
    if (expected_error_ns(model, outside) <= model.specification_ns) {
        return no_end;
    }
    while (outside - inside > 1'000'000) {  // to the millisecond
        const std::uint64_t middle = inside + (outside - inside) / 2;
        (expected_error_ns(model, middle) <= model.specification_ns ? inside : outside) = middle;
    }
    return inside;
}

// ---- what was seen ---------------------------------------------------------------------------------------------------

void Holdover::measure(const Observation &observation, std::uint64_t now) {
    const auto is_following = [](const PortObservation &port) {
        return port.data_set &&
               (port.data_set->state == PortState::Slave || port.data_set->state == PortState::Uncalibrated);
    };
    const bool has_ports = std::any_of(observation.ports.begin(), observation.ports.end(),
                                       [](const PortObservation &port) { return port.data_set.has_value(); });
    if (!has_ports || !observation.time_status) {  // too little to judge: what was measured before gets old
        return;
    }
    Measured seen;
    const auto slave = std::find_if(observation.ports.begin(), observation.ports.end(), is_following);
    seen.at_ns = now;
    seen.is_following = slave != observation.ports.end();
    seen.is_slave = seen.is_following && slave->data_set->state == PortState::Slave;
    seen.sync_patience_ns = seen.is_following ? sync_patience(*slave->data_set, model_.silence_ns) : 0;
    seen.offset_ns = observation.time_status->master_offset_ns;
    seen.ingress_ns = observation.time_status->ingress_time_ns < 0
                          ? 0
                          : static_cast<std::uint64_t>(observation.time_status->ingress_time_ns);
    const bool is_same = measured_ && measured_->ingress_ns == seen.ingress_ns;
    seen.ingress_changed_at_ns = is_same ? measured_->ingress_changed_at_ns : now;
    if (observation.parent_ds) {
        seen.grandmaster_class = observation.parent_ds->grandmaster_quality.clock_class;
    } else if (measured_) {
        seen.grandmaster_class = measured_->grandmaster_class;
    }
    seen.properties = observation.time_properties;
    measured_ = seen;
}

void Holdover::notice_step(std::uint64_t now, std::uint64_t wall_ns) {
    const auto difference = static_cast<std::int64_t>(wall_ns - now);
    const std::int64_t most = std::max(model_.specification_ns, least_step_ns);
    if (model_.is_system_clock && alone_since_ && wall_minus_monotonic_ &&
        magnitude(difference - *wall_minus_monotonic_) > most) {
        forget("the system's clock was stepped in holdover");
    }
    wall_minus_monotonic_ = difference;
}

Holdover::Source Holdover::master_source(const ClockIntent &intent, std::uint64_t now) const {
    Source source;
    if (!measured_ || now - measured_->at_ns > model_.silence_ns) {
        source.reason = measured_ ? "the daemon does not answer" : "the daemon has not answered yet";
    } else if (!measured_->is_following) {
        source.reason = "no port is slave, and no virtual port is good";
    } else if (!is_acceptable(intent.settings(), measured_->grandmaster_class)) {
        source.reason = "the grandmaster's class is not acceptable";
    } else if (now - measured_->ingress_changed_at_ns > measured_->sync_patience_ns) {
        source.reason = "no Sync comes from the master";
    } else {
        source.kind = SourceKind::Master;
        source.measured_ns = measured_->at_ns;
        source.is_calibrated = measured_->is_slave;
        source.is_in_bound = measured_->is_slave && measured_->ingress_ns != 0 &&
                             magnitude(measured_->offset_ns) <= model_.lock_bound_ns;
        if (measured_->is_slave && measured_->ingress_ns != 0) {
            source.offset_ns = measured_->offset_ns;
        }
    }
    return source;
}

Holdover::Source Holdover::source_of(const ClockIntent &intent, std::uint64_t now) const {
    const VirtualPortIntent *port = best_virtual_port(intent);
    if (port == nullptr) {
        return master_source(intent, now);
    }
    Source source;
    source.kind = SourceKind::VirtualPort;
    source.is_in_bound = true;  // the element's hardware follows it; nothing of the daemon measures that
    source.measured_ns = now;
    source.port = port;
    return source;
}

// ---- what follows ----------------------------------------------------------------------------------------------------

void Holdover::begin_holdover(std::uint64_t now, std::string_view reason) {
    alone_since_ = now;
    reason_ = reason;
    state_ = LockState::HoldoverInSpec;
    out_of_bound_since_.reset();
}

void Holdover::forget(std::string_view reason) {
    alone_since_.reset();
    last_locked_to_ = SourceKind::None;
    master_properties_.reset();
    out_of_bound_since_.reset();
    reason_ = reason;
    state_ = LockState::FreeRun;
}

std::uint64_t Holdover::specification_end(const ClockIntent &intent) const {
    const ElementSettings &settings = intent.settings();
    if (is_bad(settings.frequency_source, "is_freq_src_ok")) {
        return *alone_since_;
    }
    const std::int64_t timer =
        settings.holdover_timer == nullptr ? 0 : settings.holdover_timer->number_or("holdover_timer", 0);
    const std::uint64_t time =
        timer == 0 ? time_in_specification_ns(model_) : static_cast<std::uint64_t>(timer) * model_.timer_unit_ns;
    return time == no_end ? no_end : *alone_since_ + time;
}

void Holdover::stay_locked(const Source &source, std::uint64_t now) {
    if (source.kind == SourceKind::None || source.kind != followed_) {
        begin_holdover(now, source.kind == SourceKind::None ? source.reason : "the source changed");
    } else if (!source.is_calibrated) {  // what the port follows now is not what the clock was locked to
        begin_holdover(now, "another master is followed, not yet calibrated");
    } else if (source.is_in_bound) {
        out_of_bound_since_.reset();
    } else if (source.offset_ns && magnitude(*source.offset_ns) > model_.specification_ns) {
        forget("the offset from the master left the specification");
    } else {
        out_of_bound_since_ = out_of_bound_since_.value_or(now);
        if (now - *out_of_bound_since_ >= model_.unlock_time_ns) {
            begin_holdover(now, "the offset from the master stays outside the bound");
        }
    }
}

void Holdover::stand_alone(const Source &source, const ClockIntent &intent, std::uint64_t now) {
    if (alone_since_ && source.offset_ns && magnitude(*source.offset_ns) > model_.specification_ns) {
        forget("the time is off by more than the specification");
    }
    const SharedRecord &always_on = intent.settings().master_always_on;
    const bool is_kept = always_on != nullptr && always_on->is_true("master_always_on");
    if (alone_since_ && !is_kept && now - *alone_since_ >= model_.out_of_specification_ns) {
        forget("holdover lasted too long");
    }
    if (alone_since_ && now < specification_end(intent)) {
        state_ = LockState::HoldoverInSpec;
        return;
    }
    if (source.kind != SourceKind::None) {
        state_ = LockState::Acquiring;
        reason_ = "a source is there, not yet stable for long enough";
    } else {
        state_ = alone_since_ ? LockState::HoldoverOutOfSpec : LockState::FreeRun;
        reason_ = source.reason;
    }
}

void Holdover::follow(const Source &source, const ClockIntent &intent, std::uint64_t now) {
    if (!source.is_in_bound || source.kind != followed_) {
        in_bound_since_.reset();
    }
    if (source.is_in_bound && !in_bound_since_) {
        in_bound_since_ = source.measured_ns;
    }
    const bool is_stable = in_bound_since_ && source.measured_ns - *in_bound_since_ >= model_.lock_time_ns;
    if (state_ == LockState::Locked) {
        stay_locked(source, now);
    }
    if (state_ != LockState::Locked) {
        if (is_stable) {
            state_ = LockState::Locked;
            reason_ = source.port != nullptr ? "a virtual port is good" : "the offset from the master is stable";
            alone_since_.reset();
            last_locked_to_ = source.kind;
        } else {
            stand_alone(source, intent, now);
        }
    }
    if (state_ == LockState::Locked) {
        last_category_ = source.port == nullptr ? 0 : category_of(*source.port, model_.frequency_category);
        master_properties_ = source.kind == SourceKind::Master ? measured_->properties : std::nullopt;
    }
    followed_ = source.kind;
}

std::optional<std::uint64_t> Holdover::next_time(const Source &source, const ClockIntent &intent,
                                                 std::uint64_t now) const {
    std::uint64_t next = no_end;
    const auto at = [&next, now](std::uint64_t time) { next = time > now ? std::min(next, time) : next; };
    if (source.kind == SourceKind::VirtualPort && state_ != LockState::Locked && in_bound_since_) {
        at(*in_bound_since_ + model_.lock_time_ns);
    }
    if (source.kind == SourceKind::Master) {
        at(measured_->at_ns + model_.silence_ns + 1);
        at(measured_->ingress_changed_at_ns + measured_->sync_patience_ns + 1);
    }
    if (out_of_bound_since_) {
        at(*out_of_bound_since_ + model_.unlock_time_ns);
    }
    if (alone_since_) {
        at(specification_end(intent));
        at(*alone_since_ + model_.out_of_specification_ns);
        if (const auto timeout = utc_timeout_ns(intent, model_)) {
            at(*alone_since_ + *timeout);
        }
    }
    return next == no_end ? std::nullopt : std::optional(next);
}

HoldoverReport Holdover::report(const Source &source, const ClockIntent &intent, std::uint64_t now,
                                std::uint64_t wall_ns) {
    Standing standing;
    standing.state = state_;
    standing.was_locked = last_locked_to_ != SourceKind::None;
    const bool is_grandmaster =
        standing.was_locked ? last_locked_to_ == SourceKind::VirtualPort : !intent.virtual_ports().empty();
    standing.role = is_grandmaster ? ClockRole::Grandmaster : ClockRole::Follower;
    standing.category = last_category_ == 0 ? model_.frequency_category : last_category_;
    standing.port = source.port;
    standing.master_properties = master_properties_;
    if (alone_since_) {
        standing.alone_ns = now - *alone_since_;
        standing.error_ns = expected_error_ns(model_, *standing.alone_ns);
        // Until it is locked again, the clock is as good as its holdover.
        standing.state = state_ == LockState::Acquiring ? LockState::HoldoverOutOfSpec : state_;
    }
    HoldoverReport made;
    made.state = state_;
    made.reason = reason_;
    made.announce = announcement(intent, model_, standing, wall_ns);
    made.next_ns = next_time(source, intent, now);
    if (const auto leap = next_leap_change_ns(intent, wall_ns)) {
        made.next_ns = std::min(made.next_ns.value_or(no_end), now + (*leap - wall_ns));
    }
    made.estimated_error_ns = standing.error_ns;
    const bool follows_master = state_ == LockState::Locked && source.kind == SourceKind::Master;
    made.clock_class = follows_master  ? measured_->grandmaster_class
                       : made.announce ? made.announce->quality.clock_class
                                       : std::uint8_t{255};
    if (source.port != nullptr) {
        made.virtual_port = static_cast<std::uint8_t>(source.port->port->number_or("v_port_index", 0));
    }
    return made;
}

HoldoverReport Holdover::update(const ClockIntent &intent, const Observation *observation, std::uint64_t monotonic_ns,
                                std::uint64_t wall_ns) {
    const LockState before = state_;
    if (observation != nullptr) {
        measure(*observation, monotonic_ns);
    }
    notice_step(monotonic_ns, wall_ns);
    const Source source = source_of(intent, monotonic_ns);
    follow(source, intent, monotonic_ns);
    HoldoverReport made = report(source, intent, monotonic_ns, wall_ns);
    made.has_changed = state_ != before;
    return made;
}

}  // namespace ptp_agent
