// The kinds of messages, as rows of data. What is in no row is kept, and shown, all the same.
#include "record_rows.h"

#include <algorithm>
#include <iterator>

namespace ptp_fleet {
namespace {

constexpr double nanosecond = 65536;  // of a scaled nanosecond

template <auto member>
void number(clock_summary &of, const decoded_message &from, const char *path) {
    if (const auto value = from.number(path)) {
        of.*member = static_cast<int>(*value);
    }
}
template <auto member>
void identity(clock_summary &of, const decoded_message &from, const char *path) {
    if (const auto value = from.identity(path)) {
        of.*member = *value;
    }
}
template <auto member>
void interval(clock_summary &of, const decoded_message &from, const char *path) {
    if (const auto value = from.number(path)) {
        of.*member = static_cast<double>(*value) / nanosecond;
    }
}
void lock(clock_summary &of, const decoded_message &from, const char *path) {
    if (const auto value = from.number(path)) {
        const bool is_known = *value >= 0 && static_cast<std::size_t>(*value) < lock_states;
        of.lock = is_known ? static_cast<lock_state>(*value) : lock_state::unknown;
    }
}

using sum = clock_summary;
constexpr const char *all = "ptp_clk_data_set", *own = "ptp_clk_default_ds_msg", *current = "ptp_clk_current_ds_msg",
                     *parent = "ptp_clk_parent_ds_msg", *state = "ptp_clock_runtime_state_msg";

constexpr summary_row summary_rows[] = {
    {own, "clk_id.ptp_clk_id", identity<&sum::identity>},
    {own, "clock_quality.clock_class", number<&sum::clock_class>},
    {own, "priority1", number<&sum::priority1>},
    {own, "priority2", number<&sum::priority2>},
    {own, "clk_domain", number<&sum::domain>},
    {current, "steps_removed", number<&sum::steps_removed>},
    {current, "offset_from_master.scaledNanoseconds", interval<&sum::offset_ns>},
    {current, "mean_path_delay.scaledNanoseconds", interval<&sum::path_delay_ns>},
    {parent, "parent_port_identity.clock_identity.ptp_clk_id", identity<&sum::parent>},
    {parent, "grandmaster_identity.ptp_clk_id", identity<&sum::grandmaster>},
    {parent, "grandmaster_clock_quality.clock_class", number<&sum::grandmaster_class>},
    {state, "clock_state", lock},
    {all, "default_ds.clk_id.ptp_clk_id", identity<&sum::identity>},
    {all, "default_ds.clock_quality.clock_class", number<&sum::clock_class>},
    {all, "default_ds.priority1", number<&sum::priority1>},
    {all, "default_ds.priority2", number<&sum::priority2>},
    {all, "default_ds.clk_domain", number<&sum::domain>},
    {all, "current_data_set.steps_removed", number<&sum::steps_removed>},
    {all, "current_data_set.offset_from_master.scaledNanoseconds", interval<&sum::offset_ns>},
    {all, "current_data_set.mean_path_delay.scaledNanoseconds", interval<&sum::path_delay_ns>},
    {all, "parent_data_set.parent_port_identity.clock_identity.ptp_clk_id", identity<&sum::parent>},
    {all, "parent_data_set.grandmaster_identity.ptp_clk_id", identity<&sum::grandmaster>},
    {all, "parent_data_set.grandmaster_clock_quality.clock_class", number<&sum::grandmaster_class>},
};

constexpr record_row record_rows[] = {
    {all, true, nullptr, ""},
    {own, true, nullptr, ""},
    {current, true, nullptr, ""},
    {parent, true, nullptr, ""},
    {"ptp_clk_time_properties_ds_msg", true, nullptr, ""},
    {"ptp_clk_local_time_properties_ds_msg", true, nullptr, ""},
    {state, true, nullptr, ""},
    {"ptp_port_data_set_info", true, "hdl", "port "},
    {"ptp_port_runtime_state_msg", true, "hdl", "port "},
    {"ptp_foreign_master_record_msg", false, "compare_data.foreign_port_identity.clock_identity.ptp_clk_id", "master "},
};

}  // namespace

const record_row *record_row_of(std::string_view message) {
    const auto found = std::find_if(std::begin(record_rows), std::end(record_rows),
                                    [&](const record_row &row) { return message == row.message; });
    return found != std::end(record_rows) ? found : nullptr;
}

std::string about_of(const decoded_message &of, const record_row *row) {
    if (row == nullptr || row->about == nullptr) {
        return {};
    }
    if (const auto identity = of.identity(row->about)) {
        return row->label + to_text(*identity);
    }
    const auto number = of.number(row->about);
    return number ? row->label + std::to_string(*number) : std::string();
}

void fill_summary(clock_summary &of, const decoded_message &from) {
    const std::string_view name = from.name();
    for (const summary_row &row : summary_rows) {
        if (name == row.message) {
            row.fill(of, from, row.path);
        }
    }
}

bool is_measurement(std::string_view message) { return message == current || message == all; }

bool is_quiet(std::string_view message) {
    return is_measurement(message) || message == state || message == "ptp_port_runtime_state_msg" ||
           message == "ptp_stream_runtime_state_msg" || message == "ptp_foreign_master_record_msg";
}

}  // namespace ptp_fleet
