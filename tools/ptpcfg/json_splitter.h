// Cuts a JSON input of any length into the values that hold a record each.
#pragma once

#include <optional>

#include "input_stream.h"
#include "text_piece.h"

namespace ptpcfg {

/**
 * Gives the values of an input one by one: those that stand one behind the other, and the elements of arrays. It looks
 * for their ends only, so that each piece is still to be read; what stands between them is checked here.
 */
class json_splitter {
  public:
    explicit json_splitter(input_stream &input) : input_(input) {}

    /** The next piece, or nothing at the end; fails when there cannot be one. */
    std::optional<text_piece> next();

  private:
    char pass_blanks();
    bool go_to_value();
    void pass_separator();
    size_t value_end();
    void pass(size_t count);
    [[noreturn]] void refuse(const std::string &reason) const;

    input_stream &input_;
    size_t line_ = 1;
    size_t column_ = 1;
    bool is_in_array_ = false;
    bool has_element_ = false;  // of the array
};

}  // namespace ptpcfg
