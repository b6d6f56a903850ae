// behaviour.toml against what messages do: each field that is said to have an effect changes what becomes of a clock in
// some element, and no other field changes anything in any.
#include <gmock/gmock.h>

#include <set>
#include <sstream>

#include "agent/holdover/holdover.h"
#include "agent/intent/behaviour.h"
#include "agent/intent/fields.h"
#include "agent/intent/objects.h"
#include "agent/render/plan.h"
#include "support/messages.h"

namespace ptp_agent::test {
namespace {

constexpr std::uint64_t second = 1'000'000'000;
constexpr std::uint64_t eve = 1'767'182'400 * second;  // 31 December 2025, 12:00 UTC

const RuleBook &rules() {
    static const RuleBook book;
    return book;
}

// ---- what becomes of an intent ---------------------------------------------------------------------------------------

void write(std::ostream &out, const HoldoverReport &report) {
    out << to_text(report.state) << ' ' << int{report.clock_class};
    if (report.announce) {
        const TimeProperties &time = report.announce->properties;
        out << ' ' << int{report.announce->quality.clock_class} << ' ' << int{report.announce->quality.clock_accuracy}
            << ' ' << report.announce->quality.offset_scaled_log_variance << ' ' << time.current_utc_offset
            << time.current_utc_offset_valid << time.leap59 << time.leap61 << time.time_traceable
            << time.frequency_traceable << time.ptp_timescale << ' ' << int{time.time_source};
    }
    out << '\n';
}

Observation seen(PortState state, std::int64_t ingress) {
    Observation observation;
    observation.ports.resize(1);
    observation.ports[0].data_set = PortDataSet{};
    observation.ports[0].data_set->state = state;
    observation.time_status = TimeStatus{0, ingress, true, {}};
    observation.parent_ds = ParentDataSet{};
    observation.parent_ds->grandmaster_quality.clock_class = 7;
    return observation;
}

/** The intent once its time sources are gone. */
Intent without_sources(const Intent &intent) {
    Intent changed = intent;
    const std::map<ObjectKey, SharedRecord> objects = intent.objects();
    for (const auto &[key, record] : objects) {
        if (key.kind == ObjectKind::VirtualPort) {
            Record gone = record->clone();
            gone.set("status", 0);
            changed.put(key, std::make_shared<const Record>(std::move(gone)));
        }
    }
    return changed;
}

/** Alone, with what sources there are, without them, behind a master, and without it for longer and longer. */
void write_states(std::ostream &out, const Intent &intent, std::uint8_t handle) {
    HoldoverModel model;
    model.out_of_specification_ns = 60 * second;
    model.drift_ppb = 100;
    Holdover holdover(model);
    const Intent gone = without_sources(intent);
    std::uint64_t now = second;
    std::int64_t ingress = 0;
    const auto during = [&](int polls, std::uint64_t seconds, const ClockIntent &asked, PortState state) {
        for (int count = 0; count < polls; ++count) {
            now += seconds * second;
            const Observation observation = seen(state, state == PortState::Slave ? ++ingress : ingress);
            write(out, holdover.update(asked, &observation, now, eve + now));
        }
    };
    const ClockIntent with_sources = *intent.clock(handle);
    const ClockIntent without = *gone.clock(handle);
    during(4, 1, with_sources, PortState::Listening);
    during(8, 10, without, PortState::Listening);
    during(4, 1, without, PortState::Slave);
    during(8, 10, without, PortState::Listening);
    write(out, holdover.update(without, nullptr, now, eve + 86'400 * second));
}

std::string effects(const Intent &intent) {
    std::ostringstream out;
    for (const auto &[key, record] : intent.objects()) {
        out << to_text(key) << '\n';
    }
    for (const std::uint8_t handle : intent.clocks()) {
        const ClockIntent clock = *intent.clock(handle);
        for (const char *timestamping : {"software", "hardware"}) {
            const Ptp4lRendering made = render_ptp4l(clock, {{{"time_stamping", timestamping}}, {}});
            out << made.rendering.file << int{*made.rendering.settings.priority2};
            for (const std::string &note : made.notes) {
                out << note << '\n';
            }
        }
        write_states(out, intent, handle);
    }
    return out.str();
}

// ---- elements and messages -------------------------------------------------------------------------------------------

const SharedHandle &shared_handle() {
    static const SharedHandle handle = make_handle();
    return handle;
}

/** The objects of an element, each of which needs those before it. */
std::vector<Record> objects_of(int profile) {
    const SharedHandle &handle = shared_handle();
    std::vector<Record> all;
    all.push_back(example(handle, profile == 0   ? "default_profile_ordinary_clock.xml"
                                  : profile == 4 ? "g8275_1_boundary_clock.xml"
                                                 : "g8275_2_boundary_clock.xml"));
    all.back().set("clock_handle", 1);
    all.back().set("time_properties.currentUtcOffsetValid", 1);
    all.push_back(port(handle, 1, "eth1"));
    all.push_back(message(handle, "ptp_stream_cfg",
                          {{"port_handle", 1},
                           {"stream_handle", 1},
                           {"log_announce_intrvl", profile == 5 ? 0 : -3},
                           {"log_sync_interval", -4},
                           {"log_min_delay_req_interval", -4},
                           {"unicast", profile == 5}}));
    if (profile == 5) {
        set_ip(all.back(), "dest_addr", "192.0.2.1");
    }
    if (profile != 0) {
        all.push_back(port(handle, 2, "eth2"));
    }
    for (const int index : {1, 2}) {
        all.push_back(message(handle, "ptp_virtual_port_cfg",
                              {{"clk_handle", 1},
                               {"v_port_index", index},
                               {"local_priority", 127 + index},
                               {"port_type", index},
                               {"status", 1},
                               {"prtc_connected", 1},
                               {"time_set_flag", 1}}));
    }
    all.push_back(message(handle, "ptp_g8275_1_ql_update",
                          {{"clk_handle", 1}, {"v_port_index", 1}, {"tod_state", 1}, {"pps_state", 1}}));
    return all;
}

std::vector<Intent> make_stages(int profile) {
    std::vector<Intent> all = {Intent(shared_handle())};
    for (const Record &each : objects_of(profile)) {
        all.push_back(all.back());
        const Answer answer = take(all.back(), each.type(), each.message(), each.handle(), rules());
        EXPECT_EQ(answer.kind, Answer::Kind::Applied) << to_text(answer);
    }
    return all;
}

/** Every stage in which an element of a profile can be. */
const std::vector<Intent> &stages(int profile) {
    static std::map<int, std::vector<Intent>> made;
    const auto [place, is_new] = made.try_emplace(profile);
    if (is_new) {
        place->second = make_stages(profile);
    }
    return place->second;
}

/** A message as it would be sent to an element of a profile. */
Record proper(std::string_view name, int profile) {
    for (const Record &each : objects_of(profile)) {
        if (each.name() == name) {
            return each.clone();
        }
    }
    const SharedHandle &handle = shared_handle();
    if (name == "ptp_v_port_status_update") {
        return message(handle, name,
                       {{"clk_handle", 1},
                        {"v_port_index", 1},
                        {"local_priority", 128},
                        {"port_type", 1},
                        {"status", 1},
                        {"prtc_connected", 1},
                        {"time_set_flag", 1}});
    }
    if (name == "ptp_clock_modify_cmd") {
        return message(handle, name,
                       {{"clock_id", 1},
                        {"priority1", 128},
                        {"priority2", 128},
                        {"local_priority", 128},
                        {"clock_quality.clock_class", 248},
                        {"clock_quality.offset_scaled_log_var", -1}});
    }
    if (name == "ptp_stream_modify_cmd") {
        Record record = message(handle, name,
                                {{"stream_id", 1},
                                 {"log_announce_interval", profile == 5 ? 0 : -3},
                                 {"log_sync_interval", -4},
                                 {"log_min_delay_req_interval", -4}});
        if (profile == 5) {
            set_ip(record, "stream_addr", "192.0.2.1");
        }
        return record;
    }
    if (name == "ptp_utc_offset_cmd") {
        return message(handle, name,
                       {{"utc_offset", 37},
                        {"leap_second_offset", 1},
                        {"leap_second_day", 31},
                        {"leap_second_month", 12},
                        {"leap_second_year", 2025},
                        {"utc_offset_valid", 1}});
    }
    Record record(handle, ptp_cfg_type_find(std::string(name).c_str()));
    for (const char *key : {"clock_id", "port_id", "stream_id", "clk_handle", "v_port_index"}) {
        record.set(key, 1);
    }
    return record;
}

/** Copies of a message in which a field has another value, each of those that tell something. */
std::vector<Record> altered(const Record &sent, const std::string &path) {
    std::vector<Record> all;
    const auto place = find_field(sent.type(), sent.handle(), sent.message(), path);
    if (!place || place->about->is_read_only != 0) {
        return all;
    }
    if (place->about->kind == PTP_CFG_FIELD_STRUCTURE) {
        for (const ptp_cfg_field_description &inner : fields_of(place->about->type)) {
            for (Record &each : altered(sent, path + "." + inner.name)) {
                all.push_back(std::move(each));
            }
        }
        return all;
    }
    all.push_back(sent.clone());
    const std::string type = place->about->type_name;
    if (type == "ip_address") {
        set_ip(all.back(), path, "192.0.2.77");
    } else if (type == "en_address") {
        set_mac(all.back(), path, {{0x01, 0x1b, 0x19, 0, 0, 0}});
        all.push_back(sent.clone());
        set_mac(all.back(), path, {{2, 0, 0, 0, 0, 7}});
    } else if (type == "var_string") {
        set_text(all.back(), path, "another");
    } else if (type != "vrf_info") {
        all.pop_back();
        const std::int64_t value = sent.number_or(path, 0);
        const std::set<std::int64_t> values = {0,  1,  2,   3,   4,  5,  6,  7,         10,
                                               25, 45, 100, 200, -1, -2, -5, value + 1, value - 1};
        for (const std::int64_t other : values) {
            Record copy = sent.clone();
            if (other != value && copy.set(path, other) && copy.number(path) == other) {
                all.push_back(std::move(copy));
            }
        }
    }
    return all;
}

/** What a message comes to at a stage: the answer, and all that follows. */
std::string outcome(const Intent &stage, const Record &sent) {
    Intent intent = stage;
    const Answer answer = take(intent, sent.type(), sent.message(), sent.handle(), rules());
    const std::string kind(to_text(answer.kind));
    return answer.kind == Answer::Kind::Applied ? kind + "\n" + effects(intent) : kind;
}

bool has_effect(const std::string &message_name, const std::string &path) {
    for (const int profile : {0, 4, 5}) {
        const Record sent = proper(message_name, profile);
        const std::vector<Record> others = altered(sent, path);
        for (const Intent &stage : stages(profile)) {
            const std::string usual = outcome(stage, sent);
            for (const Record &other : others) {
                if (outcome(stage, other) != usual) {
                    return true;
                }
            }
        }
    }
    return false;
}

class Effects : public testing::TestWithParam<std::string> {};

TEST_P(Effects, AreThoseThatTheRowSays) {
    // The size follows its text; the name of a virtual port is for people who read the status.
    const std::set<std::string> not_seen = {"port_name_size", "v_port_name_size", "v_port_name"};
    for (const FieldBehaviour &field : behaviour_of(GetParam())->fields) {
        if (!not_seen.contains(field.path)) {
            EXPECT_EQ(has_effect(GetParam(), field.path), field.source != FieldSource::Absent)
                << field.path << " is said to be " << to_text(field.source);
        }
    }
}

std::vector<std::string> applied_messages() {
    std::vector<std::string> names;
    for (const MessageAction &action : message_actions()) {
        names.emplace_back(action.message);
    }
    return names;
}

INSTANTIATE_TEST_SUITE_P(Messages, Effects, testing::ValuesIn(applied_messages()),
                         [](const auto &each) { return each.param; });

}  // namespace
}  // namespace ptp_agent::test
