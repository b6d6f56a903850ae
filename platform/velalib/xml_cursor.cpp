#include "xml_cursor.h"

#include <cstring>

namespace velalib {

namespace {

bool is_name_start(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || static_cast<u_int8>(c) >= 0x80;
}

bool is_name_part(char c) {
    return is_name_start(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

u_int32 add_to_hash(u_int32 hash, char c) {
    return hash * 31 + static_cast<u_int8>(c);
}

u_int32 finish_hash(u_int32 hash) {
    return hash ^ (hash >> 15);
}

u_int32 hash_name(const char *name) {
    u_int32 hash = 0;
    for (; *name != '\0'; ++name) hash = add_to_hash(hash, *name);
    return finish_hash(hash);
}

u_int32 common_length(const char *a, const char *b, u_int32 limit) {
    u_int32 at = 0;
    while (at + 8 <= limit && memcmp(a + at, b + at, 8) == 0) at += 8;
    while (at < limit && a[at] == b[at]) ++at;
    return at;
}

}  // namespace

bool xml_cursor::is_named(pugi::xml_node node, const step &wanted) {
    const char *name = node.name();
    return strncmp(name, wanted.name, wanted.length) == 0 && name[wanted.length] == '\0';
}

bool xml_cursor::parse_step(const char *at, step *out) {
    *out = {at, 0, 0, 1, false, at};
    if (!is_name_start(*at)) return false;
    for (; is_name_part(*at); ++at) out->hash = add_to_hash(out->hash, *at);
    out->length = static_cast<u_int32>(at - out->name);
    out->hash = finish_hash(out->hash);
    if (*at == '[') {
        out->has_ordinal = true;
        out->ordinal = 0;
        const char *digits = ++at;
        for (; *at >= '0' && *at <= '9'; ++at) out->ordinal = out->ordinal * 10 + static_cast<u_int32>(*at - '0');
        if (at == digits || at - digits > 9 || *at++ != ']') return false;
    }
    out->end = at;
    return *at == '/' || *at == '\0';
}

/** Drops the levels that a path does not share, and returns the rest of the path. */
const char *xml_cursor::rewind(const char *path, u_int32 length) {
    const u_int32 known = depth_ == 0 ? 0 : levels_[depth_ - 1].path_end;
    const u_int32 common = common_length(path, path_, known < length ? known : length);
    for (; depth_ > 0; --depth_) {
        const u_int32 end = levels_[depth_ - 1].path_end;
        if (end <= common && (path[end] == '/' || path[end] == '\0')) return path + end;
    }
    return path;
}

void xml_cursor::enter(const char *path, const char *end, pugi::xml_node element) {
    const u_int32 known = depth_ == 0 ? 0 : levels_[depth_ - 1].path_end;
    const u_int32 path_end = static_cast<u_int32>(end - path);
    memcpy(path_ + known, path + known, path_end - known);
    level &fresh = levels_[depth_++];
    fresh = level();
    fresh.element = element;
    fresh.path_end = path_end;
}

/** The node after another one in document order, inside `top`; null at the end. */
pugi::xml_node xml_cursor::next_in_document(pugi::xml_node node, pugi::xml_node top) {
    if (pugi::xml_node child = node.first_child()) return child;
    while (node != top) {
        if (pugi::xml_node sibling = node.next_sibling()) return sibling;
        node = node.parent();
    }
    return pugi::xml_node();
}

/** What "//NAME" finds, remembered; the table starts anew when it is full. */
xml_cursor::anchor *xml_cursor::find_anchor(const step &wanted) {
    for (u_int32 i = 0; i < anchor_count_; ++i) {
        if (is_named(anchors_[i].element, wanted)) return &anchors_[i];
    }
    pugi::xml_node node = document_;
    while (node && !is_named(node, wanted)) node = next_in_document(node, document_);
    if (!node) return nullptr;
    if (anchor_count_ == max_anchors) anchor_count_ = 0;
    anchors_[anchor_count_] = {node, 0};
    return &anchors_[anchor_count_++];
}

pugi::xml_node xml_cursor::find_first_step(const char *path, const step &wanted) {
    if (path[1] == '/') {
        const anchor *found = find_anchor(wanted);
        return found == nullptr ? pugi::xml_node() : found->element;
    }
    u_int32 ordinal = 0;
    for (pugi::xml_node node = document_.first_child(); node; node = node.next_sibling()) {
        if (is_named(node, wanted) && ++ordinal == wanted.ordinal) return node;
    }
    return pugi::xml_node();
}

pugi::xml_node xml_cursor::find_child(level &parent, const step &wanted) {
    pugi::xml_node node;
    u_int32 ordinal = 0;
    bool passed_frontier = false;
    if (parent.last && wanted.ordinal >= parent.last_ordinal && is_named(parent.last, wanted)) {
        if (wanted.ordinal == parent.last_ordinal) return parent.last;
        node = parent.last.next_sibling();
        ordinal = parent.last_ordinal;
        passed_frontier = parent.last == parent.frontier;
    } else if (parent.frontier && !parent.seen.may_hold(wanted.hash)) {
        node = parent.frontier.next_sibling();
        passed_frontier = true;
    } else {
        node = parent.element.first_child();
        passed_frontier = !parent.frontier;
    }
    for (; node; node = node.next_sibling()) {
        if (passed_frontier) {
            parent.seen.add(hash_name(node.name()));
            parent.frontier = node;
        } else {
            passed_frontier = node == parent.frontier;
        }
        if (is_named(node, wanted) && ++ordinal == wanted.ordinal) {
            parent.last = node;
            parent.last_ordinal = ordinal;
            return node;
        }
    }
    return node;
}

bool xml_cursor::find(const char *path, pugi::xml_node *element) {
    *element = pugi::xml_node();
    const size_t length = strlen(path);
    if (path[0] != '/' || length >= max_path) return false;
    const char *at = rewind(path, static_cast<u_int32>(length));
    bool absent = false;
    while (*at != '\0') {
        const bool anywhere = at == path && at[1] == '/';
        step wanted;
        if (!parse_step(at + (anywhere ? 2 : 1), &wanted) || (anywhere && wanted.has_ordinal)) return false;
        at = wanted.end;
        if (absent) continue;  // the rest is looked at for its form only
        if (depth_ == max_levels) return false;
        pugi::xml_node found =
            depth_ == 0 ? find_first_step(path, wanted) : find_child(levels_[depth_ - 1], wanted);
        if (found) {
            enter(path, at, found);
        } else {
            absent = true;
        }
    }
    if (!absent) *element = levels_[depth_ - 1].element;
    return true;
}

/** Counts the elements of a document that have the name of an anchor's element. */
u_int32 xml_cursor::count_anywhere(pugi::xml_node element) {
    u_int32 total = 0;
    for (pugi::xml_node node = element; node; node = next_in_document(node, document_)) {
        if (strcmp(node.name(), element.name()) == 0) ++total;
    }
    return total;
}

bool xml_cursor::count(const char *path, u_int32 *count) {
    pugi::xml_node element;
    if (!find(path, &element)) return false;
    *count = element ? 1 : 0;
    const bool names_one = path[strlen(path) - 1] == ']';
    if (!element || names_one) return true;
    if (depth_ == 1 && path[1] == '/') {
        for (u_int32 i = 0; i < anchor_count_; ++i) {
            if (anchors_[i].element != element) continue;
            if (anchors_[i].count == 0) anchors_[i].count = count_anywhere(element);
            *count = anchors_[i].count;
        }
        return true;
    }
    for (pugi::xml_node node = element.next_sibling(element.name()); node; node = node.next_sibling(node.name())) {
        ++*count;
    }
    return true;
}

}  // namespace velalib
