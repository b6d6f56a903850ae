// Reads keys of TOML tables, and reports those that are wrong.
#define TOML_IMPLEMENTATION  // of toml++, here and nowhere else
#include "table_reader.h"

#include <limits>

namespace codegen {

std::optional<toml::table> parse_toml(const std::filesystem::path &file, diagnostics &errors) {
    try {
        return toml::parse_file(file.string());
    } catch (const toml::parse_error &error) {
        const std::string problem(error.description());
        errors.report({file.string(), static_cast<unsigned>(error.source().begin.line)}, "", problem,
                      "correct the TOML of this file");
        return std::nullopt;
    }
}

table_reader::table_reader(const toml::table &table, std::string file, std::string subject, diagnostics &errors)
    : table_(table), file_(std::move(file)), subject_(std::move(subject)), errors_(errors) {}

location table_reader::at(const toml::node &node) const {
    return {file_, static_cast<unsigned>(node.source().begin.line)};
}

const toml::node *table_reader::find(std::string_view key, bool required) {
    asked_.emplace(key);
    const toml::node *node = table_.get(key);
    if (node == nullptr && required) {
        errors_.report(where(), subject_, "key '" + std::string(key) + "' is missing", "add it");
    }
    return node;
}

void table_reader::wrong_type(const toml::node &node, std::string_view key, std::string_view expected) {
    errors_.report(at(node), subject_, "key '" + std::string(key) + "' has the wrong type",
                   "give " + std::string(expected));
}

std::string table_reader::text(std::string_view key) {
    const toml::node *node = find(key, true);
    if (node == nullptr) {
        return {};
    }
    if (!node->is_string()) {
        wrong_type(*node, key, "a string");
        return {};
    }
    const std::string &value = node->as_string()->get();
    if (value.empty()) {
        errors_.report(at(*node), subject_, "key '" + std::string(key) + "' is empty", "give it a text");
    }
    return value;
}

std::string table_reader::optional_text(std::string_view key) { return has(key) ? text(key) : std::string(); }

std::optional<std::uint32_t> table_reader::as_number(const toml::node &node, std::string_view key) {
    if (!node.is_integer()) {
        wrong_type(node, key, "an integer");
        return std::nullopt;
    }
    const std::int64_t value = node.as_integer()->get();
    if (value < 0 || value > std::numeric_limits<std::uint32_t>::max()) {
        errors_.report(at(node), subject_, "key '" + std::string(key) + "' is " + std::to_string(value),
                       "give a number from 0 to 4294967295");
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(value);
}

std::uint32_t table_reader::number(std::string_view key) {
    const toml::node *node = find(key, true);
    return node == nullptr ? 0 : as_number(*node, key).value_or(0);
}

std::optional<std::uint32_t> table_reader::optional_number(std::string_view key) {
    const toml::node *node = find(key, false);
    return node == nullptr ? std::nullopt : as_number(*node, key);
}

/** Runs take(element) for an array's elements; it is false for one of a wrong type. False when there is no array. */
template <class Take>
bool table_reader::for_each(std::string_view key, bool required, std::string_view expected, Take &&take) {
    const toml::node *node = find(key, required);
    if (node == nullptr) {
        return false;
    }
    if (!node->is_array()) {
        wrong_type(*node, key, expected);
        return false;
    }
    for (const toml::node &element : *node->as_array()) {
        if (!take(element)) {
            wrong_type(element, key, expected);
        }
    }
    return true;
}

std::vector<std::string> table_reader::texts(std::string_view key) {
    std::vector<std::string> values;
    for_each(key, true, "an array of strings", [&](const toml::node &element) {
        if (element.is_string()) {
            values.push_back(element.as_string()->get());
        }
        return element.is_string();
    });
    return values;
}

std::optional<std::vector<std::uint32_t>> table_reader::optional_numbers(std::string_view key) {
    std::vector<std::uint32_t> values;
    const bool has_array = for_each(key, false, "an array of integers", [&](const toml::node &element) {
        values.push_back(as_number(element, key).value_or(0));
        return true;
    });
    return has_array ? std::optional(values) : std::nullopt;
}

std::vector<std::pair<std::string, std::string>> table_reader::optional_text_table(std::string_view key) {
    std::vector<std::pair<std::string, std::string>> values;
    const toml::node *node = find(key, false);
    if (node == nullptr) {
        return values;
    }
    if (!node->is_table()) {
        wrong_type(*node, key, "a table of strings");
        return values;
    }
    for (const auto &[name, value] : *node->as_table()) {
        if (value.is_string()) {
            values.emplace_back(std::string(name.str()), value.as_string()->get());
        } else {
            wrong_type(value, name.str(), "a string");
        }
    }
    return values;
}

std::vector<const toml::table *> table_reader::tables(std::string_view key, bool required) {
    std::vector<const toml::table *> values;
    for_each(key, required, "an array of tables", [&](const toml::node &element) {
        if (element.is_table()) {
            values.push_back(element.as_table());
        }
        return element.is_table();
    });
    return values;
}

void table_reader::finish() {
    for (const auto &[key, node] : table_) {
        if (!asked_.contains(key.str())) {
            errors_.report(at(node), subject_, "key '" + std::string(key.str()) + "' is unknown",
                           "correct its spelling or remove it");
        }
    }
}

}  // namespace codegen
