// A part of an input of text that is read by itself, and where it stands.
#pragma once

#include <cstddef>
#include <string>

namespace ptpcfg {

struct text_piece {
    std::string text;
    size_t line;    // of its first character, from 1
    size_t column;  // likewise, in bytes
};

/** NAME:LINE:COLUMN of a place within a piece, which is given as if the piece were all there is. */
inline std::string place_in(const std::string &name, const text_piece &piece, size_t line, size_t column) {
    return name + ":" + std::to_string(line - 1 + piece.line) + ":" +
           std::to_string(line == 1 ? column - 1 + piece.column : column);
}

}  // namespace ptpcfg
