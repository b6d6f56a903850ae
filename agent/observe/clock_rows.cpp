// Reports of a clock: its data sets and its state.
#include "agent/observe/enumerations.h"
#include "agent/observe/values.h"

namespace ptp_agent {
namespace {

using Role = FieldRow::Role;

constexpr auto own = &Observation::default_ds;
constexpr auto current = &Observation::current_ds;
constexpr auto parent = &Observation::parent_ds;
constexpr auto in_force = &Observation::time_properties;
constexpr auto settings = &Observation::grandmaster_settings;

Value local_priority(const ReportSource &source) {
    return source.intent == nullptr ? Value()
                                    : optional_value(source.intent->clock().number("default_data_set.local_priority"));
}

constexpr FieldRow default_rows[] = {
    {"clk_id.ptp_clk_id", Origin::Daemon, observed<own, &DefaultDataSet::identity>},
    {"clock_quality.clock_class", Origin::Daemon, observed<own, &DefaultDataSet::quality, &ClockQuality::clock_class>},
    {"clock_quality.offset_scaled_log_var", Origin::Daemon,
     as_int16<observed<own, &DefaultDataSet::quality, &ClockQuality::offset_scaled_log_variance>>},
    {"clock_quality.clock_accuracy", Origin::Daemon,
     mapped<to_clock_accuracy, observed<own, &DefaultDataSet::quality, &ClockQuality::clock_accuracy>>},
    {"numberPorts", Origin::Daemon, observed<own, &DefaultDataSet::number_ports>},
    {"priority1", Origin::Daemon, observed<own, &DefaultDataSet::priority1>},
    {"priority2", Origin::Daemon, observed<own, &DefaultDataSet::priority2>},
    {"clk_domain", Origin::Daemon, observed<own, &DefaultDataSet::domain>},
    {"two_step_flag", Origin::Daemon, observed<own, &DefaultDataSet::two_step>},
    {"slv_only", Origin::Daemon, observed<own, &DefaultDataSet::slave_only>},
    {"local_priority", Origin::Configured, local_priority},
};

constexpr FieldRow current_rows[] = {
    {"steps_removed", Origin::Daemon, observed<current, &CurrentDataSet::steps_removed>},
    {"offset_from_master.scaledNanoseconds", Origin::Daemon, observed<current, &CurrentDataSet::offset_from_master>},
    {"mean_path_delay.scaledNanoseconds", Origin::Daemon, observed<current, &CurrentDataSet::mean_path_delay>},
};

constexpr auto gm_quality = &ParentDataSet::grandmaster_quality;

constexpr FieldRow parent_rows[] = {
    {"parent_port_identity.clock_identity.ptp_clk_id", Origin::Daemon,
     observed<parent, &ParentDataSet::parent, &PortIdentity::clock>},
    {"parent_port_identity.portNumber", Origin::Daemon, observed<parent, &ParentDataSet::parent, &PortIdentity::port>},
    {"parent_stats", Origin::Daemon, observed<parent, &ParentDataSet::parent_stats>},
    {"observed_parent_offset_scaled_log_variance", Origin::Daemon,
     as_int16<observed<parent, &ParentDataSet::observed_offset_scaled_log_variance>>},
    {"observed_parent_clock_phase_change_rate", Origin::Daemon,
     observed<parent, &ParentDataSet::observed_clock_phase_change_rate>},
    {"grandmaster_identity.ptp_clk_id", Origin::Daemon, observed<parent, &ParentDataSet::grandmaster>},
    {"grandmaster_clock_quality.clock_class", Origin::Daemon, observed<parent, gm_quality, &ClockQuality::clock_class>},
    {"grandmaster_clock_quality.offset_scaled_log_var", Origin::Daemon,
     as_int16<observed<parent, gm_quality, &ClockQuality::offset_scaled_log_variance>>},
    {"grandmaster_clock_quality.clock_accuracy", Origin::Daemon,
     mapped<to_clock_accuracy, observed<parent, gm_quality, &ClockQuality::clock_accuracy>>},
    {"grandmaster_priority1", Origin::Daemon, observed<parent, &ParentDataSet::grandmaster_priority1>},
    {"grandmaster_priority2", Origin::Daemon, observed<parent, &ParentDataSet::grandmaster_priority2>},
};

constexpr FieldRow time_rows[] = {
    {"currentUtcOffset", Origin::Daemon, observed<in_force, &TimeProperties::current_utc_offset>},
    {"currentUtcOffsetValid", Origin::Daemon, observed<in_force, &TimeProperties::current_utc_offset_valid>},
    {"leap59", Origin::Daemon, observed<in_force, &TimeProperties::leap59>},
    {"leap61", Origin::Daemon, observed<in_force, &TimeProperties::leap61>},
    {"timeTraceable", Origin::Daemon, observed<in_force, &TimeProperties::time_traceable>},
    {"frequencyTraceable", Origin::Daemon, observed<in_force, &TimeProperties::frequency_traceable>},
    {"ptpTimescale", Origin::Daemon, observed<in_force, &TimeProperties::ptp_timescale>},
    {"timeSource", Origin::Daemon, mapped<to_time_source, observed<in_force, &TimeProperties::time_source>>},
    {"v_port_index", Origin::Absent, absent},
};

constexpr auto local = &GrandmasterSettings::properties;

constexpr FieldRow local_time_rows[] = {
    {"currentUtcOffset", Origin::Derived, observed<settings, local, &TimeProperties::current_utc_offset>},
    {"currentUtcOffsetValid", Origin::Derived, observed<settings, local, &TimeProperties::current_utc_offset_valid>},
    {"leap59", Origin::Derived, observed<settings, local, &TimeProperties::leap59>},
    {"leap61", Origin::Derived, observed<settings, local, &TimeProperties::leap61>},
    {"timeTraceable", Origin::Derived, observed<settings, local, &TimeProperties::time_traceable>},
    {"frequencyTraceable", Origin::Derived, observed<settings, local, &TimeProperties::frequency_traceable>},
    {"ptpTimescale", Origin::Derived, observed<settings, local, &TimeProperties::ptp_timescale>},
    {"timeSource", Origin::Derived, mapped<to_time_source, observed<settings, local, &TimeProperties::time_source>>},
    {"v_port_index", Origin::Absent, absent},
};

Value total_of(const ReportSource &source, std::array<std::uint64_t, 16> PortCounters::*direction) {
    if (!source.total) {
        return {};
    }
    std::uint64_t sum = 0;
    for (const std::uint64_t count : *source.total.*direction) {
        sum += count;
    }
    return Value(static_cast<std::int64_t>(sum));
}

constexpr FieldRow runtime_rows[] = {
    {"clock_state", Origin::Derived, [](const ReportSource &source) { return optional_value(source.clock_state); }},
    {"ts", Origin::Derived,
     [](const ReportSource &source) { return Value(static_cast<std::int64_t>(source.now->wall_ns)); }, Role::Quiet},
    {"pkts_sent", Origin::Derived, [](const ReportSource &source) { return total_of(source, &PortCounters::sent); }},
    {"pkts_rcvd", Origin::Derived,
     [](const ReportSource &source) { return total_of(source, &PortCounters::received); }},
};

constexpr RowGroup all_data_sets[] = {
    {0, "default_ds.", default_rows},
    {0, "current_data_set.", current_rows},
    {0, "parent_data_set.", parent_rows},
    {0, "time_properties_data_set.", time_rows},
    {0, "local_time_properties_data_set.", local_time_rows},
};
constexpr RowGroup default_group[] = {{0, "", default_rows}};
constexpr RowGroup current_group[] = {{0, "", current_rows}};
constexpr RowGroup parent_group[] = {{0, "", parent_rows}};
constexpr RowGroup time_group[] = {{0, "", time_rows}};
constexpr RowGroup local_time_group[] = {{0, "", local_time_rows}};
constexpr RowGroup runtime_group[] = {{0, "", runtime_rows}};

constexpr ReportRow rows[] = {
    {"ptp_clk_data_set", Scope::Clock, true, all_data_sets},
    {"ptp_clk_default_ds_msg", Scope::Clock, true, default_group},
    {"ptp_clk_current_ds_msg", Scope::Clock, true, current_group},
    {"ptp_clk_parent_ds_msg", Scope::Clock, true, parent_group},
    {"ptp_clk_time_properties_ds_msg", Scope::Clock, true, time_group},
    {"ptp_clk_local_time_properties_ds_msg", Scope::Clock, true, local_time_group},
    {"ptp_clock_runtime_state_msg", Scope::Clock, true, runtime_group},
};

}  // namespace

std::span<const ReportRow> clock_report_rows() { return rows; }

}  // namespace ptp_agent
