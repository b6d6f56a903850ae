// An XML input: its tree, and where in the text an element stands.
#pragma once

#include <pugixml.hpp>
#include <string>
#include <vector>

namespace ptpcfg {

/**
 * Marks an element that stands for an enumeration value without a literal. The library writes such a value as
 * `<TYPE value out of range/>`, which is not well formed; it is read as an element with this attribute.
 */
inline constexpr const char *lost_value_attribute = "value-out-of-range";

class xml_source {
  public:
    /** Parses; fails with the place and the reason when the text is no XML, or declares a document type. */
    xml_source(std::string name, const std::string &text);

    const std::string &name() const { return name_; }
    pugi::xml_node root() const { return document_; }
    /** "NAME:LINE:COLUMN" of a node. */
    std::string place(pugi::xml_node node) const;

  private:
    std::string place(size_t offset) const;

    std::string name_;
    std::string text_;
    std::vector<size_t> line_starts_;
    pugi::xml_document document_;
};

/** A subtree as compact text that reads back to the same values. */
std::string compact_text(pugi::xml_node node);

/** Rendered XML of the library, indented for people. */
std::string pretty_text(const std::string &rendered);

}  // namespace ptpcfg
