// JSON of the agent's state.
#include "agent/serve/status.h"

#include <nlohmann/json.hpp>

#include "agent/intent/behaviour.h"
#include "base/clocks.h"

namespace ptp_agent {

std::string_view to_text(PortState state);

namespace {

using Json = nlohmann::ordered_json;

std::string text_of(const ClockIdentity &identity) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t octet : identity) {
        text += {digits[octet >> 4], digits[octet & 15]};
        text += text.size() == 6 || text.size() == 11 ? "." : "";
    }
    return text;
}

Json json_of(const ClockQuality &quality) {
    return {{"clock_class", quality.clock_class},
            {"clock_accuracy", quality.clock_accuracy},
            {"offset_scaled_log_variance", quality.offset_scaled_log_variance}};
}

Json json_of(const TimeProperties &properties) {
    return {{"current_utc_offset", properties.current_utc_offset},
            {"current_utc_offset_valid", properties.current_utc_offset_valid},
            {"leap59", properties.leap59},
            {"leap61", properties.leap61},
            {"time_traceable", properties.time_traceable},
            {"frequency_traceable", properties.frequency_traceable},
            {"ptp_timescale", properties.ptp_timescale},
            {"time_source", properties.time_source}};
}

Json json_of(const PortObservation &port) {
    Json json = {{"number", port.number}};
    if (port.interface) {
        json["interface"] = *port.interface;
    }
    if (port.data_set) {
        json["state"] = to_text(port.data_set->state);
    }
    if (port.timestamping) {
        json["timestamping"] = *port.timestamping == 0 ? "software" : "hardware";
    }
    return json;
}

Json json_of(const ForeignMaster &master) {
    Json json = {{"port", master.receiving_port},
                 {"clock", text_of(master.sender.clock)},
                 {"port_number", master.sender.port},
                 {"grandmaster", text_of(master.grandmaster)},
                 {"grandmaster_quality", json_of(master.grandmaster_quality)},
                 {"steps_removed", master.steps_removed},
                 {"qualified", master.qualified}};
    if (!master.address.empty()) {
        json["address"] = master.address;
    }
    return json;
}

/** The data sets; what the daemon does not say is not there. */
Json data_sets(const Observation &found) {
    Json json = Json::object();
    if (found.default_ds) {
        json["default"] = {
            {"identity", text_of(found.default_ds->identity)}, {"domain", found.default_ds->domain},
            {"priority1", found.default_ds->priority1},        {"priority2", found.default_ds->priority2},
            {"slave_only", found.default_ds->slave_only},      {"number_ports", found.default_ds->number_ports},
            {"quality", json_of(found.default_ds->quality)}};
    }
    if (found.current_ds) {
        json["current"] = {{"steps_removed", found.current_ds->steps_removed},
                           {"offset_from_master_ns", static_cast<double>(found.current_ds->offset_from_master) / 65536},
                           {"mean_path_delay_ns", static_cast<double>(found.current_ds->mean_path_delay) / 65536}};
    }
    if (found.parent_ds) {
        json["parent"] = {{"clock", text_of(found.parent_ds->parent.clock)},
                          {"port_number", found.parent_ds->parent.port},
                          {"grandmaster", text_of(found.parent_ds->grandmaster)},
                          {"grandmaster_quality", json_of(found.parent_ds->grandmaster_quality)},
                          {"grandmaster_priority1", found.parent_ds->grandmaster_priority1},
                          {"grandmaster_priority2", found.parent_ds->grandmaster_priority2}};
    }
    if (found.time_properties) {
        json["time_properties"] = json_of(*found.time_properties);
    }
    return json;
}

