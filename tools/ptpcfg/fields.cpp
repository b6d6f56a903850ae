// Finds the values of a record in its JSON, and puts others there.
#include "fields.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/characters.h"
#include "base/utf8.h"
#include "failure.h"
#include "json_records.h"
#include "ptp_cfg/json.h"
#include "value_forms.h"
#include "yaml_scalars.h"

namespace ptpcfg {
namespace {

void add_nodes(const std::string &path, const json_value &value, std::vector<field_node> &nodes) {
    nodes.push_back({path, &value});
    if (is_leaf(value)) {
        return;
    }
    size_t index = 0;
    for (const auto &[name, member] : value.items()) {
        add_nodes(value.is_array() ? path + "[" + std::to_string(index++) + "]" : path + "/" + name, member, nodes);
    }
}

std::string with_slashes(std::string field) {
    std::replace(field.begin(), field.end(), '.', '/');
    return field;
}

/** A path without its first step; empty when it has only one. */
std::string_view without_first(std::string_view path) {
    const size_t end = path.find('/');
    return end == std::string_view::npos ? std::string_view{} : path.substr(end + 1);
}

std::string last_step(const std::string &path) {
    const std::string step = path.substr(path.rfind('/') + 1);
    return step.substr(0, step.find('['));
}

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const size_t length = base::utf8_length(text.data(), text.size());
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

bool is_message(const ptp_cfg_type *type) { return describe(type).kind == PTP_CFG_MESSAGE; }

}  // namespace

json_value json_of(const record &record) {
    std::string text;
    append_json(record, {0, false}, text);
    return json_value::parse(text);
}

bool is_leaf(const json_value &value) {
    return !value.is_structured() || value.contains("$bytes") ||
           (value.contains("$variant") && value.contains("value"));
}

std::vector<field_node> nodes_of(const ptp_cfg_type *type, const json_value &value) {
    std::vector<field_node> nodes;
    const std::string name = describe(type).short_name;
    add_nodes(name, is_message(type) ? value.front() : value, nodes);
    return nodes;
}

std::vector<field_node> named_nodes(const std::vector<field_node> &nodes, const std::string &field) {
    const std::string wanted = with_slashes(field);
    std::vector<field_node> found;
    for (const field_node &node : nodes) {
        const std::string_view inner = without_first(node.path);
        if (node.path == wanted || inner == wanted || without_first(inner) == wanted) {
            return {node};
        }
        if (node.path.ends_with("/" + wanted)) {
            found.push_back(node);
        }
    }
    return found;
}

std::string no_field_text(const std::vector<field_node> &nodes, const std::string &field) {
    const std::string wanted = last_step(with_slashes(field));
    const ptp_cfg_type *type = nodes.empty() ? nullptr : ptp_cfg_type_find(nodes.front().path.c_str());
    std::vector<std::string> names;
    for (const field_node &node : nodes) {
        names.push_back(last_step(node.path));
        const ptp_cfg_field_description owner = node.value != nullptr && node.value->is_string() && type != nullptr
                                                    ? field_at(type, node.path)
                                                    : ptp_cfg_field_description{};
        if (owner.kind == PTP_CFG_FIELD_STRUCTURE && fields_of(owner.type).front().name == wanted) {
            return "there is no field " + base::printable(field) + "; " + last_step(node.path) +
                   " is one value, as in " + plain_text(*node.value);
        }
    }
    return "there is no field " + base::printable(field) + suggestion(wanted, names);
}

const field_node &only_node(const std::vector<field_node> &found, const std::string &field) {
    if (found.size() == 1) {
        return found.front();
    }
    constexpr size_t most_told = 4;
    std::string text = field + " is " + std::to_string(found.size()) + " fields, give more of the path: ";
    for (size_t index = 0; index < std::min(found.size(), most_told); ++index) {
        text += (index == 0 ? "" : ", ") + found[index].path;
    }
    throw failure(exit_code::bad_input, text + (found.size() > most_told ? ", ..." : ""));
}

std::string plain_text(const json_value &value) {
    if (value.is_string()) {
        const std::string &text = value.get_ref<const std::string &>();
        if (!text.empty() && std::none_of(text.begin(), text.end(), base::is_control)) {
            return text;
        }
    }
    return value.dump();
}

ptp_cfg_field_description field_at(const ptp_cfg_type *type, const std::string &path) {
    ptp_cfg_field_description found{};
    const ptp_cfg_type *owner = type;
    for (std::string_view rest = without_first(path); !rest.empty() && owner != nullptr; rest = without_first(rest)) {
        const std::string_view step = rest.substr(0, rest.find_first_of("/["));
        const auto &fields = fields_of(owner);
        const auto at = std::find_if(fields.begin(), fields.end(), [&](const auto &each) { return each.name == step; });
        if (at == fields.end()) {
            return {};
        }
        found = *at;
        const std::string_view whole = rest.substr(0, rest.find('/'));
        found.is_array = found.is_array != 0 && !whole.ends_with(']') ? 1 : 0;
        owner = at->type;
    }
    return found;
}

json_value value_for(const ptp_cfg_type *type, const std::string &path, const std::string &text) {
    if (!is_utf8(text)) {
        throw failure(exit_code::usage, path + ": bytes that are no UTF-8; in a text give {\"$bytes\": \"41ff\"}");
    }
    const ptp_cfg_field_description field = field_at(type, path);
    const bool is_whole = field.name == nullptr || field.is_array != 0 || field.kind == PTP_CFG_FIELD_STRUCTURE;
    if (field.name != nullptr && field.is_array == 0 &&
        (field.kind == PTP_CFG_FIELD_TEXT || field.kind == PTP_CFG_FIELD_OPAQUE)) {
        const json_value bytes =
            text.starts_with("{\"$bytes\"") ? json_value::parse(text, nullptr, false) : json_value();
        return bytes.is_object() ? bytes : json_value(text);
    }
    if (is_whole && !text.starts_with('{') && !text.starts_with('[')) {
        if (field.type != nullptr && field.is_array == 0 && is_byte_list(field.type)) {
            return text;
        }
        throw failure(exit_code::usage, path + ": has fields of its own; name one of them, or give JSON");
    }
    if (field.kind == PTP_CFG_FIELD_BOOLEAN && !is_whole && (text == "1" || text == "0")) {
        return text == "1";
    }
    json_value value = json_value::parse(is_whole ? text : json_of_plain_scalar(text), nullptr, false);
    if (value.is_discarded()) {
        throw failure(exit_code::usage, path + ": '" + base::printable(text) + "' is not well-formed JSON");
    }
    return value;
}

void take_values(const record &record, const json_value &changed) {
    ptp_cfg_json_options options{};
    options.size = sizeof options;
    options.rules = PTP_CFG_JSON_STATE_FLAGS | PTP_CFG_JSON_VARIANTS;
    std::string told;
    options.cookie = &told;
    options.on_fault = [](void *cookie, const ptp_cfg_json_fault *fault) {
        *static_cast<std::string *>(cookie) = base::printable(fault->path) + ": " + base::printable(fault->reason);
    };
    const std::string text = changed.dump();
    u_int32 err = 0;
    ptp_cfg_from_json(record.handle(), memory_class, record.type(), record.instance(), text.data(), text.size(),
                      &options, &err, nullptr, 0);
    if (err != 0) {
        throw failure(err == VELA_ENOMEM ? exit_code::io : exit_code::usage, told.empty() ? error_text(err) : told);
    }
}

}  // namespace ptpcfg
