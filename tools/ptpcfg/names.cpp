// Describes literals and fields.
#include "names.h"

#include <algorithm>

#include "failure.h"
#include "table.h"
#include "value_forms.h"

namespace ptpcfg {
namespace {

struct owned_field {
    const ptp_cfg_type *owner;
    ptp_cfg_field_description field;
};

std::string values_text(const ptp_cfg_type *enumeration) {
    table rows;
    rows.row({"VALUE", "LITERAL", "MEANING"});
    for (const enumeration_literal &row : literals_of(enumeration)) {
        rows.row({std::to_string(row.number), row.literal, row.doc});
    }
    return "\n" + rows.text();
}

std::string text_of(const owned_field &found) {
    const ptp_cfg_field_description &field = found.field;
    const std::string owner = describe(found.owner).short_name;
    std::string text = owner + "." + field.name + ": " +
                       (describe(found.owner).kind == PTP_CFG_MESSAGE ? "payload of a message\n" : "field\n");
    if (const std::string doc = doc_of(field); !doc.empty()) {
        text += doc + "\n";
    }
    table facts;
    facts.row({"type", type_of(field)});
    facts.row({"since", "variant " + std::to_string(field.since) + " of " + owner});
    if (const std::string form = form_of(field); !form.empty()) {
        facts.row({"written as", form});
    }
    text += "\n" + facts.text();
    return field.kind == PTP_CFG_FIELD_ENUMERATION ? text + values_text(field.type) : text;
}

std::optional<ptp_cfg_field_description> field_of(const ptp_cfg_type *type, std::string_view name) {
    for (const ptp_cfg_field_description &field : fields_of(type)) {
        if (field.name == name) {
            return field;
        }
    }
    return std::nullopt;
}

[[noreturn]] void fail_without(const ptp_cfg_type *type, const std::string &name) {
    std::vector<std::string> known;
    for (const ptp_cfg_field_description &field : fields_of(type)) {
        known.emplace_back(field.name);
    }
    const std::string owner = describe(type).short_name;
    const std::string hint = suggestion(name, known);
    throw failure(exit_code::usage, owner + " has no field '" + name + "'" +
                                        (hint.empty() ? "; 'ptpcfg describe " + owner + "' lists them" : hint));
}

/** The field at the end of TYPE/FIELD/FIELD... */
owned_field field_at_end(const ptp_cfg_type *type, std::string_view rest) {
    for (;;) {
        const size_t end = std::min(rest.find('/'), rest.size());
        const std::string name(rest.substr(0, end));
        const std::optional<ptp_cfg_field_description> field = field_of(type, name);
        if (!field || (end < rest.size() && field->type == nullptr)) {
            fail_without(type, std::string(field ? rest : std::string_view(name)));
        }
        if (end == rest.size()) {
            return {type, *field};
        }
        type = field->type;
        rest.remove_prefix(end + 1);
    }
}

}  // namespace

std::string first_sentence(const char *doc) {
    std::string text = doc == nullptr ? "" : doc;
    text = text.substr(0, text.find(". "));
    return text.ends_with('.') ? text.substr(0, text.size() - 1) : text;
}

std::string doc_of(const ptp_cfg_field_description &field) {
    std::string doc = field.doc == nullptr ? "" : field.doc;
    if (field.unit != nullptr && field.unit[0] != 0) {
        doc += " [" + std::string(field.unit) + "]";
    }
    return doc;
}

std::string type_of(const ptp_cfg_field_description &field) {
    return field.is_array != 0 ? std::string(field.type_name) + "[" + std::to_string(field.capacity) + "]"
                               : field.type_name;
}

std::optional<std::string> literal_text(const std::string &name) {
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        const ptp_cfg_type *type = ptp_cfg_type_at(index);
        for (const enumeration_literal &row : literals_of(type)) {
            if (row.literal == name) {
                return name + ": value " + std::to_string(row.number) + " of " + describe(type).name + "\n" +
                       (row.doc.empty() ? "" : row.doc + "\n") + "\n" + "since  variant " + std::to_string(row.since) +
                       " of " + describe(type).name + "\n";
            }
        }
    }
    return std::nullopt;
}

std::optional<std::string> field_text(const std::string &name) {
    std::string path = name;
    std::replace(path.begin(), path.end(), '.', '/');
    if (const size_t end = path.find('/'); end != std::string::npos) {
        return text_of(field_at_end(type_named(path.substr(0, end)), std::string_view(path).substr(end + 1)));
    }
    std::string text;
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        const ptp_cfg_type *type = ptp_cfg_type_at(index);
        if (const std::optional<ptp_cfg_field_description> field = field_of(type, name)) {
            text += (text.empty() ? "" : "\n") + text_of({type, *field});
        }
    }
    return text.empty() ? std::nullopt : std::optional(text);
}

}  // namespace ptpcfg
