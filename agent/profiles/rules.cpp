// Runs the rules over an intent: each rule over each object that it is about.
#include "agent/profiles/rules.h"

#include <algorithm>
#include <array>
#include <span>
#include <stdexcept>

#include "agent/intent/objects.h"
#include "agent/profiles/interface_name.h"
#include "agent/profiles/rule.h"

namespace ptp_agent {

/** An object with what it belongs to, as rules see it. */
struct RuleBook::Subject {
    std::string_view kind;
    std::string name;
    const Record *record;
    const ClockIntent *clock;
    const PortIntent *port;
};

namespace {

using Subject = RuleBook::Subject;

/** A value that a path leads to. */
struct Value {
    std::string shown;
    std::optional<std::int64_t> number;
};

Value counted(std::size_t count) { return {std::to_string(count), static_cast<std::int64_t>(count)}; }

std::optional<Value> value_at(const Subject &subject, std::string_view path) {
    const Record *record = subject.record;
    const PortIntent *port = subject.port;
    if (path.starts_with("clock/")) {
        record = &subject.clock->clock();
        port = nullptr;
        path.remove_prefix(6);
    } else if (path.starts_with("port/") && port != nullptr) {
        record = port->port.get();
        path.remove_prefix(5);
    }
    if (path == "#ports") {
        return counted(subject.clock->ports().size());
    }
    if (path == "#streams") {
        return counted(port == nullptr ? 0 : port->streams.size());
    }
    const std::string shown = record->shown(path);
    return shown == "absent" ? std::nullopt : std::optional(Value{shown, record->number(path)});
}

bool contains(const std::vector<std::string> &values, const std::string &value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

/** How many ports of the clock have the value. */
std::size_t ports_with(const Condition &condition, const Subject &subject, const std::string &value) {
    const std::vector<PortIntent> &ports = subject.clock->ports();
    return static_cast<std::size_t>(std::count_if(ports.begin(), ports.end(), [&](const PortIntent &each) {
        return each.port->shown(condition.field) == value;
    }));
}

bool compares_well(const Condition &condition, const Subject &subject, const Value &value) {
    if (!condition.at_most_field.empty()) {
        const auto most = value_at(subject, condition.at_most_field);
        if (most && value.number > most->number) {
            return false;
        }
    }
    if (!condition.same_as_field.empty()) {
        const auto other = value_at(subject, condition.same_as_field);
        if (other && value.shown != other->shown) {
            return false;
        }
    }
    return !condition.is_unique || ports_with(condition, subject, value.shown) == 1;
}

/** Whether a value is as the condition wants it; what a record is too old to have, nothing is wrong with. */
bool holds(const Condition &condition, const Subject &subject) {
    const std::optional<Value> value = value_at(subject, condition.field);
    if (!value) {
        return true;
    }
    if (condition.range && (value->number < condition.range->first || value->number > condition.range->second)) {
        return false;
    }
    if (!condition.one_of.empty() && !contains(condition.one_of, value->shown)) {
        return false;
    }
    if (contains(condition.not_of, value->shown) || (condition.is_interface && !is_interface_name(value->shown))) {
        return false;
    }
    return compares_well(condition, subject, *value);
}

std::string joined(const std::vector<std::string> &values) {
    std::string text;
    for (const std::string &value : values) {
        text += (text.empty() ? "" : ", ") + value;
    }
    return text;
}

std::string allowed_text(const Rule &rule, const Subject &subject) {
    const Condition &must = rule.must;
    if (!rule.allowed.empty()) {
        return rule.allowed;
    }
    if (must.range) {
        const auto &[least, most] = *must.range;
        return least == most ? std::to_string(least) : std::to_string(least) + " to " + std::to_string(most);
    }
    if (!must.one_of.empty()) {
        return joined(must.one_of);
    }
    if (!must.not_of.empty()) {
        return "anything but " + joined(must.not_of);
    }
    const std::string &other = must.at_most_field.empty() ? must.same_as_field : must.at_most_field;
    const std::optional<Value> limit = other.empty() ? std::nullopt : value_at(subject, other);
    return limit ? (must.at_most_field.empty() ? "" : "at most ") + limit->shown + ", the " + other : std::string();
}

std::vector<Subject> subjects_of(const ClockIntent &clock) {
    const std::string of_clock = " of clock " + std::to_string(clock.handle());
    std::vector<Subject> all = {{"clock", "clock " + std::to_string(clock.handle()), &clock.clock(), &clock, nullptr}};
    for (const PortIntent &port : clock.ports()) {
        all.push_back({"port", "port " + port.port->shown("port_num") + of_clock, port.port.get(), &clock, &port});
        for (const SharedRecord &stream : port.streams) {
            all.push_back(
                {"stream", "stream " + stream->shown("stream_handle") + of_clock, stream.get(), &clock, &port});
        }
    }
    for (const VirtualPortIntent &port : clock.virtual_ports()) {
        all.push_back({"virtual_port", "virtual port " + port.port->shown("v_port_index") + of_clock, port.port.get(),
                       &clock, nullptr});
    }
    return all;
}

/** Settings belong to no clock. */
std::vector<Subject> settings_of(const Intent &intent) {
    std::vector<Subject> all;
    for (const auto &[key, record] : intent.objects()) {
        if (class_of(key.kind).keys.empty()) {
            all.push_back({record->name(), std::string(record->name()), record.get(), nullptr, nullptr});
        }
    }
    return all;
}

Violation violation_of(const RuleSet &set, const Rule &rule, const Subject &subject) {
    Violation violation;
    violation.kind = set.kind;
    violation.object = subject.name;
    violation.field = rule.must.field;
    violation.value = value_at(subject, rule.must.field).value_or(Value{}).shown;
    violation.allowed = allowed_text(rule, subject);
    violation.reason = rule.reason;
    violation.reference = rule.reference;
    violation.rule = rule.id;
    return violation;
}

struct ProfileFile {
    std::string_view name;
    std::string_view file;
};

constexpr std::array<ProfileFile, 3> profile_files = {
    {{"default", "default.toml"}, {"g8275.1", "g8275_1.toml"}, {"g8275.2", "g8275_2.toml"}}};
constexpr std::array<std::string_view, 2> general_files = {"every_clock.toml", "ptp4l.toml"};

}  // namespace

struct RuleBook::Rules {
    std::vector<RuleSet> sets;
    bool is_chosen = false;  // the profile, by the caller
};

RuleBook::RuleBook(std::string_view profile) {
    auto rules = std::make_unique<Rules>();
    for (const std::string_view file : general_files) {
        rules->sets.push_back(read_rules(file));
    }
    for (const ProfileFile &each : profile_files) {
        if (profile.empty() || profile == each.name) {
            rules->sets.push_back(read_rules(each.file));
        }
    }
    rules->is_chosen = !profile.empty();
    if (rules->is_chosen && rules->sets.size() == general_files.size()) {
        throw std::invalid_argument("there is no profile '" + std::string(profile) + "'; there are " +
                                    joined(profiles()));
    }
    rules_ = std::move(rules);
}

RuleBook::~RuleBook() = default;
RuleBook::RuleBook(RuleBook &&) noexcept = default;

std::vector<std::string> RuleBook::profiles() {
    std::vector<std::string> names;
    for (const ProfileFile &each : profile_files) {
        names.emplace_back(each.name);
    }
    return names;
}

/** Runs every rule of the sets that hold for a profile over the objects; an empty one runs those of every clock alone. */
void RuleBook::run(std::span<const Subject> subjects, const std::string &profile, std::vector<Violation> &found) const {
    for (const Subject &subject : subjects) {
        const auto is_met = [&subject](const Condition &each) { return holds(each, subject); };
        for (const RuleSet &set : rules_->sets) {
            const bool is_chosen = rules_->is_chosen && !profile.empty();
            if (!set.clk_profile.empty() && !is_chosen && set.clk_profile != profile) {
                continue;
            }
            for (const Rule &rule : set.rules) {
                if (rule.object == subject.kind && std::all_of(rule.only_if.begin(), rule.only_if.end(), is_met) &&
                    !holds(rule.must, subject)) {
                    found.push_back(violation_of(set, rule, subject));
                }
            }
        }
    }
}

std::vector<Violation> RuleBook::check(const ClockIntent &clock) const {
    std::vector<Violation> found;
    run(subjects_of(clock), clock.clock().shown("clk_profile"), found);
    return found;
}

std::vector<Violation> RuleBook::check(const Intent &intent) const {
    std::vector<Violation> found;
    for (const std::uint8_t handle : intent.clocks()) {
        const ClockIntent clock = *intent.clock(handle);
        run(subjects_of(clock), clock.clock().shown("clk_profile"), found);
    }
    run(settings_of(intent), {}, found);
    return found;
}

}  // namespace ptp_agent
