// What the control plane asked for, as records by their handles, and the views of it.
#include "agent/intent/intent.h"

#include <utility>

#include "agent/intent/objects.h"

namespace ptp_agent {

SharedRecord Intent::find(const ObjectKey &key) const {
    const auto place = objects_.find(key);
    return place == objects_.end() ? nullptr : place->second;
}

void Intent::put(const ObjectKey &key, SharedRecord record) {
    if (record == nullptr) {
        objects_.erase(key);
    } else {
        objects_[key] = std::move(record);
    }
}

std::vector<std::uint8_t> Intent::clocks() const {
    std::vector<std::uint8_t> handles;
    for (const auto &[key, record] : objects_) {
        if (key.kind == ObjectKind::Clock) {
            handles.push_back(static_cast<std::uint8_t>(key.first));
        }
    }
    return handles;
}

std::optional<std::uint8_t> Intent::clock_of_port(std::uint64_t port) const {
    const SharedRecord record = find({ObjectKind::Port, port});
    return record == nullptr ? std::nullopt
                             : std::optional(static_cast<std::uint8_t>(record->number_or("clk_handle", 0)));
}

ElementSettings Intent::settings() const {
    const auto setting = [this](ObjectKind kind) { return find({kind}); };
    return {setting(ObjectKind::UtcOffset),
            setting(ObjectKind::UtcHoldoverTimeout),
            setting(ObjectKind::AcceptableClockClass),
            setting(ObjectKind::PrtcOnly),
            setting(ObjectKind::MasterAlwaysOn),
            setting(ObjectKind::HoldoverTimer),
            setting(ObjectKind::FrequencySource),
            setting(ObjectKind::PpsInput),
            setting(ObjectKind::TodInput)};
}

std::optional<ClockIntent> Intent::clock(std::uint8_t handle) const {
    SharedRecord clock = find({ObjectKind::Clock, handle});
    if (clock == nullptr) {
        return std::nullopt;
    }
    std::vector<PortIntent> ports;
    std::vector<VirtualPortIntent> virtual_ports;
    for (const auto &[key, record] : objects_) {  // ports come before streams, and virtual ports after both
        if (key.kind == ObjectKind::Port && record->number_or("clk_handle", 0) == handle) {
            ports.push_back({record, {}});
        } else if (key.kind == ObjectKind::Stream) {
            for (PortIntent &port : ports) {
                if (port.port->number("port_num") == record->number("port_handle")) {
                    port.streams.push_back(record);
                }
            }
        } else if (key.kind == ObjectKind::VirtualPort && key.first == handle) {
            virtual_ports.push_back({record, find({ObjectKind::QualityLevel, key.first, key.second})});
        }
    }
    return ClockIntent(std::move(clock), std::move(ports), std::move(virtual_ports), settings());
}

std::string to_text(const ObjectKey &key) {
    const ObjectClass &of = class_of(key.kind);
    if (of.keys.empty()) {
        return {};
    }
    if (of.keys.size() == 1) {
        return std::string(of.noun) + " " + std::to_string(key.first);
    }
    return std::string(of.noun) + " " + std::to_string(key.second) + " of clock " + std::to_string(key.first);
}

std::string to_text(const Violation &violation) {
    std::string line = violation.object;
    const auto add = [&line](std::string_view before, const std::string &text) {
        if (!text.empty()) {
            line.append(line.empty() ? "" : before).append(text);
        }
    };
    add(": ", violation.field);
    if (!violation.field.empty()) {
        add(" is ", violation.value);
    }
    add(", allowed is ", violation.allowed);
    add(": ", violation.reason);
    if (!violation.reference.empty()) {
        line += " (" + violation.reference + ")";
    }
    if (!violation.rule.empty()) {
        line += " [" + violation.rule + "]";
    }
    return line;
}

std::string_view to_text(Answer::Kind kind) {
    switch (kind) {
        case Answer::Kind::Applied:
            return "applied";
        case Answer::Kind::Refused:
            return "refused";
        case Answer::Kind::NotExpressible:
            return "not expressible";
        default:
            return "not for us";
    }
}

std::string to_text(const Answer &answer) {
    std::string text = answer.message + (answer.object.empty() ? "" : ", " + answer.object) + ": ";
    text += to_text(answer.kind);
    for (const Violation &violation : answer.violations) {
        text += "\n  " + to_text(violation);
    }
    for (const std::string &field : answer.unused) {
        text += "\n  " + field;
    }
    return text;
}

}  // namespace ptp_agent
