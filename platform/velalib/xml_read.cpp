// Parses XML documents, and finds elements and their texts.
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>

#include "velalib_inline.h"
#include "xml_document.h"
#include "xml_scan.h"

using velalib::objection;

namespace {

/** Explains why a text is no document, and tells whom the options name. */
void report(const vela_xml_options &options, char *error_text, size_t error_room, const char *text,
            const objection &bad) {
    u_int32 line = 1;
    size_t line_start = 0;
    for (size_t i = 0; i < bad.position; ++i) {
        if (text[i] != '\n') {
            continue;
        }
        ++line;
        line_start = i + 1;
    }
    const u_int32 column = static_cast<u_int32>(bad.position - line_start + 1);
    if (error_text != nullptr && error_room != 0) {
        snprintf(error_text, error_room, "line %u, column %u: %s", line, column, bad.reason);
    }
    const vela_xml_fault fault = {VELA_EINVAL, line, column, "", bad.reason};
    if (options.on_fault != nullptr) {
        options.on_fault(options.cookie, &fault);
    }
}

/** Builds the tree of a text, which must not be empty; the words of lost values are blanked out first. */
pugi::xml_parse_result build_tree(vela_xml_document &document, std::string_view text,
                                  const std::vector<size_t> &lost_values) {
    // The parser drops what stands outside the root element unless it takes the text for a fragment, and then still
    // overlooks the last character, which is therefore ours.
    constexpr unsigned options =
        pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol | pugi::parse_fragment | pugi::parse_ws_pcdata_single;
    const size_t length = text.size() + 1;
    document.source = std::make_unique_for_overwrite<char[]>(length);
    char *source = document.source.get();
    memcpy(source, text.data(), text.size());
    source[text.size()] = '\n';
    for (const size_t at : lost_values) {
        memset(source + at, ' ', velalib::lost_value_words.size());
    }
    const pugi::xml_parse_result result =
        document.tree.load_buffer_inplace(source, length, options, pugi::encoding_utf8);
    if (result.status == pugi::status_out_of_memory) {
        throw std::bad_alloc();
    }
    return result;
}

/** Whether a document has a root element and no text beside it. */
bool has_root_only(pugi::xml_node document) {
    const pugi::xml_node root = document.first_child();
    return root.type() == pugi::node_element && root == document.last_child();
}

objection parse(vela_xml_document &document, std::string_view text) {
    std::vector<size_t> lost_values;
    const bool is_plain = velalib::is_plain_markup(text);
    if (is_plain && build_tree(document, text, lost_values) && has_root_only(document.tree.root())) {
        const pugi::xml_node too_deep = document.index.build(document.tree.root(), text.size());
        if (!too_deep) {
            return {};
        }
    }
    const objection bad = velalib::find_objection(text, &lost_values);
    if (bad.reason != nullptr) {
        return bad;
    }
    const pugi::xml_parse_result result = build_tree(document, text, lost_values);
    if (!result) {
        return {result.description(), static_cast<size_t>(result.offset < 0 ? 0 : result.offset)};
    }
    document.index.build(document.tree.root(), text.size());
    return {};
}

/** The node before another one in document order; null before the first. */
pugi::xml_node previous_in_document(pugi::xml_node node) {
    pugi::xml_node previous = node.previous_sibling();
    if (!previous) {
        return node.parent();
    }
    while (previous.last_child()) {
        previous = previous.last_child();
    }
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

/** The first element that a general XPath expression names. */
u_int32 query_element(vela_xml_document &document, const char *path, u_int32 *element) {
    pugi::xpath_node_set found;
    if (query(document, path, &found) != VELA_OK) {
        return VELA_EINVAL;
    }
    const pugi::xml_node node = found.first().node();
    if (node.type() != pugi::node_element) {
        return VELA_ENOENT;
    }
    // The index has all elements in document order, so the node's position among them is its number.
    u_int32 position = 0;
    for (pugi::xml_node at = node; at; at = previous_in_document(at)) {
        position += at.type() == pugi::node_element;
    }
    *element = position;
    return VELA_OK;
}

/** Options as they are here, from a caller who may know fewer or more; false when they ask for what is unknown. */
bool read_options(const vela_xml_options *options, vela_xml_options *out) {
    constexpr u_int32 known =
        VELA_XML_STRICT | VELA_XML_ALL_PAYLOADS | VELA_XML_ALL_FIELDS | VELA_XML_NUMBERS | VELA_XML_SHORT_FORMS;
    constexpr u_int32 only_strict = VELA_XML_ALL_PAYLOADS | VELA_XML_ALL_FIELDS;
    *out = {};
    if (options == nullptr) {
        return true;
    }
    if (options->size < offsetof(vela_xml_options, on_fault)) {
        return false;
    }
    memcpy(out, options, options->size < sizeof *out ? options->size : sizeof *out);
    const bool is_strict = (out->rules & VELA_XML_STRICT) != 0;
    return (out->rules & ~known) == 0 && (is_strict || (out->rules & only_strict) == 0);
}

}  // namespace

u_int32 velalib::find_element(vela_xml_document *document, const char *path, u_int32 *element) {
    *element = 0;
    if (document == nullptr || path == nullptr) {
        return VELA_EINVAL;
    }
    if (document->cursor.find(path, element)) {
        return *element != 0 ? VELA_OK : VELA_ENOENT;
    }
    try {
        return query_element(*document, path, element);
    } catch (const std::bad_alloc &) {
        return VELA_ENOMEM;
    }
}

u_int32 velalib::find_text(vela_xml_document *document, const char *path, const char **text) {
    if (document == nullptr || path == nullptr) {
        return VELA_EINVAL;
    }
    u_int32 element = document->selection.element;
    const bool is_selected = document->selection.path == path;
    document->selection.path = nullptr;
    if (!is_selected) {
        const u_int32 result = find_element(document, path, &element);
        if (result != VELA_OK) {
            return result;
        }
    }
    if (element == 0) {
        return VELA_ENOENT;
    }
    *text = document->index[element].text;
    return VELA_OK;
}

vela_xml_document *vela_xml_parse_with(const char *text, size_t length, const vela_xml_options *options, u_int32 *err,
                                       char *error_text, size_t error_room) {
    if (*err != 0) {
        return nullptr;
    }
    if (error_text != nullptr && error_room != 0) {
        error_text[0] = '\0';
    }
    *err = VELA_EINVAL;
    vela_xml_options known;
    if (!read_options(options, &known)) {
        if (error_text != nullptr) {
            snprintf(error_text, error_room, "options of this document that nobody knows");
        }
        return nullptr;
    }
    if (text == nullptr || length == 0) {
        report(known, error_text, error_room, "", {"there is no text", 0});
        return nullptr;
    }
    try {
        auto document = std::make_unique<vela_xml_document>();
        objection bad = parse(*document, {text, length});
        if (bad.reason != nullptr) {
            bad.position = bad.position < length ? bad.position : length;
            report(known, error_text, error_room, text, bad);
            return nullptr;
        }
        if (known.rules != 0) {
            velalib::keep_rules(*document, known, {text, length});
        }
        *err = 0;
        return document.release();
    } catch (const std::bad_alloc &) {
        *err = VELA_ENOMEM;
        if (error_text != nullptr && error_room != 0) {
            snprintf(error_text, error_room, "no memory to parse it");
        }
        return nullptr;
    }
}

vela_xml_document *vela_xml_parse(const char *text, size_t length, char *error_text, size_t error_room) {
    u_int32 err = 0;
    return vela_xml_parse_with(text, length, nullptr, &err, error_text, error_room);
}

void vela_xml_destroy(vela_xml_document *document) { delete document; }

u_int32 xml_get_element_value(vela_xml_document *document, const char *path, char *value, u_int32 size, u_int32) {
    if (value == nullptr || size == 0) {
        return VELA_EINVAL;
    }
    const char *text = nullptr;
    const u_int32 result = velalib::find_text(document, path, &text);
    if (result != VELA_OK) {
        return result;
    }
    const size_t length = strlen(text);
    const size_t kept = length < size ? length : size - 1;
    memcpy(value, text, kept);
    value[kept] = '\0';
    return kept == length ? VELA_OK : VELA_ENOSPC;
}

u_int32 xml_get_element_nodecount(vela_xml_document *document, const char *path, u_int32 *count) {
    if (document == nullptr || path == nullptr || count == nullptr) {
        return VELA_EINVAL;
    }
    *count = 0;
    if (document->cursor.count(path, count)) {
        return VELA_OK;
    }
    try {
        pugi::xpath_node_set found;
        if (query(*document, path, &found) != VELA_OK) {
            return VELA_EINVAL;
        }
        *count = static_cast<u_int32>(found.size());
        return VELA_OK;
    } catch (const std::bad_alloc &) {
        return VELA_ENOMEM;
    }
}

u_int32 xml_get_element_text(vela_xml_document *document, const char *path, const char **text) {
    if (text == nullptr) {
        return VELA_EINVAL;
    }
    return velalib::find_text(document, path, text);
}
