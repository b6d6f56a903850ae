// Where a parse stands in a document.
#pragma once

#include <string.h>

#include "operations/core/runtime.h"

namespace ptp_cfg {

/** The path of an element, which grows and shrinks as a parse goes down and up. */
class xml_path {
  public:
    /** @param root  a path that is too long to keep is shown as dots and leaves room for no step */
    explicit xml_path(const char *root) {
        if (root != nullptr) {
            append(root, strlen(root));
        }
        if (!fits()) {
            memcpy(text_, "...", sizeof "...");
        }
    }

    const char *text() const { return text_; }
    size_t length() const { return length_; }
    /** False when a step does not fit: the path is not to be used then. Cut, it could name another element. */
    bool fits() const { return length_ < sizeof text_; }
    void append(const char *part, size_t length) {
        if (length_ + length < sizeof text_) {
            memcpy(text_ + length_, part, length + 1);
        }
        length_ += length;
    }
    void append_step(const char *name, size_t length) {
        append("/", 1);
        append(name, length);
    }
    /** Goes back to a shorter path. */
    void cut(size_t length) {
        length_ = length;
        if (fits()) {
            text_[length] = '\0';
        }
    }

  private:
    size_t length_ = 0;
    char text_[256] = "";
};

class xml_children;

/**
 * An element that a parse looks at, which need not be there. It has a path, and with the library's own runtime also a
 * number, by which it is found at once; the rules of parsing see no difference.
 */
class xml_location {
  public:
    /** The element that a parse begins at, found by the path that its caller gave. */
    xml_location(vela_xml_document *document, const char *root, xml_path &path);
    /** An element that is known. */
    xml_location(vela_xml_document *document, u_int32 number, xml_path &path);
    /** A child: the first of its name. The path has its step until the location is gone. */
    xml_location(xml_children &parent, const char *name, u_int32 name_length);
    ~xml_location() { path_.cut(parent_length_); }
    xml_location(const xml_location &) = delete;
    xml_location &operator=(const xml_location &) = delete;

    /** Goes on to the child of that position among those of its name; positions are taken in turn, from 1. */
    void go_to(u_int32 position);
    /** False when only the path could name the element and is too long to do so: it is not to be looked at then. */
    bool fits() const { return has_number_ || path_.fits(); }
    /** Looks whether the element is there: 0, else 2, or 12 without memory to look. */
    u_int32 look() const;
    /** True when there was no memory to search for the element that the parse begins at. */
    bool lacks_memory() const { return search_ == VELA_ENOMEM; }
    const char *path() const { return text_; }
    /** 0 when there is no such element, or only its path is known. */
    u_int32 number() const { return number_; }
    /** The path, by which the document's very next read finds the element without a search. */
    const char *path_to_read() const;

  private:
    friend class xml_children;

    vela_xml_document *document_;
    xml_path &path_;
    const char *text_;
    xml_children *siblings_;  // nullptr: it has been found by its path
    size_t parent_length_;    // of the path
    size_t length_;           // of the path, up to the name
    u_int32 search_;          // how the search ended for the element that the parse begins at
    bool has_number_;
    u_int32 number_;  // 0: there is no such element
};

/** The children of a location's element. Each name is to be asked for once. */
class xml_children {
  public:
    explicit xml_children(const xml_location &parent);
    /** The name of the child when it is plain that there is exactly one; else nullptr. */
    const char *only_name() const;

  private:
    friend class xml_location;

    const xml_location &parent_;
    u_int32 fresh_;
};

}  // namespace ptp_cfg
