// Finds types of loaded modules by name, and the nearest name to one that is misspelt.
#include "module_types.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "velalib/runtime.h"

namespace velalib {
namespace {

/** A text field of a record, which need not be terminated. */
std::string_view text_of(const char (&field)[64]) { return {field, strnlen(field, sizeof field)}; }

/** Calls `visit` with every record until it returns true. */
template <typename visitor>
void visit_types(visitor visit) {
    for (const vela_module *module = vela_module_tot_root.first; module != nullptr; module = module->next) {
        for (vela_type_info *const *record = module->types; record != nullptr && *record != nullptr; ++record) {
            if (visit(**record)) {
                return;
            }
        }
    }
}

/** Characters to insert, remove or replace until one text is the other. */
size_t edit_distance(std::string_view from, std::string_view to) {
    std::vector<size_t> row(to.size() + 1);
    for (size_t i = 0; i < row.size(); ++i) {
        row[i] = i;
    }
    for (size_t i = 0; i < from.size(); ++i) {
        size_t diagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j < to.size(); ++j) {
            const size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = std::exchange(row[j + 1], std::min({replaced, row[j] + 1, row[j + 1] + 1}));
        }
    }
    return row.back();
}

}  // namespace

const vela_type_info *find_type(std::string_view name) {
    const vela_type_info *found = nullptr;
    visit_types([&](const vela_type_info &record) {
        found = text_of(record.type_name) == name ? &record : nullptr;
        return found != nullptr;
    });
    return found;
}

bool is_message(const vela_type_info &record) { return text_of(record.kind) == "message"; }

int newest_variant(const vela_type_info &record) {
    return record.variant_table == nullptr ? 0 : record.variant_table->count - 1;
}

std::string type_advice(std::string_view name, bool of_message) {
    std::string_view nearest;
    size_t least = std::max<size_t>(name.size() / 3, 1) + 1;
    visit_types([&](const vela_type_info &record) {
        const std::string_view known = text_of(record.type_name);
        if (is_message(record) != of_message || name.size() > sizeof record.type_name) {
            return false;
        }
        // The short name of a message, without its ending, is the likeliest slip.
        const bool is_beginning = known.substr(0, name.size()) == name && known.substr(name.size()) == "_message";
        const size_t distance = is_beginning ? 0 : edit_distance(name, known);
        if (distance < least) {
            least = distance;
            nearest = known;
        }
        return false;
    });
    return nearest.empty() ? "correct the name, or load the module that has it"
                           : "did you mean " + std::string(nearest) + "?";
}

}  // namespace velalib
