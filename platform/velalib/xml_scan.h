// Whether a text is a well-formed XML document, which the parser that builds its tree takes on trust in many respects.
#pragma once

#include <string_view>
#include <vector>

#include "velalib/types.h"

namespace velalib {

/** Where a document breaks a rule, and which. */
struct objection {
    const char *reason = nullptr;
    size_t position = 0;
};

/**
 * True for a text in which the tree's parser can overlook nothing but what stands around the root element: ASCII without
 * attributes, references, comments, sections, instructions and ']'. The library's own output is such as a rule.
 */
bool is_plain_markup(std::string_view text);

/**
 * Reads a document by the rules of XML 1.0. It must be UTF-8 and without a document type; its elements may be nested
 * max_xml_depth deep. One more form is taken: <NAME value out of range/>.
 * @param lost_values  receives where the words of that form begin, with the blank before them
 */
objection find_objection(std::string_view text, std::vector<size_t> *lost_values);

/** The words of <NAME value out of range/>, which is not well-formed. */
inline constexpr std::string_view lost_value_words = " value out of range";

}  // namespace velalib