Json json_of(const ClockUnit &clock) {
    const Observation &found = clock.last_observation();
    const Supervisor &process = clock.control().supervisor();
    Json json = {{"handle", clock.handle()},
                 {"daemon", clock.daemon().name()},
                 {"supervision", clock.control().is_external() ? "external" : "child"},
                 {"answers", found.default_ds.has_value()},
                 {"state", to_text(clock.holdover().state)},
                 {"reason", clock.holdover().reason},
                 {"clock_class", clock.holdover().clock_class},
                 {"observed_monotonic_ns", found.monotonic_ns},
                 {"observed_wall_ns", found.wall_ns},
                 {"data_sets", data_sets(found)},
                 {"ports", Json::array()},
                 {"reports", clock.reports()},
                 {"trouble", clock.control().trouble()}};
    if (!clock.control().is_external()) {
        json["process"] = {{"state", to_text(process.state())},
                           {"id", process.process()},
                           {"starts", process.starts()},
                           {"failures", process.failures()},
                           {"last_end", process.last_end()}};
    }
    for (const PortObservation &port : found.ports) {
        json["ports"].push_back(json_of(port));
    }
    if (clock.hears_masters()) {
        json["foreign_masters"] = Json::array();
        for (const ForeignMaster &master : found.foreign_masters) {
            json["foreign_masters"].push_back(json_of(master));
        }
    }
    if (clock.holdover().estimated_error_ns) {
        json["estimated_error_ns"] = *clock.holdover().estimated_error_ns;
    }
    return json;
}

/** What each message does here, and where each of its fields comes from. */
Json behaviour() {
    Json json = Json::object();
    for (const Behaviour &each : behaviours()) {
        Json fields = Json::object();
        for (const FieldBehaviour &field : each.fields) {
            fields[field.path.empty() ? "." : field.path] = to_text(field.source);
        }
        json[each.message] = {{"kind", to_text(each.kind)}, {"how", each.how}, {"fields", fields}};
    }
    return json;
}

}  // namespace

std::string status_json(const Agent &agent) {
    Json json = {{"summary", agent.summary()},
                 {"uptime_s", (base::clock_ns(CLOCK_MONOTONIC) - agent.started_ns()) / 1'000'000'000},
                 {"applying", agent.is_applying()},
                 {"last_refusal", agent.last_refusal()},
                 {"clocks", Json::array()},
                 {"control_planes", Json::array()},
                 {"messages", Json::object()}};
    for (const auto &[handle, clock] : agent.clocks()) {
        json["clocks"].push_back(json_of(*clock));
    }
    for (const auto &plane : agent.control_planes()) {
        const vela_channel_statistics counts = plane->statistics();
        json["control_planes"].push_back({{"uri", plane->uri()},
                                          {"peers", counts.peers},
                                          {"received", counts.received},
                                          {"sent", counts.sent},
                                          {"lost", counts.lost}});
    }
    for (const auto &[message, counts] : agent.messages()) {
        json["messages"][message] = {{"applied", counts.applied},
                                     {"refused", counts.refused},
                                     {"not_expressible", counts.not_expressible},
                                     {"not_for_us", counts.not_for_us}};
    }
    json["behaviour"] = behaviour();
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string events_json(Agent &agent) {
    Json json = Json::array();
    for (const LoggedEvent &event : agent.log().events()) {
        json.push_back({{"number", event.number},
                        {"monotonic_ns", event.monotonic_ns},
                        {"wall_ns", event.wall_ns},
                        {"severity", static_cast<unsigned>(event.severity)},
                        {"subject", event.subject},
                        {"text", event.text}});
    }
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string config_json(const Agent &agent) {
    Json json = {{"file", agent.store().path()},
                 {"generation", agent.store().generation()},
                 {"messages", Json::array()},
                 {"daemons", Json::object()}};
    for (const auto &[key, record] : agent.intent().objects()) {
        ptp_cfg_type_description description = {};
        description.size = sizeof description;
        ptp_cfg_type_describe(record->type(), &description);
        std::string xml(65536, '\0');
        u_int32 err = 0;
        const u_int32 length = description.operations->to_xml(record->handle(), 0, xml.data(), record->message(),
                                                              static_cast<u_int32>(xml.size()), &err);
        xml.resize(err == 0 ? length : 0);
        json["messages"].push_back({{"object", to_text(key)}, {"message", record->name()}, {"xml", xml}});
    }
    for (const auto &[handle, clock] : agent.clocks()) {
        if (clock->control().running()) {
            json["daemons"][std::to_string(handle)] = clock->control().running()->file;
        }
    }
    return json.dump(2, ' ', false, Json::error_handler_t::replace);
}

}  // namespace ptp_agent
