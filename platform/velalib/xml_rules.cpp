// Documents that are read by rules: what stands in their elements, and telling of faults.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "xml_document.h"

namespace {

/** The elements of a document in its order, as the index numbers them. */
void add_nodes(pugi::xml_node document, std::vector<pugi::xml_node> &nodes) {
    struct adder : pugi::xml_tree_walker {
        explicit adder(std::vector<pugi::xml_node> &to) : nodes(to) {}
        bool for_each(pugi::xml_node &node) override {
            if (node.type() == pugi::node_element) {
                nodes.push_back(node);
            }
            return true;
        }
        std::vector<pugi::xml_node> &nodes;
    } walker(nodes);
    document.traverse(walker);
}

/** A name of the document, which may be of any length, with its number among siblings of that name, if there are any. */
std::string step_of(pugi::xml_node node) {
    constexpr size_t longest = 64;
    std::string step(node.name(), strnlen(node.name(), longest));
    u_int32 number = 1;
    for (pugi::xml_node at = node.previous_sibling(node.name()); at; at = at.previous_sibling(node.name())) {
        ++number;
    }
    if (number > 1 || node.next_sibling(node.name())) {
        step += "[" + std::to_string(number) + "]";
    }
    return step;
}

std::string path_of(pugi::xml_node node) {
    std::string path = step_of(node);
    for (node = node.parent(); node.type() == pugi::node_element; node = node.parent()) {
        path = step_of(node) + "/" + path;
    }
    return path;
}

struct place {
    u_int32 line;
    u_int32 column;
};

place place_of(velalib::xml_rules &rules, size_t position) {
    if (rules.line_starts.empty()) {
        rules.line_starts.push_back(0);
        for (size_t at = rules.text.find('\n'); at != std::string::npos; at = rules.text.find('\n', at + 1)) {
            rules.line_starts.push_back(at + 1);
        }
    }
    const auto next = std::upper_bound(rules.line_starts.begin(), rules.line_starts.end(), position);
    return {static_cast<u_int32>(next - rules.line_starts.begin()), static_cast<u_int32>(position - next[-1] + 1)};
}

/** What came from the document may hold line feeds and worse. */
std::string on_one_line(const char *reason) {
    std::string line = reason;
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<u_int8>(c) < 0x20 || c == 0x7F; }, ' ');
    return line;
}

}  // namespace

void velalib::keep_rules(vela_xml_document &document, const vela_xml_options &options, std::string_view text) {
    document.rules = std::make_unique<xml_rules>();
    document.rules->options = options;
    document.rules->text = text;
    document.rules->nodes.reserve(document.index.size());
    document.rules->nodes.push_back(document.tree.root());
    add_nodes(document.tree.root(), document.rules->nodes);
}

u_int32 xml_get_rules(const vela_xml_document *document) {
    return document != nullptr && document->rules != nullptr ? document->rules->options.rules : 0;
}

u_int32 xml_next_sibling(const vela_xml_document *document, u_int32 element) {
    return document->index[element].next_sibling;
}

const char *xml_element_name(const vela_xml_document *document, u_int32 element) {
    return document->index[element].name;
}

const char *xml_element_text(const vela_xml_document *document, u_int32 element) {
    return document->index[element].text;
}

u_int32 xml_get_attribute(const vela_xml_document *document, u_int32 element, u_int32 index, const char **name,
                          const char **value) {
    if (document->rules == nullptr) {
        return 0;
    }
    pugi::xml_attribute attribute = document->rules->nodes[element].first_attribute();
    for (; attribute && index > 0; --index) {
        attribute = attribute.next_attribute();
    }
    *name = attribute.name();
    *value = attribute.value();
    return attribute ? 1 : 0;
}

u_int32 xml_tell_fault(vela_xml_document *document, u_int32 element, u_int32 code, const char *reason, char *error_text,
                       u_int32 error_room, u_int32 *err) {
    try {
        velalib::xml_rules &rules = *document->rules;
        const std::string path = path_of(rules.nodes[element]);
        const std::string line = on_one_line(reason);
        const auto position = document->index[element].name - document->source.get();
        const place at = place_of(rules, static_cast<size_t>(position));
        if (*err == 0 && error_text != nullptr) {
            snprintf(error_text, error_room, "line %u, column %u: %s: %s", at.line, at.column, path.c_str(),
                     line.c_str());
        }
        if (*err == 0) {
            *err = code;
        }
        const vela_xml_fault fault = {code, at.line, at.column, path.c_str(), line.c_str()};
        return rules.options.on_fault != nullptr ? rules.options.on_fault(rules.options.cookie, &fault) : 0;
    } catch (const std::bad_alloc &) {
        *err = VELA_ENOMEM;
        if (error_text != nullptr && error_room != 0) {
            snprintf(error_text, error_room, "no memory to explain a fault");
        }
        return 0;
    }
}
