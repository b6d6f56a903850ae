// Reads rules, and says which key is wrong and what it may be.
#include "rule.h"

#include <toml++/toml.h>

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>

namespace ptp_fleet {
namespace {

constexpr std::array<const char *, 7> condition_texts = {
    "not_locked", "holdover", "clock_class", "offset", "silent", "grandmaster_changed", "flapping"};
constexpr std::array<const char *, 3> severity_texts = {"warning", "major", "critical"};
constexpr std::array<const char *, 10> keys = {"name",      "when",  "severity",    "elements", "for",
                                               "clear_for", "above", "clear_below", "count",    "within"};

class rule_reader {
  public:
    rule_reader(const toml::table &from, std::string file) : from_(from), file_(std::move(file)) {}

    alarm_rule read() {
        for (const auto &[key, value] : from_) {
            if (std::find(keys.begin(), keys.end(), key.str()) == keys.end()) {
                fail("there is no key " + std::string(key.str()));
            }
        }
        alarm_rule rule;
        rule.when = static_cast<condition>(one_of("when", condition_texts, nullptr));
        rule.name = from_["name"].value_or(std::string(to_text(rule.when)));
        rule.is = static_cast<severity>(one_of("severity", severity_texts, "major"));
        rule.elements = from_["elements"].value_or(std::string("*"));
        rule.for_s = number("for", 0);
        rule.clear_for_s = number("clear_for", rule.for_s);
        const bool has_limit = rule.when == condition::offset || rule.when == condition::clock_class;
        rule.above = has_limit ? number("above", std::nullopt) : 0;
        rule.clear_below = has_limit ? number("clear_below", rule.above) : 0;
        const bool is_flapping = rule.when == condition::flapping;
        rule.count = is_flapping ? static_cast<int>(number("count", 4)) : 1;
        rule.within_s = is_flapping || rule.when == condition::grandmaster_changed ? number("within", 600) : 0;
        if (rule.clear_below > rule.above) {
            fail("clear_below is above " + std::to_string(rule.above) + ": the alarm would end where it begins");
        }
        return rule;
    }

  private:
    [[noreturn]] void fail(const std::string &why) const {
        throw std::runtime_error(file_ + ":" + std::to_string(from_.source().begin.line) + ": [[alarm]]: " + why);
    }
    double number(const char *key, std::optional<double> otherwise) const {
        const auto value = from_[key].value<double>();
        if ((from_.contains(key) && !value) || (!value && !otherwise)) {
            fail(std::string(key) + " is to be a number");
        }
        if (value.value_or(0) < 0) {
            fail(std::string(key) + " is below 0");
        }
        return value ? *value : *otherwise;
    }
    template <std::size_t size>
    std::size_t one_of(const char *key, const std::array<const char *, size> &texts, const char *otherwise) const {
        const auto value = from_[key].value<std::string>();
        const std::string text = value ? *value : otherwise != nullptr && !from_.contains(key) ? otherwise : "";
        const auto found = std::find(texts.begin(), texts.end(), text);
        if (found == texts.end()) {
            std::string all;
            for (const char *each : texts) {
                all += (all.empty() ? "" : ", ") + std::string(each);
            }
            fail(std::string(key) + " is to be one of " + all);
        }
        return static_cast<std::size_t>(found - texts.begin());
    }

    const toml::table &from_;
    std::string file_;
};

constexpr const char *usual = R"(
    [[alarm]]
    when = "not_locked"
    for = 30
    clear_for = 30
    [[alarm]]
    when = "holdover"
    severity = "critical"
    for = 5
    clear_for = 30
    [[alarm]]
    when = "clock_class"
    above = 7
    for = 10
    clear_for = 30
    [[alarm]]
    when = "offset"
    above = 1000
    clear_below = 500
    for = 10
    clear_for = 30
    [[alarm]]
    when = "silent"
    for = 0
    clear_for = 5
    [[alarm]]
    when = "grandmaster_changed"
    severity = "warning"
    within = 600
    [[alarm]]
    when = "flapping"
    count = 6
    within = 600
)";

}  // namespace

const char *to_text(condition of) { return condition_texts[static_cast<std::size_t>(of)]; }

std::vector<alarm_rule> read_rules(const std::string &toml, const std::string &file) {
    const toml::table all = [&] {
        try {
            return toml::parse(toml, file);
        } catch (const toml::parse_error &error) {
            throw std::runtime_error(file + ":" + std::to_string(error.source().begin.line) + ": " +
                                     std::string(error.description()));
        }
    }();
    std::vector<alarm_rule> rules;
    const toml::array *list = all["alarm"].as_array();
    for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
        const toml::table *each = (*list)[i].as_table();
        if (each == nullptr) {
            throw std::runtime_error(file + ": alarm is to be a list of tables, [[alarm]]");
        }
        rules.push_back(rule_reader(*each, file).read());
        const auto is_same = [&](const alarm_rule &other) { return other.name == rules.back().name; };
        if (std::count_if(rules.begin(), rules.end(), is_same) > 1) {
            throw std::runtime_error(file + ": two alarms have the name " + rules.back().name + ": give them others");
        }
    }
    return rules;
}

std::vector<alarm_rule> usual_rules() { return read_rules(usual, "usual rules"); }

}  // namespace ptp_fleet
