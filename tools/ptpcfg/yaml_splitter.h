// Cuts a YAML input of any length into its documents.
#pragma once

#include <optional>

#include "input_stream.h"
#include "text_piece.h"

namespace ptpcfg {

class yaml_splitter {
  public:
    explicit yaml_splitter(input_stream &input) : input_(input) {}

    /** The next document, its marks included, or nothing at the end. */
    std::optional<text_piece> next();

  private:
    std::string_view line_ahead();

    input_stream &input_;
    size_t line_ = 1;
};

}  // namespace ptpcfg
