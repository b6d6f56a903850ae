// Reads files of rules. Every key of a rule is known, so that a misspelt one cannot make a rule say less.
#include <toml++/toml.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <stdexcept>

#include "agent/profiles/embedded.h"
#include "agent/profiles/rule.h"

namespace ptp_agent {
namespace {

constexpr std::array known_keys = {"id",      "object",        "field",         "range",     "one_of",
                                   "not",     "at_most_field", "same_as_field", "interface", "unique",
                                   "only_if", "allowed",       "reason",        "reference"};

class RuleReader {
  public:
    RuleReader(std::string_view file, const RuleSet &set) : file_(file), set_(set) {}

    Rule read(const toml::table &table) {
        Rule rule;
        rule.id = set_.name + "/" + text(table, "id");
        subject_ = rule.id;
        rule.object = text(table, "object");
        rule.must = condition(table);
        rule.allowed = table["allowed"].value_or(std::string());
        rule.reason = text(table, "reason");
        rule.reference = table["reference"].value_or(std::string());
        if (const toml::array *conditions = table["only_if"].as_array()) {
            for (const toml::node &each : *conditions) {
                rule.only_if.push_back(condition(*each.as_table()));
            }
        }
        return rule;
    }

  private:
    [[noreturn]] void fail(const std::string &what) const {
        throw std::logic_error(std::string(file_) + ": " + subject_ + ": " + what);
    }

    std::string text(const toml::table &table, std::string_view key) const {
        const auto value = table[key].value<std::string>();
        if (!value || value->empty()) {
            fail(std::string(key) + " is missing");
        }
        return *value;
    }

    std::vector<std::string> texts(const toml::table &table, std::string_view key) const {
        std::vector<std::string> values;
        if (const toml::array *array = table[key].as_array()) {
            for (const toml::node &node : *array) {
                values.push_back(as_text(node));
            }
        }
        return values;
    }

    std::string as_text(const toml::node &node) const {
        if (const auto number = node.value_exact<std::int64_t>()) {
            return std::to_string(*number);
        }
        if (const auto truth = node.value_exact<bool>()) {
            return *truth ? "true" : "false";
        }
        if (const auto text = node.value_exact<std::string>()) {
            return *text;
        }
        fail("a value is no number, truth or text");
    }

    Condition condition(const toml::table &table) const {
        for (const auto &[key, node] : table) {
            if (std::find(known_keys.begin(), known_keys.end(), key.str()) == known_keys.end()) {
                fail("unknown key " + std::string(key.str()));
            }
        }
        Condition condition;
        condition.field = text(table, "field");
        if (const toml::array *range = table["range"].as_array()) {
            condition.range = {range->at(0).value<std::int64_t>().value(), range->at(1).value<std::int64_t>().value()};
        }
        condition.one_of = texts(table, "one_of");
        condition.not_of = texts(table, "not");
        condition.at_most_field = table["at_most_field"].value_or(std::string());
        condition.same_as_field = table["same_as_field"].value_or(std::string());
        condition.is_interface = table["interface"].value_or(false);
        condition.is_unique = table["unique"].value_or(false);
        return condition;
    }

    std::string_view file_;
    const RuleSet &set_;
    std::string subject_ = "a rule";
};

}  // namespace

RuleSet read_rules(std::string_view file) {
    const toml::table table = toml::parse(embedded_file(file), file);
    RuleSet set;
    set.name = table["name"].value_or(std::string());
    set.clk_profile = table["clk_profile"].value_or(std::string());
    set.kind = table["of_the_daemon"].value_or(false) ? Violation::Kind::Daemon : Violation::Kind::Profile;
    const toml::array *rules = table["rule"].as_array();
    if (set.name.empty() || rules == nullptr) {
        throw std::logic_error(std::string(file) + ": no name or no rules");
    }
    RuleReader reader(file, set);
    for (const toml::node &rule : *rules) {
        set.rules.push_back(reader.read(*rule.as_table()));
    }
    return set;
}

}  // namespace ptp_agent
