// A parsed XML document.
#pragma once

#include <memory>

#include "velalib/runtime.h"
#include "xml_cursor.h"
#include "xml_index.h"

struct vela_xml_document {
    vela_xml_document() {}  // leaves the cursor's tables unset, which a default one would fill

    std::unique_ptr<char[]> source;  // parsed in place: the tree points into it
    pugi::xml_document tree;
    velalib::xml_index index;
    velalib::xml_cursor cursor{index};
    struct {
        const char *path;
        u_int32 element;
    } selection = {};  // what xml_select_element() said; the next read ends it
};

namespace velalib {

/** Blanks out, in place, the words of every <NAME value out of range/>; false when there is none. */
bool blank_values_out_of_range(char *text, size_t length);

/** The first '&' that starts none of XML's own references, or nullptr. */
const char *find_bad_reference(const char *text, size_t length);

/** The text of the element that a path names; 0, 2, 12 or 22 as xml_get_element_text(). */
u_int32 find_text(vela_xml_document *document, const char *path, const char **text);

}  // namespace velalib
