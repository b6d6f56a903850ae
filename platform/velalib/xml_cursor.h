// Finding elements by path, at constant cost when they are asked for in document order.
#pragma once

#include "xml_index.h"

namespace velalib {

/**
 * Remembers the elements on the way to the last path, and for each how far its children have been looked at. The next
 * path usually shares all but its last step, and names the child after the last one found.
 */
class xml_cursor {
  public:
    explicit xml_cursor(xml_index &index) : index_(index) {}

    /**
     * Finds the element that a simple path names: //NAME or /NAME, then steps /NAME or /NAME[n].
     * @param element  receives it; 0 when there is none
     * @return false when the path has another form
     */
    bool find(const char *path, u_int32 *element);
    /** Counts the elements that such a path names; false when it has another form. */
    bool count(const char *path, u_int32 *count);

  private:
    /** A set of names that may claim one it does not hold, but never misses one. */
    struct name_set {
        u_int64 bits[4];

        static u_int64 bit(u_int32 hash) { return u_int64{1} << (hash & 63); }
        bool may_hold(u_int32 hash) const { return (bits[(hash >> 6) & 3] & bit(hash)) != 0; }
        void add(u_int32 hash) { bits[(hash >> 6) & 3] |= bit(hash); }
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
        u_int32 element;
        u_int32 path_end;  // the characters of the path that lead here
        u_int32 last;      // the child found last, number last_ordinal of its name; 0: none
        u_int32 last_ordinal;
        u_int32 frontier;  // every child up to this one is in `seen`; 0: none is
        name_set seen;
    };

    static constexpr u_int32 max_levels = max_xml_depth + 1;
    static constexpr u_int32 max_path = 1024;

    bool is_named(u_int32 element, const step &wanted);
    bool have_same_name(u_int32 a, u_int32 b);
    static bool parse_step(const char *at, step *out);
    static bool has_simple_form(const char *rest);
    const char *rewind(const char *path, u_int32 length);
    const char *match(u_int32 element, const char *at, const char *path_end, u_int32 *ordinal);
    u_int32 find_in_order(level &parent, const char *at, const char *path_end, const char **step_end);
    u_int32 find_child(level &parent, const step &wanted);
    u_int32 find_first_step(const char *path, const step &wanted) const;
    void enter(const char *path, const char *end, u_int32 element);
    u_int32 count_named_like(u_int32 element);

    xml_index &index_;
    u_int32 depth_ = 0;  // levels in use
    level levels_[max_levels];
    char path_[max_path];  // path of the last of them
};

}  // namespace velalib
