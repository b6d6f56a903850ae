#include <cstdio>
#include <cstring>
#include <new>

#include "velalib_inline.h"
#include "xml_document.h"

namespace {

/** Writes "line L, column C: REASON" for a position in the text. */
void report(char *error_text, size_t error_room, const char *text, size_t position, const char *reason) {
    if (error_text == nullptr || error_room == 0) return;
    size_t line = 1;
    size_t line_start = 0;
    for (size_t i = 0; i < position; ++i) {
        if (text[i] != '\n') continue;
        ++line;
        line_start = i + 1;
    }
    snprintf(error_text, error_room, "line %zu, column %zu: %s", line, position - line_start + 1, reason);
}

/** Where a document breaks a rule of ours, and which. */
struct objection {
    const char *reason = nullptr;
    size_t position = 0;
};

size_t position_of(pugi::xml_node node) {
    const ptrdiff_t offset = node.offset_debug();
    return offset < 0 ? 0 : static_cast<size_t>(offset);
}

/** One root element, no text beside it, no document type. */
objection check_top(pugi::xml_node document) {
    u_int32 roots = 0;
    for (pugi::xml_node node = document.first_child(); node; node = node.next_sibling()) {
        switch (node.type()) {
            case pugi::node_doctype:
                return {"a document type is not accepted; leave it out", position_of(node)};
            case pugi::node_pcdata:
            case pugi::node_cdata:
                return {"text outside the root element", position_of(node)};
            case pugi::node_element:
                if (++roots > 1) return {"a second root element; a document has one", position_of(node)};
                break;
            default:
                break;
        }
    }
    return roots == 0 ? objection{"there is no element", 0} : objection{};
}

objection parse_text(vela_xml_document &document, size_t length) {
    constexpr unsigned options = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol | pugi::parse_doctype |
                                 pugi::parse_fragment | pugi::parse_ws_pcdata_single;
    const pugi::xml_parse_result result =
        document.tree.load_buffer_inplace(document.source.get(), length, options, pugi::encoding_utf8);
    if (result) return {};
    return {result.description(), static_cast<size_t>(result.offset < 0 ? 0 : result.offset)};
}

objection parse(vela_xml_document &document, const char *text, size_t length) {
    if (const char *at = velalib::find_bad_reference(text, length)) {
        return {"an '&' that starts none of XML's own references; write it as &amp;", static_cast<size_t>(at - text)};
    }
    document.source = std::make_unique_for_overwrite<char[]>(length);
    memcpy(document.source.get(), text, length);
    objection bad = parse_text(document, length);
    if (bad.reason != nullptr) {  // perhaps for a value out of range, which is not well-formed
        memcpy(document.source.get(), text, length);
        if (velalib::blank_values_out_of_range(document.source.get(), length)) bad = parse_text(document, length);
    }
    if (bad.reason == nullptr) bad = check_top(document.tree.root());
    if (bad.reason != nullptr) return bad;
    const pugi::xml_node too_deep = document.index.build(document.tree.root(), length);
    return too_deep ? objection{"elements are nested too deeply", position_of(too_deep)} : objection{};
}

/** The node before another one in document order; null before the first. */
pugi::xml_node previous_in_document(pugi::xml_node node) {
    pugi::xml_node previous = node.previous_sibling();
    if (!previous) return node.parent();
    while (previous.last_child()) previous = previous.last_child();
    return previous;
}

/** Asks XPath, for a path that the cursor does not know. Returns 0 or 22. */
u_int32 query(vela_xml_document &document, const char *path, pugi::xpath_node_set *found) {
    try {
        *found = document.tree.select_nodes(path);
        return VELA_OK;
    } catch (const pugi::xpath_exception &) {
        return VELA_EINVAL;
    }
}

/** The text of the first element that a general XPath expression names. */
u_int32 query_text(vela_xml_document &document, const char *path, const char **text) {
    pugi::xpath_node_set found;
    if (query(document, path, &found) != VELA_OK) return VELA_EINVAL;
    const pugi::xml_node node = found.first().node();
    if (node.type() != pugi::node_element) return VELA_ENOENT;
    // The index has all elements in document order, so the node's position among them finds its text.
    u_int32 position = 0;
    for (pugi::xml_node at = node; at; at = previous_in_document(at)) position += at.type() == pugi::node_element;
    *text = document.index[position].text;
    return VELA_OK;
}

}  // namespace

u_int32 velalib::find_text(vela_xml_document *document, const char *path, const char **text) {
    if (document == nullptr || path == nullptr) return VELA_EINVAL;
    u_int32 element = document->selection.element;
    const bool is_selected = document->selection.path == path;
    document->selection.path = nullptr;
    if (is_selected || document->cursor.find(path, &element)) {
        if (element == 0) return VELA_ENOENT;
        *text = document->index[element].text;
        return VELA_OK;
    }
    try {
        return query_text(*document, path, text);
    } catch (const std::bad_alloc &) {
        return VELA_ENOMEM;
    }
}

vela_xml_document *vela_xml_parse(const char *text, size_t length, char *error_text, size_t error_room) {
    if (error_text != nullptr && error_room != 0) error_text[0] = '\0';
    if (text == nullptr || length == 0) {
        report(error_text, error_room, "", 0, "there is no text");
        return nullptr;
    }
    if (const void *nul = memchr(text, 0, length)) {
        report(error_text, error_room, text, static_cast<size_t>(static_cast<const char *>(nul) - text),
               "a NUL character");
        return nullptr;
    }
    try {
        auto document = std::make_unique<vela_xml_document>();
        const objection bad = parse(*document, text, length);
        if (bad.reason == nullptr) return document.release();
        report(error_text, error_room, text, bad.position < length ? bad.position : length, bad.reason);
    } catch (const std::bad_alloc &) {
        report(error_text, error_room, text, 0, "no memory to parse it");
    }
    return nullptr;
}

void vela_xml_destroy(vela_xml_document *document) { delete document; }

u_int32 xml_get_element_value(vela_xml_document *document, const char *path, char *value, u_int32 size, u_int32) {
    if (value == nullptr || size == 0) return VELA_EINVAL;
    const char *text = nullptr;
    const u_int32 result = velalib::find_text(document, path, &text);
    if (result != VELA_OK) return result;
    const size_t length = strlen(text);
    const size_t kept = length < size ? length : size - 1;
    memcpy(value, text, kept);
    value[kept] = '\0';
    return kept == length ? VELA_OK : VELA_ENOSPC;
}

u_int32 xml_get_element_nodecount(vela_xml_document *document, const char *path, u_int32 *count) {
    if (document == nullptr || path == nullptr || count == nullptr) return VELA_EINVAL;
    *count = 0;
    if (document->cursor.count(path, count)) return VELA_OK;
    try {
        pugi::xpath_node_set found;
        if (query(*document, path, &found) != VELA_OK) return VELA_EINVAL;
        *count = static_cast<u_int32>(found.size());
        return VELA_OK;
    } catch (const std::bad_alloc &) {
        return VELA_ENOMEM;
    }
}

u_int32 xml_get_element_text(vela_xml_document *document, const char *path, const char **text) {
    if (text == nullptr) return VELA_EINVAL;
    return velalib::find_text(document, path, text);
}
