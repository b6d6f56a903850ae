// Reads [[fault]] tables, strictly: a misspelt key is no fault that silently does not happen.
#include "fault_script.h"

#include <toml++/toml.h>
#include <cmath>
#include <stdexcept>

namespace ptp_fleet {
namespace {

struct kind_row {
    const char *name;
    fault_kind kind;
    const char *needs;  // key that it cannot do without; null: none
};

constexpr kind_row kinds[] = {
    {"link_cut", fault_kind::link_cut, nullptr},
    {"grandmaster_loss", fault_kind::grandmaster_loss, nullptr},
    {"wrong_priority", fault_kind::wrong_priority, "priority1"},
    {"flapping", fault_kind::flapping, nullptr},
    {"clock_step", fault_kind::clock_step, "step_ns"},
    {"silent", fault_kind::silent, nullptr},
};

class reader {
  public:
    reader(const std::string &file, std::uint32_t elements) : file_(file), elements_(elements) {}

    fault read(const toml::table &table) {
        fault result;
        const kind_row *row = nullptr;
        for (auto &&[key, node] : table) {
            take(key.str(), node, result, row);
        }
        if (row == nullptr || !table.contains("at") || !table.contains("element")) {
            refuse(table, "a fault has kind, at and element");
        }
        if (row->needs != nullptr && !table.contains(row->needs)) {
            refuse(table, std::string(row->name) + " has " + row->needs);
        }
        return result;
    }

    [[noreturn]] void refuse(const toml::node &node, const std::string &reason) const {
        throw std::runtime_error(file_ + ":" + std::to_string(node.source().begin.line) + ": " + reason);
    }

  private:
    double number(const toml::node &node, double least, double most) const {
        const auto value = node.value<double>();
        if (!value || !(*value >= least && *value <= most)) {
            refuse(node, "give a number from " + std::to_string(static_cast<std::int64_t>(least)) + " to " +
                             std::to_string(static_cast<std::int64_t>(most)));
        }
        return *value;
    }

    std::uint32_t element(const toml::node &node) const {
        return static_cast<std::uint32_t>(number(node, 0, elements_ - 1.0));
    }

    void take_elements(const toml::node &node, fault &out) const {
        if (const toml::array *range = node.as_array(); range != nullptr && range->size() == 2) {
            out.first = element(*range->get(0));
            out.last = element(*range->get(1));
        } else {
            out.first = out.last = element(node);
        }
    }

    void take_kind(const toml::node &node, fault &out, const kind_row *&row) const {
        std::string known;
        for (const kind_row &each : kinds) {
            if (node.value_or(std::string()) == each.name) {
                row = &each;
                out.kind = each.kind;
                return;
            }
            known += std::string(known.empty() ? "" : ", ") + each.name;
        }
        refuse(node, "kind is one of " + known);
    }

    void take(std::string_view key, const toml::node &node, fault &out, const kind_row *&row) const {
        constexpr double longest = 1e9;
        if (key == "kind") {
            take_kind(node, out, row);
        } else if (key == "element") {
            take_elements(node, out);
        } else if (key == "at") {
            out.at = number(node, 0, longest);
        } else if (key == "lasts") {
            out.lasts = number(node, 0, longest);
        } else if (key == "period") {
            out.period = number(node, 1, longest);
        } else if (key == "priority1") {
            out.priority1 = static_cast<int>(number(node, 0, 255));
        } else if (key == "step_ns") {
            out.step_ns = number(node, -1e12, 1e12);
        } else if (key == "link") {
            out.link = node.value_or(std::string());
            if (out.link != "primary" && out.link != "secondary" && out.link != "both") {
                refuse(node, "link is primary, secondary or both");
            }
        } else {
            refuse(node, "'" + std::string(key) +
                             "' is no key of a fault: use kind, at, lasts, element, link, period, priority1, step_ns");
        }
    }

    const std::string &file_;
    std::uint32_t elements_;
};

}  // namespace

bool fault::is_on(double time) const {
    if (time < at || (lasts >= 0 && time >= at + lasts)) {
        return false;
    }
    return kind != fault_kind::flapping || std::fmod(time - at, period) < period / 2;
}

std::vector<fault> read_faults(const std::string &file, std::uint32_t elements) try {
    reader from(file, elements);
    const toml::table script = toml::parse_file(file);
    std::vector<fault> faults;
    for (auto &&[key, node] : script) {
        const toml::array *list = node.as_array();
        if (key.str() != "fault" || list == nullptr) {
            from.refuse(node, "a script has [[fault]] tables alone");
        }
        for (const toml::node &each : *list) {
            if (!each.is_table()) {
                from.refuse(each, "a fault is a table");
            }
            faults.push_back(from.read(*each.as_table()));
        }
    }
    return faults;
} catch (const toml::parse_error &error) {
    throw std::runtime_error(file + ":" + std::to_string(error.source().begin.line) + ": " +
                             std::string(error.description()));
}

}  // namespace ptp_fleet
