// Numbers the elements of a parsed tree and finds children by name.
#include "xml_index.h"

#include <bit>
#include <cstring>

namespace velalib {

namespace {

/** What the node's own test for null says, without a call. */
bool is_null(pugi::xml_node node) {
    static_assert(sizeof node == sizeof(const void *));
    return std::bit_cast<const void *>(node) == nullptr;
}

template <typename T>
u_int64 load(const char *at) {
    T value;
    memcpy(&value, at, sizeof value);
    return value;
}

/** The first and last bytes of a name, up to eight of each; names differ there as a rule. */
u_int64 both_ends(const char *name, size_t length) {
    if (length >= 8) {
        return load<u_int64>(name) * 31 + load<u_int64>(name + length - 8);
    }
    if (length >= 4) {
        return load<u_int32>(name) << 32 | load<u_int32>(name + length - 4);
    }
    if (length == 0) {
        return 0;
    }
    return load<u_int8>(name) << 16 | load<u_int8>(name + length / 2) << 8 | load<u_int8>(name + length - 1);
}

/** An element whose end has not been reached. */
struct open_level {
    u_int32 element;
    u_int32 last_child;
};

}  // namespace

u_int32 hash_element_name(const char *name, size_t length) {
    constexpr u_int64 odd = 0x9E3779B97F4A7C15;
    return static_cast<u_int32>(((both_ends(name, length) + length) * odd) >> 32);
}

const xml_element &xml_index::measure(xml_element &element) {
    const size_t length = strlen(element.name);
    element.name_length = static_cast<u_int32>(length);
    element.name_hash = hash_element_name(element.name, length);
    return element;
}

void xml_index::add_text(u_int32 element, const char *text) {
    const char *&known = elements_[element].text;
    known = known[0] == '\0' ? text : joined_texts_.emplace_back(std::string(known) + text).c_str();
}

void xml_index::add(const char *name, u_int32 *last_sibling) {
    const u_int32 element = size();
    xml_element &added = elements_.emplace_back();  // not copied in, for then its stores would be waited for
    added.name = name;
    added.end = element + 1;
    if (*last_sibling != 0) {
        elements_[*last_sibling].next_sibling = element;
    }
    *last_sibling = element;
}

/** Takes the text of the element added last when it has nothing else inside, as most have. */
bool xml_index::take_only_text(pugi::xml_node child) {
    if (child.name()[0] != '\0' || !is_null(child.next_sibling())) {
        return false;
    }
    elements_.back().text = child.value();
    return true;
}

pugi::xml_node xml_index::build(pugi::xml_node document, size_t source_length) {
    constexpr size_t usual_element_length = 24;
    elements_.reserve(source_length / usual_element_length + 2);
    open_level open[max_xml_depth + 1];
    u_int32 depth = 0;
    open[0] = {0, 0};
    elements_.emplace_back();
    pugi::xml_node parent = document;
    pugi::xml_node node = document.first_child();
    while (true) {
        if (is_null(node)) {  // all of the innermost open element is done
            elements_[open[depth].element].end = size();
            if (depth-- == 0) {
                return pugi::xml_node();
            }
            node = parent.next_sibling();
            parent = parent.parent();
            continue;
        }
        const char *name = node.name();
        if (name[0] != '\0') {  // an element, for texts have none and other nodes have been left out
            if (depth == max_xml_depth) {
                return node;
            }
            add(name, &open[depth].last_child);
            const pugi::xml_node child = node.first_child();
            if (!is_null(child) && !take_only_text(child)) {
                open[++depth] = {size() - 1, 0};
                parent = node;
                node = child;
                continue;
            }
        } else {
            add_text(open[depth].element, node.value());
        }
        node = node.next_sibling();
    }
}

}  // namespace velalib
