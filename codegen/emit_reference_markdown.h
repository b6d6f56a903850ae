// Pieces of the reference pages: links between them, tables, and texts of the schema as Markdown.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "model.h"

namespace codegen {

/** Anchor of the primitive types on the index page. */
constexpr std::string_view primitives_anchor = "primitive-types";

/** The page of an enumeration, structure or message, beside the page that names it. */
std::string page_of(const std::string &type_name);

std::string code(const std::string &text);
/** A link to a type's page. */
std::string link(const std::string &type_name);
std::string primitive_link(const std::string &name);
/** A field's type, with its number of elements. */
std::string type_link(const field &row);
std::string type_link(const payload &row);

/** A text of the schema: characters that mean something to Markdown are escaped. */
std::string prose(std::string_view text);
/** The first sentence of a text of the schema. */
std::string first_sentence(std::string_view text);

/** "0", or "0 to 2". */
std::string variants_text(std::uint32_t latest);
std::string plural(std::size_t count, const std::string &noun);

class markdown_table {
  public:
    explicit markdown_table(const std::vector<std::string> &headings);
    void row(const std::vector<std::string> &cells);
    /** The table and an empty line. */
    std::string text() const { return text_ + '\n'; }

  private:
    std::string text_;
};

}  // namespace codegen
