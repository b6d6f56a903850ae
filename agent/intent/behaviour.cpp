// What each message does here, as agent/behaviour.toml says.
#include "agent/intent/behaviour.h"

#include <toml++/toml.h>

#include <array>
#include <stdexcept>
#include <utility>

#include "agent/profiles/embedded.h"

namespace ptp_agent {
namespace {

constexpr std::array<std::pair<std::string_view, FieldSource>, 4> sources = {{
    {"daemon", FieldSource::Daemon},
    {"configured", FieldSource::Configured},
    {"derived", FieldSource::Derived},
    {"absent", FieldSource::Absent},
}};

constexpr std::array<std::pair<std::string_view, Behaviour::Kind>, 3> kinds = {{
    {"applied", Behaviour::Kind::Applied},
    {"reported", Behaviour::Kind::Reported},
    {"not_expressible", Behaviour::Kind::NotExpressible},
}};

/** The fields under one source: a table of paths to texts. */
void add_fields(const toml::table &message, Behaviour &behaviour) {
    for (const auto &[name, source] : sources) {
        const toml::table *fields = message[name].as_table();
        if (fields == nullptr) {
            continue;
        }
        for (const auto &[path, how] : *fields) {
            const std::string_view stated = path.str();
            behaviour.fields.push_back(
                {stated == "." ? std::string() : std::string(stated), source, how.value_or(std::string())});
        }
    }
}

Behaviour read(const toml::table &message) {
    Behaviour behaviour;
    behaviour.message = message["name"].value_or(std::string());
    for (const auto &[name, kind] : kinds) {
        if (const auto how = message[name].value<std::string>()) {
            behaviour.kind = kind;
            behaviour.how = *how;
        }
    }
    if (behaviour.message.empty() || behaviour.how.empty()) {
        throw std::logic_error("behaviour.toml: a message without a name or without what it does");
    }
    add_fields(message, behaviour);
    return behaviour;
}

std::vector<Behaviour> read_all() {
    std::vector<Behaviour> all;
    const toml::table table = toml::parse(embedded_file("behaviour.toml"), std::string_view("behaviour.toml"));
    for (const toml::node &message : *table["message"].as_array()) {
        all.push_back(read(*message.as_table()));
    }
    return all;
}

}  // namespace

const std::vector<Behaviour> &behaviours() {
    static const std::vector<Behaviour> all = read_all();
    return all;
}

const Behaviour *behaviour_of(std::string_view message) {
    for (const Behaviour &behaviour : behaviours()) {
        if (behaviour.message == message) {
            return &behaviour;
        }
    }
    return nullptr;
}

std::string_view to_text(Behaviour::Kind kind) {
    switch (kind) {
        case Behaviour::Kind::Applied:
            return "applied";
        case Behaviour::Kind::Reported:
            return "reported";
        default:
            return "not expressible";
    }
}

std::string_view to_text(FieldSource source) { return sources[static_cast<std::size_t>(source)].first; }

}  // namespace ptp_agent
