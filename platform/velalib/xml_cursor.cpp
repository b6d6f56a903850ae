// Finds elements by simple paths, beginning where the last one was found.
#include "xml_cursor.h"

#include <array>
#include <cstring>

namespace velalib {

namespace {

enum class path_character : u_int8 { other, name_start, name_part };

/** What each character may be in a name; others make a path one for XPath. */
constexpr std::array<path_character, 256> path_characters = [] {
    std::array<path_character, 256> table = {};
    for (u_int32 c = 0; c < table.size(); ++c) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c >= 0x80) {
            table[c] = path_character::name_start;
        } else if ((c >= '0' && c <= '9') || c == '-' || c == '.') {
            table[c] = path_character::name_part;
        }
    }
    return table;
}();

path_character classify(char c) { return path_characters[static_cast<u_int8>(c)]; }

/** Reads "[n]" of at most nine digits; nullptr when it is none. */
const char *parse_ordinal(const char *at, u_int32 *ordinal) {
    const char *digits = ++at;
    for (*ordinal = 0; *at >= '0' && *at <= '9'; ++at) {
        *ordinal = *ordinal * 10 + static_cast<u_int32>(*at - '0');
    }
    return at == digits || at - digits > 9 || *at != ']' ? nullptr : at + 1;
}

bool ends_step(char c) { return c == '/' || c == '\0'; }

}  // namespace

bool xml_cursor::is_named(u_int32 element, const step &wanted) {
    const xml_element &known = index_.measured(element);
    return known.name_hash == wanted.hash && known.name_length == wanted.length &&
           memcmp(known.name, wanted.name, wanted.length) == 0;
}

bool xml_cursor::have_same_name(u_int32 first, u_int32 second) {
    const xml_element &a = index_.measured(first);
    const xml_element &b = index_.measured(second);
    return a.name_hash == b.name_hash && a.name_length == b.name_length && memcmp(a.name, b.name, a.name_length) == 0;
}

bool xml_cursor::parse_step(const char *at, step *out) {
    *out = {at, 0, 0, 1, false, at};
    if (classify(*at) != path_character::name_start) {
        return false;
    }
    while (classify(*at) != path_character::other) {
        ++at;
    }
    out->length = static_cast<u_int32>(at - out->name);
    out->hash = hash_element_name(out->name, out->length);
    if (*at == '[') {
        out->has_ordinal = true;
        at = parse_ordinal(at, &out->ordinal);
        if (at == nullptr) {
            return false;
        }
    }
    out->end = at;
    return ends_step(*at);
}

/** True when the rest of a path consists of steps. */
bool xml_cursor::has_simple_form(const char *rest) {
    step unused;
    while (*rest != '\0') {
        if (!parse_step(rest + 1, &unused)) {
            return false;
        }
        rest = unused.end;
    }
    return true;
}

/** Drops the levels that a path does not share, and returns the rest of the path. */
const char *xml_cursor::rewind(const char *path, u_int32 length) {
    for (; depth_ > 0; --depth_) {
        const u_int32 end = levels_[depth_ - 1].path_end;
        if (end <= length && ends_step(path[end]) && memcmp(path, path_, end) == 0) {
            return path + end;
        }
    }
    return path;
}

void xml_cursor::enter(const char *path, const char *end, u_int32 element) {
    const u_int32 known = depth_ == 0 ? 0 : levels_[depth_ - 1].path_end;
    const u_int32 path_end = static_cast<u_int32>(end - path);
    memcpy(path_ + known, path + known, path_end - known);
    levels_[depth_++] = {element, path_end, 0, 0, 0, {}};
}

/** The first element of a name in the document for "//NAME", the root element for "/NAME". */
u_int32 xml_cursor::find_first_step(const char *path, const step &wanted) const {
    const bool anywhere = path[1] == '/';
    const u_int32 end = anywhere ? index_.size() : index_.first_child(0) + 1;
    for (u_int32 element = 1; element < end; ++element) {
        const char *name = index_[element].name;  // most are looked at once, which is no reason to measure them
        if (name[0] == wanted.name[0] && strncmp(name, wanted.name, wanted.length) == 0 &&
            name[wanted.length] == '\0') {
            return wanted.ordinal == 1 ? element : 0;
        }
    }
    return 0;
}

/** The end of a step at `at` that has an element's name, and its ordinal; nullptr when it is another step. */
const char *xml_cursor::match(u_int32 element, const char *at, const char *path_end, u_int32 *ordinal) {
    const xml_element &known = index_.measured(element);
    if (static_cast<size_t>(path_end - at) < known.name_length || memcmp(at, known.name, known.name_length) != 0) {
        return nullptr;
    }
    at += known.name_length;
    *ordinal = 1;
    if (*at == '[') {
        at = parse_ordinal(at, ordinal);
    }
    return at != nullptr && ends_step(*at) ? at : nullptr;
}

