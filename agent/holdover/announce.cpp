// What a clock announces when it is grandmaster, by its state.
#include "agent/holdover/announce.h"

#include <chrono>

#include "agent/render/options.h"
#include "agent/render/values.h"
#include "ptp_cfg/enumerations.h"

namespace ptp_agent {
namespace {

constexpr std::uint8_t source_gps = 0x20;
constexpr std::uint8_t source_other = 0x90;
constexpr std::uint8_t source_oscillator = 0xA0;

constexpr std::uint64_t day_ns = 86'400'000'000'000;

// ---- quality ---------------------------------------------------------------------------------------------------------

ClockQuality locked_quality(const Standing &standing, const HoldoverModel &model, std::uint8_t clock_class) {
    ClockQuality quality{clock_class, model.locked_accuracy, model.locked_variance};
    const Record &port = *standing.port->port;
    if (port.number_or("clock_quality.clock_class", 0) != 0) {  // the source knows itself
        quality.clock_class = static_cast<std::uint8_t>(*port.number("clock_quality.clock_class"));
    }
    if (port.number_or("clock_quality.clock_accuracy", 0) != 0) {
        quality.clock_accuracy = accuracy_octet(*port.number("clock_quality.clock_accuracy"));
        quality.offset_scaled_log_variance =
            static_cast<std::uint16_t>(port.number_or("clock_quality.offset_scaled_log_var", -1));
    }
    return quality;
}

ClockQuality quality_of(const ClockIntent &intent, const HoldoverModel &model, const Standing &standing) {
    const bool is_telecom = defaults_of(intent).has_local_priorities;
    const bool is_ptp = intent.clock().is_true("time_properties.ptpTimescale");
    const ClassRow *row = class_row(is_telecom, is_ptp, standing.role, standing.state, standing.category);
    if (row == nullptr) {  // it follows a master, or has nothing to be followed for
        return quality_at(intent.clock(), "default_data_set.clock_quality");
    }
    if (standing.state == LockState::Locked) {
        return locked_quality(standing, model, row->clock_class);
    }
    ClockQuality quality;
    quality.clock_class = row->clock_class;
    if (!is_telecom && standing.error_ns) {  // the telecom profiles have no accuracy without a primary reference
        quality.clock_accuracy = accuracy_of_error(*standing.error_ns);
    }
    return quality;
}

// ---- time properties -------------------------------------------------------------------------------------------------

/** The UTC day of a leap second that was asked for, as its first nanosecond; none where there is none. */
std::optional<std::uint64_t> leap_day(const Record &command) {
    using namespace std::chrono;
    const std::int64_t leap = command.number_or("leap_second_offset", 0);
    const year_month_day date(year(static_cast<int>(command.number_or("leap_second_year", 0))),
                              month(static_cast<unsigned>(command.number_or("leap_second_month", 0))),
                              day(static_cast<unsigned>(command.number_or("leap_second_day", 0))));
    if ((leap != 1 && leap != -1) || !date.ok() || date.year() < year(1970)) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(sys_days(date).time_since_epoch().count()) * day_ns;
}

TimeProperties configured_properties(const Record &clock) {
    TimeProperties properties;
    const auto is_true = [&clock](std::string_view name) {
        return clock.is_true("time_properties." + std::string(name));
    };
    properties.current_utc_offset = static_cast<std::int16_t>(clock.number_or("time_properties.currentUtcOffset", 0));
    properties.current_utc_offset_valid = is_true("currentUtcOffsetValid");
    properties.leap59 = is_true("leap59");
    properties.leap61 = is_true("leap61");
    properties.time_traceable = is_true("timeTraceable");
    properties.frequency_traceable = is_true("frequencyTraceable");
    properties.ptp_timescale = is_true("ptpTimescale");
    properties.time_source = time_source_octet(clock.number_or("time_properties.timeSource", 7));
    return properties;
}

void apply_utc_command(const Record &command, std::uint64_t wall_ns, TimeProperties &properties) {
    std::int64_t offset = command.number_or("utc_offset", 0);
    const std::int64_t leap = command.number_or("leap_second_offset", 0);
    properties.leap59 = false;
    properties.leap61 = false;
    if (const std::optional<std::uint64_t> day = leap_day(command)) {
        const bool is_over = wall_ns >= *day + day_ns;
        const bool is_today = wall_ns >= *day && !is_over;
        properties.leap61 = is_today && leap > 0;
        properties.leap59 = is_today && leap < 0;
        offset += is_over ? leap : 0;
    }
    properties.current_utc_offset = static_cast<std::int16_t>(offset);
    properties.current_utc_offset_valid = command.number_or("utc_offset_valid", 1) != 0;
}

/** What holds of time and frequency by the state; a clock that never had a source says what it was given. */
void apply_state(const ClockIntent &intent, const Standing &standing, TimeProperties &properties) {
    const SharedRecord &frequency = intent.settings().frequency_source;
    const bool is_bad = frequency != nullptr && !frequency->is_true("is_freq_src_ok");
    const bool is_good = standing.state == LockState::Locked || standing.state == LockState::HoldoverInSpec;
    properties.time_traceable = is_good;
    properties.frequency_traceable = !is_bad && (is_good || (frequency != nullptr && standing.was_locked));
    if (standing.state != LockState::Locked) {
        properties.time_source = source_oscillator;
    } else if (standing.port != nullptr) {
        const bool is_gnss = standing.port->port->number("port_type") == VELA_V_PORT_TYPE_GNSS;
        properties.time_source = is_gnss ? source_gps : source_other;
    }
}

TimeProperties properties_of(const ClockIntent &intent, const HoldoverModel &model, const Standing &standing,
                             std::uint64_t wall_ns) {
    TimeProperties properties = configured_properties(intent.clock());
    if (standing.master_properties && standing.role == ClockRole::Follower && standing.was_locked) {
        properties.current_utc_offset = standing.master_properties->current_utc_offset;
        properties.current_utc_offset_valid = standing.master_properties->current_utc_offset_valid;
        properties.ptp_timescale = standing.master_properties->ptp_timescale;
    }
    if (intent.settings().utc_offset != nullptr) {
        apply_utc_command(*intent.settings().utc_offset, wall_ns, properties);
    }
    const std::optional<std::uint64_t> timeout = utc_timeout_ns(intent, model);
    if (timeout && standing.alone_ns && *standing.alone_ns >= *timeout) {
        properties.current_utc_offset_valid = false;
    }
    // A follower is not grandmaster while it follows: what it was given stays there for the moment its master is gone.
    const bool decides = standing.role == ClockRole::Grandmaster || standing.alone_ns.has_value();
    if (decides) {
        apply_state(intent, standing, properties);
    }
    return properties;
}

}  // namespace

std::optional<std::uint64_t> utc_timeout_ns(const ClockIntent &intent, const HoldoverModel &model) {
    const SharedRecord &command = intent.settings().utc_holdover_timeout;
    const std::int64_t timeout = command == nullptr ? 0 : command->number_or("utc_holdover_timeout", 0);
    return timeout == 0 ? std::nullopt : std::optional(static_cast<std::uint64_t>(timeout) * model.timer_unit_ns);
}

std::optional<std::uint64_t> next_leap_change_ns(const ClockIntent &intent, std::uint64_t wall_ns) {
    const SharedRecord &command = intent.settings().utc_offset;
    const std::optional<std::uint64_t> day = command == nullptr ? std::nullopt : leap_day(*command);
    if (!day || wall_ns >= *day + day_ns) {
        return std::nullopt;
    }
    return wall_ns < *day ? *day : *day + day_ns;
}

std::optional<GrandmasterSettings> announcement(const ClockIntent &intent, const HoldoverModel &model,
                                                const Standing &standing, std::uint64_t wall_ns) {
    if (is_slave_only(intent)) {
        return std::nullopt;
    }
    return GrandmasterSettings{quality_of(intent, model, standing), properties_of(intent, model, standing, wall_ns)};
}

}  // namespace ptp_agent
