#include "xml_check.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "failure.h"
#include "primitives.h"
#include "value_forms.h"

namespace ptpcfg {
namespace {

std::string path_of(pugi::xml_node node) {
    std::string path = node.name();
    for (pugi::xml_node above = node.parent(); above.type() == pugi::node_element; above = above.parent()) {
        path = std::string(above.name()) + "/" + path;
    }
    return path;
}

bool is_text(pugi::xml_node node) { return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata; }

bool is_state_attribute(pugi::xml_attribute attribute) { return std::string_view(attribute.name()) == "state"; }

bool is_state(std::string_view text) {
    u_int8 flag = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), flag);
    return problem == std::errc() && end == text.data() + text.size();
}

/** All characters of an element, of which there may be several stretches. */
std::string text_of(pugi::xml_node node) {
    std::string text;
    for (const pugi::xml_node child : node.children()) {
        if (is_text(child)) {
            text += child.value();
        }
    }
    return text;
}

class checker {
  public:
    checker(const xml_source &source, const session &session, fault_list &faults)
        : source_(source), session_(session), faults_(faults) {}

    std::vector<xml_record> run(const ptp_cfg_type *bare_type);
    void frame();

  private:
    void fault(pugi::xml_node node, const std::string &reason);
    void record_element(pugi::xml_node node, const ptp_cfg_type *bare_type);
    void attributes(pugi::xml_node node, const char *allowed);
    bool no_text(pugi::xml_node node);
    bool no_children(pugi::xml_node node);
    void structure(pugi::xml_node node, const ptp_cfg_type *type);
    void field(pugi::xml_node node, const ptp_cfg_type *owner, const ptp_cfg_field_description &field);
    void value(pugi::xml_node node, const ptp_cfg_field_description &field);
    void enumeration(pugi::xml_node node, const ptp_cfg_type *type);

    const xml_source &source_;
    const session &session_;
    fault_list &faults_;
    bool has_fault_ = false;
    std::vector<xml_record> records_;
};

void checker::fault(pugi::xml_node node, const std::string &reason) {
    has_fault_ = true;
    faults_.add(source_.place(node) + ": " + path_of(node) + ": " + reason);
}

std::vector<xml_record> checker::run(const ptp_cfg_type *bare_type) {
    for (const pugi::xml_node node : source_.root().children()) {
        if (node.type() == pugi::node_element) {
            record_element(node, bare_type);
        }
    }
    return has_fault_ ? std::vector<xml_record>() : std::move(records_);
}

void checker::frame() { attributes(source_.root().first_child(), "time"); }

void checker::record_element(pugi::xml_node node, const ptp_cfg_type *bare_type) {
    const ptp_cfg_type *type = ptp_cfg_type_find(node.name());
    if (bare_type != nullptr) {
        if (type != bare_type) {
            fault(node, std::string("<") + describe(bare_type).name + "> is wanted here");
            return;
        }
    } else if (type == nullptr || describe(type).kind != PTP_CFG_MESSAGE ||
               describe(type).short_name != std::string(node.name())) {
        fault(node, std::string("is no message; 'ptpcfg describe' lists them") +
                        (type != nullptr ? std::string(" (for a record alone use --type ") + node.name() + ")" : ""));
        return;
    }
    records_.push_back({type, node});
    if (describe(type).kind == PTP_CFG_ENUMERATION) {
        enumeration(node, type);
    } else {
        structure(node, type);
    }
}

void checker::attributes(pugi::xml_node node, const char *allowed) {
    for (const pugi::xml_attribute attribute : node.attributes()) {
        if (std::string_view(attribute.name()) != allowed) {
            fault(node, std::string("unknown attribute ") + attribute.name());
        } else if (is_state_attribute(attribute) && !is_state(attribute.value())) {
            fault(node, std::string("state ") + quoted(attribute.value()) + " is not a number from 0 to 255");
        }
    }
}

bool checker::no_text(pugi::xml_node node) {
    const auto text = std::find_if(node.begin(), node.end(), is_text);
    if (text == node.end() || text_of(node).find_first_not_of(" \t\r\n") == std::string::npos) {
        return true;
    }
    fault(node, "text " + quoted(text->value()) + " has no place here, elements are wanted");
    return false;
}

bool checker::no_children(pugi::xml_node node) {
    for (const pugi::xml_node child : node.children()) {
        if (child.type() == pugi::node_element) {
            fault(child, "unknown element; a value is wanted in <" + std::string(node.name()) + ">");
            return false;
        }
    }
    return true;
}

