// A parsed XML document.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "velalib/runtime.h"
#include "xml_cursor.h"
#include "xml_index.h"

namespace velalib {

/** What reading by rules needs beyond the index. */
struct xml_rules {
    vela_xml_options options;
    std::string text;                   // as it was given, for lines and columns
    std::vector<size_t> line_starts;    // of it, from the first fault on
    std::vector<pugi::xml_node> nodes;  // of the elements, by number
};

}  // namespace velalib

struct vela_xml_document {
    vela_xml_document() {}  // leaves the cursor's tables unset, which a default one would fill

    std::unique_ptr<char[]> source;  // parsed in place: the tree points into it
    pugi::xml_document tree;
    velalib::xml_index index;
    velalib::xml_cursor cursor{index};
    struct {
        const char *path;
        u_int32 element;
    } selection = {};                           // what xml_select_element() said; the next read ends it
    std::unique_ptr<velalib::xml_rules> rules;  // nullptr: plain reading
};

namespace velalib {

/** Makes a document one that is read by rules. */
void keep_rules(vela_xml_document &document, const vela_xml_options &options, std::string_view text);

/**
 * Finds the element that a path of any form names.
 * @return 0, 2 when there is none, 12 or 22
 */
u_int32 find_element(vela_xml_document *document, const char *path, u_int32 *element);

/** The text of the element that a path names; 0, 2, 12 or 22 as xml_get_element_text(). */
u_int32 find_text(vela_xml_document *document, const char *path, const char **text);

}  // namespace velalib
