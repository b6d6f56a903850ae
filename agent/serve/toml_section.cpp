// Values of TOML tables, with errors that say where.
#include "agent/serve/toml_section.h"

#include <algorithm>
#include <sstream>

#include "agent/serve/configuration.h"

namespace ptp_agent {
namespace {

std::string place_of(const std::string &path, const toml::node *node) {
    return node == nullptr ? path + ": " : path + ":" + std::to_string(node->source().begin.line) + ": ";
}

}  // namespace

const toml::node *TomlSection::find(std::string_view key) {
    known_.emplace(key);
    return table_ == nullptr ? nullptr : table_->get(key);
}

std::string TomlSection::full_name(std::string_view key) const {
    return name_.empty() ? std::string(key) : name_ + "." + std::string(key);
}

void TomlSection::refuse(std::string_view key, const std::string &why) const {
    const toml::node *node = table_ == nullptr ? nullptr : table_->get(key);
    throw ConfigurationError(place_of(path_, node == nullptr ? table_ : node) + full_name(key) + ": " + why);
}

void TomlSection::read(std::string_view key, std::vector<std::string> &value) {
    const toml::node *node = find(key);
    if (node == nullptr) {
        return;
    }
    const toml::array *array = node->as_array();
    value.clear();
    for (std::size_t i = 0; array != nullptr && i < array->size(); ++i) {
        if (const auto text = array->get(i)->value<std::string>()) {
            value.push_back(*text);
        }
    }
    if (array == nullptr || value.size() != array->size()) {
        refuse(key, "give a list of texts");
    }
}

void TomlSection::read(std::string_view key, std::chrono::milliseconds &value) {
    value = std::chrono::milliseconds(read_number(key, value.count(), 0, std::int64_t{1} << 40));
}

std::int64_t TomlSection::read_number(std::string_view key, std::int64_t otherwise, std::int64_t least,
                                      std::int64_t most) {
    const toml::node *node = find(key);
    if (node == nullptr) {
        return otherwise;
    }
    const auto number = node->is_integer() ? node->value<std::int64_t>() : std::nullopt;
    if (!number || *number < least || *number > most) {
        refuse(key, "give a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return *number;
}

std::size_t TomlSection::read_choice(std::string_view key, const std::vector<std::string_view> &words,
                                     std::size_t otherwise) {
    const toml::node *node = find(key);
    if (node == nullptr) {
        return otherwise;
    }
    const auto found = std::find(words.begin(), words.end(), node->value_or(std::string_view()));
    if (found == words.end()) {
        std::string all;
        for (const std::string_view word : words) {
            all += (all.empty() ? "\"" : " or \"") + std::string(word) + "\"";
        }
        refuse(key, "give " + all);
    }
    return static_cast<std::size_t>(found - words.begin());
}

void TomlSection::read_mode(std::string_view key, std::uint32_t &value) {
    std::string text;
    read(key, text);
    if (text.empty()) {
        return;
    }
    const bool octal = text.size() <= 4 && text.find_first_not_of("01234567") == std::string::npos;
    if (!octal) {
        refuse(key, "give permission bits in octal, as \"0660\"");
    }
    value = static_cast<std::uint32_t>(std::stoul(text, nullptr, 8));
}

std::vector<std::pair<std::string, std::string>> TomlSection::read_rows(std::string_view key) {
    std::vector<std::pair<std::string, std::string>> rows;
    const toml::node *node = find(key);
    if (node == nullptr) {
        return rows;
    }
    if (!node->is_table()) {
        refuse(key, "give a table");
    }
    for (const auto &[name, value] : *node->as_table()) {
        std::ostringstream text;
        if (const auto *string = value.as_string()) {
            text << string->get();
        } else if (value.is_integer() || value.is_floating_point()) {
            value.visit([&text](const auto &each) {
                if constexpr (toml::is_number<decltype(each)>) {
                    text << each.get();
                }
            });
        } else if (const auto *truth = value.as_boolean()) {
            text << (truth->get() ? 1 : 0);
        } else {
            refuse(key, std::string(name.str()) + ": give a text or a number");
        }
        rows.emplace_back(std::string(name.str()), text.str());
    }
    return rows;
}

std::vector<std::string> TomlSection::keys() const {
    std::vector<std::string> names;
    if (table_ != nullptr) {
        for (const auto &[key, node] : *table_) {
            names.emplace_back(key.str());
        }
    }
    return names;
}

TomlSection TomlSection::section(std::string_view key) {
    const toml::node *node = find(key);
    if (node != nullptr && !node->is_table()) {
        refuse(key, "give a table");
    }
    return TomlSection(node == nullptr ? nullptr : node->as_table(), full_name(key), path_);
}

std::vector<TomlSection> TomlSection::sections(std::string_view key) {
    std::vector<TomlSection> result;
    const toml::node *node = find(key);
    const toml::array *array = node == nullptr ? nullptr : node->as_array();
    for (std::size_t i = 0; array != nullptr && i < array->size(); ++i) {
        if (array->get(i)->is_table()) {
            result.emplace_back(array->get(i)->as_table(), full_name(key), path_);
        }
    }
    if (node != nullptr && (array == nullptr || result.size() != array->size())) {
        refuse(key, "give a list of tables: [[" + full_name(key) + "]]");
    }
    return result;
}

void TomlSection::finish() const {
    if (table_ != nullptr) {
        for (const auto &[key, node] : *table_) {
            if (!known_.contains(key.str())) {
                throw ConfigurationError(place_of(path_, &node) + "unknown key " + full_name(key.str()));
            }
        }
    }
}

}  // namespace ptp_agent
