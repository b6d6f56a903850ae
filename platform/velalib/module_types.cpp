// Finds types of loaded modules by name, and the nearest name to one that is misspelt.
#include "module_types.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace velalib {
namespace {

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
    return find_type_if([name](const vela_type_info &type_info) { return text_of(type_info.type_name) == name; });
}

bool is_message(const vela_type_info &type_info) { return text_of(type_info.kind) == "message"; }

int8 latest_variant(const vela_type_info &type_info) {
    return static_cast<int8>(type_info.variant_table == nullptr ? 0 : type_info.variant_table->count - 1);
}

std::string type_advice(std::string_view name, bool of_message) {
    std::string_view nearest;
    size_t least = std::max<size_t>(name.size() / 3, 1) + 1;
    find_type_if([&](const vela_type_info &type_info) {
        const std::string_view known = text_of(type_info.type_name);
        if (is_message(type_info) != of_message || name.size() > sizeof type_info.type_name) {
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
