// Cuts an XML input of any length into the elements that hold a message each.
#pragma once

#include <optional>
#include <string>

#include "input_stream.h"

namespace ptpcfg {

/** The element that a recorder, or this tool, puts around messages. */
inline constexpr const char *frame_element = "ptp_cfg";

/** A part of an input that is a document of its own. */
struct xml_piece {
    std::string text;
    size_t line;    // of its first character, from 1
    size_t column;  // likewise, in bytes
    bool is_frame;  // only the tags of a frame_element: what it holds follows as pieces
};

/**
 * Gives the elements of an input, and of the frames in it, one by one. It looks for their ends only, so that each piece
 * is still to be parsed; what stands between them is checked here.
 */
class xml_splitter {
  public:
    explicit xml_splitter(input_stream &input) : input_(input) {}

    /** The next piece, or nothing at the end; fails when there cannot be one. */
    std::optional<xml_piece> next();

  private:
    size_t find(std::string_view what, size_t from, const char *unclosed);
    size_t tag_end(size_t from);
    size_t element_end();
    size_t markup_end(size_t from);
    void pass_blanks();
    void check_markup(std::string_view text) const;
    void pass_markup();
    void pass_frame_end();
    void pass(size_t count);
    bool go_to_element();
    void check_end() const;
    [[noreturn]] void refuse_text();
    bool begins_with(std::string_view what) { return input_.ahead(what.size()).starts_with(what); }
    std::string_view name_at_tag();
    std::string place() const;
    [[noreturn]] void refuse(const std::string &reason) const;

    input_stream &input_;
    size_t line_ = 1;
    size_t column_ = 1;
    bool is_in_frame_ = false;
    bool is_empty_ = true;     // no element was met yet
    bool has_markup_ = false;  // a comment or the like was
};

}  // namespace ptpcfg
