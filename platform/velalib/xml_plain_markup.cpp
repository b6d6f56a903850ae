// Decides in stretches of 64 bytes whether a text is of the kind in which the tree's parser can miss nothing.
#include <cstring>

#include "xml_scan.h"

namespace velalib {
namespace {

using lanes = int8 __attribute__((vector_size(16)));
constexpr size_t stretch = 4 * sizeof(lanes);

[[gnu::always_inline]] inline lanes load(const char *at) {
    lanes characters;
    memcpy(&characters, at, sizeof characters);
    return characters;
}

[[gnu::always_inline]] inline bool any(lanes found) {
    u_int64 halves[2];
    memcpy(halves, &found, sizeof halves);
    return (halves[0] | halves[1]) != 0;
}

/** What markup can hide in, and blanks. Bytes beyond ASCII are negative here. */
[[gnu::always_inline]] inline lanes suspects(const char *at) {
    const lanes c = load(at);
    return (c < '+') | (c == '?') | (c == ']');
}

/** The same without the blanks that are common, which the library's own output has none of. */
bool has_more_than_blanks(const char *at) {
    lanes found = {};
    for (size_t i = 0; i < stretch; i += sizeof(lanes)) {
        const lanes c = load(at + i);
        found |= ((c < '+') & (c != ' ') & (c != '\n')) | (c == '?') | (c == ']');
    }
    return any(found);
}

[[gnu::always_inline]] inline bool is_plain_stretch(const char *at) {
    static_assert(stretch == 4 * sizeof(lanes));
    const lanes found = suspects(at) | suspects(at + 16) | suspects(at + 32) | suspects(at + 48);
    return !any(found) || !has_more_than_blanks(at);
}

}  // namespace

bool is_plain_markup(std::string_view text) {
    const char *at = text.data();
    for (size_t left = text.size(); left >= stretch; left -= stretch, at += stretch) {
        if (!is_plain_stretch(at)) {
            return false;
        }
    }
    char rest[stretch];
    memset(rest, 'x', sizeof rest);
    memcpy(rest, at, text.size() % stretch);
    return is_plain_stretch(rest);
}

}  // namespace velalib
