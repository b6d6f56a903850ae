// Fills descriptions once, and finds names close to those that do not exist.
#include "reflection.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <unordered_map>

#include "failure.h"
#include "no_such.h"

namespace ptpcfg {

ptp_cfg_type_description describe(const ptp_cfg_type *type) {
    ptp_cfg_type_description description{};
    description.size = sizeof description;
    ptp_cfg_type_describe(type, &description);
    return description;
}

std::string variants_text(const ptp_cfg_type_description &type) {
    return type.newest_variant == 0 ? "has variant 0 only"
                                    : "has the variants 0 to " + std::to_string(type.newest_variant);
}

const std::vector<ptp_cfg_field_description> &fields_of(const ptp_cfg_type *type) {
    static std::unordered_map<const ptp_cfg_type *, std::vector<ptp_cfg_field_description>> known;
    const auto [at, is_new] = known.try_emplace(type);
    std::vector<ptp_cfg_field_description> &fields = at->second;
    if (!is_new) {
        return fields;
    }
    fields.resize(describe(type).field_count);
    for (u_int32 index = 0; index < fields.size(); ++index) {
        fields[index].size = sizeof fields[index];
        ptp_cfg_field_describe(type, index, &fields[index]);
    }
    return fields;
}

std::vector<enumeration_literal> literals_of(const ptp_cfg_type *type) {
    std::vector<enumeration_literal> literals;
    ptp_cfg_literal row{};
    for (u_int32 index = 0; ptp_cfg_literal_describe(type, index, &row) != 0; ++index) {
        literals.push_back({row.number, row.literal, row.doc == nullptr ? "" : row.doc, row.since});
    }
    return literals;
}

std::optional<enumeration_literal> literal_of(const ptp_cfg_type *type, u_int32 number) {
    for (const enumeration_literal &row : literals_of(type)) {
        if (row.number == number) {
            return row;
        }
    }
    return std::nullopt;
}

namespace {

/** Insertions, deletions and replacements between two names. */
size_t edit_distance(const std::string &a, const std::string &b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0]++;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row.back();
}

}  // namespace

std::string nearest_name(const std::string &name, const std::vector<std::string> &known) {
    std::string best;
    size_t best_distance = std::max<size_t>(name.size() / 3, 1) + 1;
    for (const std::string &candidate : known) {
        const size_t distance = edit_distance(name, candidate);
        if (distance < best_distance) {
            best_distance = distance;
            best = candidate;
        }
    }
    return best;
}

std::string suggestion(const std::string &name, const std::vector<std::string> &known) {
    const std::string nearest = nearest_name(name, known);
    return nearest.empty() ? "" : "; did you mean " + nearest + "?";
}

const ptp_cfg_type *type_named(const std::string &name) {
    if (const ptp_cfg_type *type = ptp_cfg_type_find(name.c_str())) {
        return type;
    }
    std::vector<std::string> known;
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        known.emplace_back(describe(ptp_cfg_type_at(index)).short_name);
    }
    throw failure(exit_code::usage, no_such("type or message", name, known) + " 'ptpcfg describe' lists them");
}

const ptp_cfg_type *message_named(const std::string &name) {
    const ptp_cfg_type *type = ptp_cfg_type_find(name.c_str());
    if (type != nullptr && describe(type).kind == PTP_CFG_MESSAGE) {
        return type;
    }
    std::vector<std::string> known;
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        const ptp_cfg_type_description each = describe(ptp_cfg_type_at(index));
        if (each.kind == PTP_CFG_MESSAGE) {
            known.emplace_back(each.short_name);
        }
    }
    throw failure(exit_code::usage, no_such("message", name, known) + " 'ptpcfg describe' lists the messages");
}

std::string error_text(u_int32 code) {
    switch (code) {
        case VELA_ENOMEM:
            return "there is no memory, or nothing to read";
        case VELA_EINVAL:
            return "these bytes or values are not valid here (22)";
        case VELA_ENOSPC:
            return "a text is too long (28)";
        case VELA_EEPOCH:
            return "the variant in use does not have this field or value (43)";
        case VELA_EDOMAIN:
            return "the domain in use does not allow this message (52)";
        case VELA_EMSGSIZE:
            return "the bytes end too early (90)";
        default:
            return system_error_text(code);
    }
}

std::string error_text(vela_handle *handle, u_int32 code) {
    char call[512];
    vela_error_text(handle, code, call, sizeof call);
    return error_text(code) + " [" + call + "]";
}

std::string system_error_text(u_int32 code) {
    return std::string(std::strerror(static_cast<int>(code))) + " (" + std::to_string(code) + ")";
}

}  // namespace ptpcfg
