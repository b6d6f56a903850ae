// An XML input: its tree, and where in the text an element stands.
#pragma once

#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace ptpcfg {

/**
 * Marks an element that stands for an enumeration value without a literal. The library writes such a value as
 * `<TYPE value out of range/>`, which is not well formed; it is read as an element with this attribute.
 */
inline constexpr const char *lost_value_attribute = "value-out-of-range";

class xml_source {
  public:
    /**
     * Parses; fails with the place and the reason when the text is no XML, or declares a document type.
     * @param line, column  where the text begins in the input
     */
    xml_source(std::string name, const std::string &text, size_t line = 1, size_t column = 1);

    const std::string &name() const { return name_; }
    pugi::xml_node root() const { return document_; }
    /** "NAME:LINE:COLUMN" of a node. */
    std::string place(pugi::xml_node node) const;

  private:
    std::string place(size_t offset) const;

    std::string name_;
    size_t line_;
    size_t column_;
    std::string text_;
    std::vector<size_t> line_starts_;
    pugi::xml_document document_;
};

/** A subtree as compact text that reads back to the same values. */
std::string compact_text(pugi::xml_node node);

/** Adds rendered XML of the library, indented for people; `depth` elements stand around it. */
void append_indented(std::string_view rendered, size_t depth, std::string &text);

}  // namespace ptpcfg
