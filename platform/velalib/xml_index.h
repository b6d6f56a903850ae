// The elements of a parsed document in a flat table, in document order, for finding them fast.
#pragma once

#include <deque>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "velalib/types.h"

namespace velalib {

/** The deepest nesting of elements that is accepted. */
constexpr u_int32 max_xml_depth = 64;

/** A hash of an element's name; equal names have equal ones. */
u_int32 hash_element_name(const char *name, size_t length);

struct xml_element {
    const char *name = "";
    const char *text = "";     // of the element itself
    u_int32 next_sibling = 0;  // 0: none
    u_int32 end = 0;           // the elements from the next one up to here lie inside this one
    u_int32 name_length = 0;   // this and the hash: 0 until measured() is asked for them
    u_int32 name_hash = 0;
};

/** Element 0 stands for the document; its child is the root element. */
class xml_index {
  public:
    /**
     * Enters all elements of a document.
     * @return null, or an element that is nested too deeply
     */
    pugi::xml_node build(pugi::xml_node document, size_t source_length);

    const xml_element &operator[](u_int32 element) const { return elements_[element]; }
    /** An element with the length and the hash of its name, which a reader without paths does without. */
    const xml_element &measured(u_int32 element) {
        return elements_[element].name_length != 0 ? elements_[element] : measure(elements_[element]);
    }
    u_int32 size() const { return static_cast<u_int32>(elements_.size()); }
    /** The first child of an element, 0 when it has none. */
    u_int32 first_child(u_int32 element) const { return elements_[element].end > element + 1 ? element + 1 : 0; }

  private:
    static const xml_element &measure(xml_element &element);
    void add(const char *name, u_int32 *last_sibling);
    bool take_only_text(pugi::xml_node child);
    void add_text(u_int32 element, const char *text);

    std::vector<xml_element> elements_;
    std::deque<std::string> joined_texts_;  // of elements whose text stands in several pieces
};

}  // namespace velalib
