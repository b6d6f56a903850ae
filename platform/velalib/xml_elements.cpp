// Elements by number, and reads of them by paths that need no search.
#include <cstring>

#include "xml_document.h"

namespace {

bool is_named(const vela_xml_document *document, u_int32 element, const char *name) {
    return strcmp(document->index[element].name, name) == 0;
}

/** Steps over an element that has been asked for, when every one before it has. */
u_int32 take(const vela_xml_document *document, u_int32 *fresh, u_int32 element) {
    if (element == *fresh && element != 0) {
        *fresh = document->index[element].next_sibling;
    }
    return element;
}

u_int32 find_from(const vela_xml_document *document, u_int32 element, const char *name) {
    while (element != 0 && !is_named(document, element, name)) {
        element = document->index[element].next_sibling;
    }
    return element;
}

}  // namespace

u_int32 xml_find_element(vela_xml_document *document, const char *path, u_int32 *element) {
    return velalib::find_element(document, path, element);
}

u_int32 xml_first_child(const vela_xml_document *document, u_int32 element) {
    return document->index.first_child(element);
}

u_int32 xml_find_child(const vela_xml_document *document, u_int32 *fresh, const char *name) {
    // Those before the fresh one bear names that have been asked for, so not this one.
    return take(document, fresh, find_from(document, *fresh, name));
}

const char *xml_last_name(const vela_xml_document *document, u_int32 element) {
    const velalib::xml_element &known = document->index[element];
    return known.next_sibling == 0 ? known.name : nullptr;
}

u_int32 xml_find_next(const vela_xml_document *document, u_int32 *fresh, u_int32 element) {
    const velalib::xml_element &known = document->index[element];
    return take(document, fresh, find_from(document, known.next_sibling, known.name));
}

void xml_select_element(vela_xml_document *document, const char *path, u_int32 element) {
    document->selection = {path, element};
}
