// Finding elements by path, at constant cost when they are asked for in document order.
#pragma once

#include <pugixml.hpp>

#include "velalib/types.h"

namespace velalib {

/**
 * Remembers the elements on the way to the last path, and for each how far its children have been looked at. The next
 * path usually shares all but its last step, and names the child after the last one found.
 */
class xml_cursor {
public:
    explicit xml_cursor(pugi::xml_node document) : document_(document) {}

    /**
     * Finds the element that a simple path names: //NAME or /NAME, then steps /NAME or /NAME[n].
     * @param element  receives it; null when there is none
     * @return false when the path has another form
     */
    bool find(const char *path, pugi::xml_node *element);
    /** Counts the elements that such a path names; false when it has another form. */
    bool count(const char *path, u_int32 *count);

private:
    /** A set of names that may claim one it does not hold, but never misses one. */
    class name_set {
    public:
        bool may_hold(u_int32 hash) const { return (bits_[word(hash)] & bit(hash)) != 0; }
        void add(u_int32 hash) { bits_[word(hash)] |= bit(hash); }

    private:
        static u_int32 word(u_int32 hash) { return (hash >> 6) & 3; }
        static u_int64 bit(u_int32 hash) { return u_int64{1} << (hash & 63); }
        u_int64 bits_[4] = {};
    };

    /** One step of a path: a name, and which of that name, from 1. */
    struct step {
        const char *name;
        u_int32 length;
        u_int32 hash;
        u_int32 ordinal;
        bool has_ordinal;
        const char *end;  // of the step in the path
    };

    /** An element on the way, and what is known of its children. */
    struct level {
        pugi::xml_node element;
        u_int32 path_end = 0;         // the characters of the path that lead here
        pugi::xml_node last;          // the child found last, number last_ordinal of its name
        u_int32 last_ordinal = 0;
        pugi::xml_node frontier;      // every child up to this one is in `seen`
        name_set seen;
    };

    /** What "//NAME" found. */
    struct anchor {
        pugi::xml_node element;
        u_int32 count;  // of such elements; 0: not counted yet
    };

    static constexpr u_int32 max_levels = 72;
    static constexpr u_int32 max_path = 1024;
    static constexpr u_int32 max_anchors = 8;

    static bool is_named(pugi::xml_node node, const step &wanted);
    static bool parse_step(const char *at, step *out);
    static pugi::xml_node next_in_document(pugi::xml_node node, pugi::xml_node top);
    const char *rewind(const char *path, u_int32 length);
    pugi::xml_node find_first_step(const char *path, const step &wanted);
    anchor *find_anchor(const step &wanted);
    pugi::xml_node find_child(level &parent, const step &wanted);
    void enter(const char *path, const char *end, pugi::xml_node element);
    u_int32 count_anywhere(pugi::xml_node element);

    pugi::xml_node document_;
    level levels_[max_levels];
    u_int32 depth_ = 0;      // levels in use
    char path_[max_path];    // path of the last of them
    anchor anchors_[max_anchors];
    u_int32 anchor_count_ = 0;
};

}  // namespace velalib
