// A document of YAML as the JSON that means the same, and where each part of that came from.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "failure.h"
#include "text_piece.h"

namespace ptpcfg {

/** Where a character stands, from 1; the column in bytes. */
struct text_place {
    size_t line;
    size_t column;
};

/** What is wrong with a text. */
class text_failure : public failure {
  public:
    text_failure(const std::string &name, const text_piece &piece, text_place at, const std::string &reason)
        : failure(exit_code::bad_input, place_in(name, piece, at.line, at.column) + ": " + reason),
          place(at),
          reason(reason) {}
    text_place place;  // in the piece
    std::string reason;
};

class yaml_document {
  public:
    /** Fails (text_failure) where it is not one document of YAML, or more than records need: aliases, tags, names that
     * are no scalars. */
    yaml_document(const std::string &name, const text_piece &piece);

    /** The values that hold a record each: the document itself, or the elements of its sequence. */
    const std::vector<std::string_view> &records() const { return records_; }
    /** NAME:LINE:COLUMN in the input of what stands at an offset of a record. */
    std::string place(std::string_view record, size_t offset) const;
    /** The same within the piece. */
    text_place place_in_piece(std::string_view record, size_t offset) const;

  private:
    friend class yaml_events;

    struct mark {
        size_t offset;  // in the JSON
        text_place place;
    };

    const std::string &name_;
    const text_piece &piece_;
    std::string json_;
    std::vector<mark> marks_;  // in rising order
    std::vector<std::string_view> records_;
};

/** The YAML that means the same as a text of the library's JSON. */
std::string yaml_of_json(std::string_view json);

}  // namespace ptpcfg