/** A structure or message: its children are its fields or payloads. */
void checker::structure(pugi::xml_node node, const ptp_cfg_type *type) {
    attributes(node, "state");
    const std::string text = text_of(node);
    if (is_byte_list(type) && text.find_first_not_of(" \t\r\n") != std::string::npos) {
        fault(node, "'" + text + "' is not " + form_of_byte_list(type));
        return;
    }
    if (!no_text(node)) {
        return;
    }
    const std::vector<ptp_cfg_field_description> &fields = fields_of(type);
    std::map<std::string, u_int32> seen;
    for (const pugi::xml_node child : node.children()) {
        if (child.type() != pugi::node_element) {
            continue;
        }
        const auto known = std::find_if(fields.begin(), fields.end(), [&child](const auto &field) {
            return std::string_view(field.name) == child.name();
        });
        if (known == fields.end()) {
            std::vector<std::string> names;
            std::transform(fields.begin(), fields.end(), std::back_inserter(names),
                           [](const auto &field) { return std::string(field.name); });
            fault(child, std::string("unknown element in ") + describe(type).name + suggestion(child.name(), names));
            continue;
        }
        const u_int32 count = ++seen[child.name()];
        if (known->is_array == 0 && count == 2) {
            fault(child, "stands here a second time");
        } else if (known->is_array != 0 && count == known->capacity + 1) {
            fault(child, "one too many: at most " + std::to_string(known->capacity) + " are allowed");
        } else if (count <= known->capacity) {
            field(child, type, *known);
        }
    }
    if (describe(type).kind == PTP_CFG_MESSAGE) {
        for (const ptp_cfg_field_description &payload : fields) {
            if (!seen.contains(payload.name)) {
                fault(node, std::string("<") + payload.name + "> is missing");
            }
        }
    }
}

void checker::field(pugi::xml_node node, const ptp_cfg_type *owner, const ptp_cfg_field_description &field) {
    if (field.since > session_.variant_of(owner)) {
        fault(node, "needs variant " + std::to_string(field.since) + " of " + describe(owner).name + ", but " +
                        std::to_string(session_.variant_of(owner)) + " is in use");
        return;
    }
    switch (field.kind) {
        case PTP_CFG_FIELD_STRUCTURE:
            structure(node, field.type);
            break;
        case PTP_CFG_FIELD_ENUMERATION:
            enumeration(node, field.type);
            break;
        default:
            value(node, field);
            break;
    }
}

void checker::value(pugi::xml_node node, const ptp_cfg_field_description &field) {
    attributes(node, "state");
    if (!no_children(node)) {
        return;
    }
    const std::string reason = check_value(field, compact_text(node), text_of(node), session_.handle(false));
    if (!reason.empty()) {
        fault(node, reason);
    }
}

/** An enumeration holds one empty element that is named after its value. */
void checker::enumeration(pugi::xml_node node, const ptp_cfg_type *type) {
    attributes(node, "state");
    if (!no_text(node)) {
        return;
    }
    const std::vector<enumeration_literal> literals = literals_of(type);
    std::vector<std::string> names;
    std::transform(literals.begin(), literals.end(), std::back_inserter(names),
                   [](const enumeration_literal &row) { return row.literal; });
    size_t count = 0;
    for (const pugi::xml_node child : node.children()) {
        if (child.type() != pugi::node_element) {
            continue;
        }
        const auto known = std::find(names.begin(), names.end(), child.name());
        if (++count == 2) {
            fault(child, "is a second value of " + std::string(node.name()));
        } else if (child.attribute(lost_value_attribute)) {
            fault(child, "this value had no literal when it was written, and is lost");
        } else if (known == names.end()) {
            fault(child, std::string("unknown literal of ") + describe(type).name + suggestion(child.name(), names));
        } else if (literals[static_cast<size_t>(known - names.begin())].since > session_.variant_of(type)) {
            fault(child, "needs a newer variant of " + std::string(describe(type).name) + " than " +
                             std::to_string(session_.variant_of(type)) + ", which is in use");
        } else if (child.first_child() || child.first_attribute()) {
            fault(child, "a literal is an empty element");
        }
    }
    if (count == 0) {
        fault(node, std::string("has no value; an empty element names it, for example <") +
                        (names.empty() ? "LITERAL" : names.front()) + "/>");
    }
}

}  // namespace

std::vector<xml_record> check_records(const xml_source &source, bool is_frame, const ptp_cfg_type *bare_type,
                                      const session &session, fault_list &faults) {
    checker checker(source, session, faults);
    if (is_frame) {
        checker.frame();
        return {};
    }
    return checker.run(bare_type);
}

}  // namespace ptpcfg
