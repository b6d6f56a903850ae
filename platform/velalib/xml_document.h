// A parsed XML document.
#pragma once

#include <forward_list>
#include <memory>
#include <string>

#include "velalib/runtime.h"
#include "xml_cursor.h"

struct vela_xml_document {
    std::unique_ptr<char[]> source;  // parsed in place: the tree points into it
    pugi::xml_document tree;
    velalib::xml_cursor cursor{tree};
    std::forward_list<std::string> joined_texts;  // texts that stand in several pieces in the source
};

namespace velalib {

/** The deepest nesting of elements that is accepted. */
constexpr u_int32 max_xml_depth = 64;

/**
 * Checks what the parser would let pass, in place: references must be the predefined or numeric ones, and the
 * words of <NAME value out of range/> become blanks.
 * @param reason  receives what is wrong
 * @return nullptr, or where it is wrong
 */
const char *prepare_markup(char *text, size_t length, const char **reason);

/** The text of the element that a path names; 0, 2, 12 or 22 as xml_get_element_text(). */
u_int32 find_text(vela_xml_document *document, const char *path, const char **text);

}  // namespace velalib
