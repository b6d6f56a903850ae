// The smallest action from one rendering to another, and how it reads.
#include "agent/render/plan.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "agent/render/options.h"

namespace ptp_agent {
namespace {

/** Section and option; options that may stand several times, the masters of a table, are numbered. */
using Place = std::pair<std::string, std::string>;
using Options = std::map<Place, std::string>;

constexpr std::string_view table_name = "unicast_master_table";

Options parse(const std::string &file) {
    Options options;
    std::string section;
    std::istringstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        if (line[0] == '[') {
            section = line.substr(1, line.size() - 2);
            if (section != table_name) {
                options[{section, ""}] = "section";
            }
            continue;
        }
        const std::size_t blank = line.find(' ');
        std::string option = line.substr(0, blank);
        const std::string value = blank == std::string::npos ? "" : line.substr(blank + 1);
        if (section.starts_with(table_name) && option == "table_id") {
            section = std::string(table_name) + " " + value;
        } else if (section.starts_with(table_name) && option != "logQueryInterval") {
            option += " " + value;  // a master
        }
        options[{section, option}] = value;
    }
    return options;
}

bool can_be_set(const std::string &option) {
    const auto rows = clock_options();
    return std::any_of(rows.begin(), rows.end(),
                       [&option](const OptionRow &row) { return row.option == option && row.can_be_set; });
}

std::vector<Change> differences(const Options &before, const Options &after) {
    std::vector<Change> changes;
    const auto value_in = [](const Options &options, const Place &place) {
        const auto found = options.find(place);
        return found == options.end() ? std::string() : found->second;
    };
    Options all = before;
    all.insert(after.begin(), after.end());
    for (const auto &[place, value] : all) {
        const std::string was = value_in(before, place);
        const std::string is = value_in(after, place);
        if (was != is) {
            const bool needs_restart = place.first != "global" || !can_be_set(place.second);
            changes.push_back({place.first, place.second, was, is, needs_restart});
        }
    }
    return changes;
}

template <typename Value>
std::optional<Value> changed(const std::optional<Value> &before, const std::optional<Value> &after) {
    return before == after ? std::nullopt : after;
}

}  // namespace

Plan plan(const Rendering *running, const Rendering &wanted) {
    Plan made;
    made.changes = differences(running == nullptr ? Options() : parse(running->file), parse(wanted.file));
    const bool needs_restart = running == nullptr || std::any_of(made.changes.begin(), made.changes.end(),
                                                                 [](const Change &each) { return each.needs_restart; });
    if (needs_restart) {
        made.action = Plan::Action::Restart;
        made.settings = wanted.settings;
        return made;
    }
    made.settings.priority1 = changed(running->settings.priority1, wanted.settings.priority1);
    made.settings.priority2 = changed(running->settings.priority2, wanted.settings.priority2);
    made.settings.grandmaster = changed(running->settings.grandmaster, wanted.settings.grandmaster);
    const bool is_nothing = made.changes.empty() && made.settings == Settings{};
    made.action = is_nothing ? Plan::Action::Nothing : Plan::Action::Set;
    return made;
}

std::string_view to_text(Plan::Action action) {
    switch (action) {
        case Plan::Action::Nothing:
            return "nothing";
        case Plan::Action::Set:
            return "set";
        default:
            return "restart";
    }
}

std::string to_text(const Change &change) {
    std::string line = "[" + change.section + "] " + change.option + (change.option.empty() ? "" : ": ");
    if (change.before.empty() || change.after.empty()) {
        line += change.before.empty() ? "added" : "removed";
        const std::string &value = change.before.empty() ? change.after : change.before;
        line += change.option.empty() ? "" : ", " + value;
    } else {
        line += change.before + " -> " + change.after;
    }
    return line + (change.needs_restart ? " (restart)" : " (while it runs)");
}

std::string to_text(const Plan &plan) {
    std::string text(to_text(plan.action));
    for (const Change &change : plan.changes) {
        text += "\n  " + to_text(change);
    }
    return text;
}

}  // namespace ptp_agent
