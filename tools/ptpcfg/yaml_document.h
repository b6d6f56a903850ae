// A document of YAML as the JSON that means the same, and where each part of that came from.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "text_piece.h"

namespace ptpcfg {

class yaml_document {
  public:
    /** Fails where it is not YAML, or more than records need: aliases, tags, names that are no scalars. */
    yaml_document(const std::string &name, const text_piece &piece);

    /** The values that hold a record each: the document itself, or the elements of its sequence. */
    const std::vector<std::string_view> &records() const { return records_; }
    /** NAME:LINE:COLUMN in the input of what stands at an offset of a record. */
    std::string place(std::string_view record, size_t offset) const;

  private:
    friend class yaml_events;

    struct mark {
        size_t offset;  // in the JSON
        size_t line;    // in the piece, from 1
        size_t column;
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