/**
 * Tries what a reader in document order asks for: the element found last, the next one of its name right behind it,
 * or the first child that nobody has looked at. Returns 0 when it is none of them, which says nothing yet.
 */
u_int32 xml_cursor::find_in_order(level &parent, const char *at, const char *path_end, const char **step_end) {
    u_int32 ordinal = 0;
    if (parent.last != 0 && (*step_end = match(parent.last, at, path_end, &ordinal)) != nullptr) {
        if (ordinal == parent.last_ordinal) {
            return parent.last;
        }
        const u_int32 next = index_[parent.last].next_sibling;
        if (ordinal != parent.last_ordinal + 1 || next == 0 || !have_same_name(next, parent.last)) {
            return 0;
        }
        if (parent.frontier == parent.last) {
            parent.frontier = next;
        }
        parent.last = next;
        parent.last_ordinal = ordinal;
        return next;
    }
    const u_int32 fresh =
        parent.frontier == 0 ? index_.first_child(parent.element) : index_[parent.frontier].next_sibling;
    if (fresh == 0 || (*step_end = match(fresh, at, path_end, &ordinal)) == nullptr || ordinal != 1) {
        return 0;
    }
    const u_int32 hash = index_.measured(fresh).name_hash;
    if (parent.seen.may_hold(hash)) {
        return 0;
    }
    parent.seen.add(hash);
    parent.frontier = parent.last = fresh;
    parent.last_ordinal = 1;
    return fresh;
}

u_int32 xml_cursor::find_child(level &parent, const step &wanted) {
    u_int32 child = 0;
    u_int32 ordinal = 0;
    bool passed_frontier = false;
    if (parent.last != 0 && wanted.ordinal >= parent.last_ordinal && is_named(parent.last, wanted)) {
        if (wanted.ordinal == parent.last_ordinal) {
            return parent.last;
        }
        child = index_[parent.last].next_sibling;
        ordinal = parent.last_ordinal;
        passed_frontier = parent.last == parent.frontier;
    } else if (parent.frontier != 0 && !parent.seen.may_hold(wanted.hash)) {
        child = index_[parent.frontier].next_sibling;
        passed_frontier = true;
    } else {
        child = index_.first_child(parent.element);
        passed_frontier = parent.frontier == 0;
    }
    for (; child != 0; child = index_[child].next_sibling) {
        if (passed_frontier) {
            parent.seen.add(index_.measured(child).name_hash);
            parent.frontier = child;
        } else {
            passed_frontier = child == parent.frontier;
        }
        if (is_named(child, wanted) && ++ordinal == wanted.ordinal) {
            parent.last = child;
            parent.last_ordinal = ordinal;
            return child;
        }
    }
    return 0;
}

bool xml_cursor::find(const char *path, u_int32 *element) {
    *element = 0;
    const size_t length = strlen(path);
    if (path[0] != '/' || length >= max_path) {
        return false;
    }
    const char *at = rewind(path, static_cast<u_int32>(length));
    u_int32 found = depth_ == 0 ? 0 : levels_[depth_ - 1].element;
    while (*at != '\0') {
        const char *const start = at;
        if (depth_ == max_levels) {
            return false;
        }
        found = depth_ == 0 ? 0 : find_in_order(levels_[depth_ - 1], start + 1, path + length, &at);
        if (found == 0) {
            const bool anywhere = start == path && start[1] == '/';
            step wanted;
            if (!parse_step(start + (anywhere ? 2 : 1), &wanted) || (anywhere && wanted.has_ordinal)) {
                return false;
            }
            at = wanted.end;
            found = depth_ == 0 ? find_first_step(path, wanted) : find_child(levels_[depth_ - 1], wanted);
        }
        if (found == 0) {
            return has_simple_form(at);
        }
        // The first element is entered always, so that its search is not repeated, the last one only to go on.
        if (depth_ == 0 || *at != '\0') {
            enter(path, at, found);
        }
    }
    *element = found;
    return true;
}

/** Counts the elements from one on, to the document's end, that have its name. */
u_int32 xml_cursor::count_named_like(u_int32 element) {
    u_int32 total = 0;
    for (u_int32 at = element; at < index_.size(); ++at) {
        total += have_same_name(at, element);
    }
    return total;
}

bool xml_cursor::count(const char *path, u_int32 *count) {
    u_int32 element = 0;
    if (!find(path, &element)) {
        return false;
    }
    *count = element != 0;
    const bool names_one = path[strlen(path) - 1] == ']';
    if (element == 0 || names_one) {
        return true;
    }
    if (path[1] == '/' && strchr(path + 2, '/') == nullptr) {
        *count = count_named_like(element);
        return true;
    }
    for (u_int32 next = index_[element].next_sibling; next != 0; next = index_[next].next_sibling) {
        *count += have_same_name(next, element);
    }
    return true;
}

}  // namespace velalib
