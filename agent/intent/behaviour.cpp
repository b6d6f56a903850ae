// What each message does here, as agent/behaviour.toml says.
#include "agent/intent/behaviour.h"

#include <toml++/toml.h>

#include <algorithm>
#include <array>
#include <map>
#include <stdexcept>
#include <utility>

#include "agent/intent/fields.h"
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

/** What behaviour.toml says, by message. */
std::map<std::string, Behaviour> read_rows() {
    std::map<std::string, Behaviour> rows;
    const toml::table table = toml::parse(embedded_file("behaviour.toml"), std::string_view("behaviour.toml"));
    for (const toml::node &message : *table["message"].as_array()) {
        Behaviour behaviour = read(*message.as_table());
        rows.emplace(behaviour.message, std::move(behaviour));
    }
    return rows;
}

bool is_named(const Behaviour &behaviour, std::string_view leaf) {
    return std::any_of(behaviour.fields.begin(), behaviour.fields.end(), [&](const FieldBehaviour &field) {
        return leaf.starts_with(field.path) &&
               (field.path.empty() || leaf.size() == field.path.size() || leaf[field.path.size()] == '.');
    });
}

/** Adds what the schema has and no row names. */
void add_unnamed(const ptp_cfg_type *type, const std::string &before, Behaviour &behaviour) {
    for (const ptp_cfg_field_description &field : fields_of(type)) {
        const std::string leaf = before + field.name;
        if (field.kind == PTP_CFG_FIELD_STRUCTURE) {
            add_unnamed(field.type, leaf + ".", behaviour);
        } else if (!is_named(behaviour, leaf)) {
            behaviour.fields.push_back({leaf, FieldSource::Absent, "this release of the agent does nothing with it"});
        }
    }
}

std::vector<Behaviour> read_all() {
    std::map<std::string, Behaviour> rows = read_rows();
    std::vector<Behaviour> all;
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        const ptp_cfg_type_description message = describe(ptp_cfg_type_at(index));
        if (message.kind != PTP_CFG_MESSAGE) {
            continue;
        }
        const auto row = rows.extract(message.short_name);
        all.push_back(row ? row.mapped()
                          : Behaviour{message.short_name,
                                      Behaviour::Kind::NotExpressible,
                                      "this release of the agent does not know it",
                                      false,
                                      {}});
        for (const ptp_cfg_field_description &payload : fields_of(ptp_cfg_type_at(index))) {
            if (payload.type != nullptr) {
                add_unnamed(payload.type, "", all.back());
            }
        }
    }
    if (!rows.empty()) {
        throw std::logic_error("behaviour.toml: " + rows.begin()->first + " is no message");
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
