// Reads digits, and says where one is missing.
#include "hex_reader.h"

#include <cctype>

#include "base/characters.h"
#include "failure.h"

namespace ptpcfg {
namespace {

bool is_separator(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0 || c == ',' || c == ':'; }

}  // namespace

void hex_reader::take(std::string_view text, std::string &bytes) {
    for (const char c : text) {
        ++column_;
        if (is_comment_) {
            is_comment_ = c != '\n';
        } else if (high_ >= 0) {
            const int low = base::hex_digit_value(c);
            if (low >= 0) {
                bytes.push_back(static_cast<char>(high_ << 4 | low));
            } else if (high_ != 0 || (c | 0x20) != 'x') {  // "0x" stands before a pair
                refuse();
            }
            high_ = -1;
        } else if (c == '#') {
            is_comment_ = true;
        } else if (!is_separator(c)) {
            pair_column_ = column_;
            high_ = base::hex_digit_value(c);
            if (high_ < 0) {
                refuse();
            }
        }
        if (c == '\n') {
            ++line_;
            column_ = 0;
        }
    }
}

void hex_reader::finish() const {
    if (high_ >= 0) {
        refuse();
    }
}

void hex_reader::refuse() const {
    throw failure(exit_code::bad_input,
                  name_ + ":" + std::to_string(line_) + ":" + std::to_string(pair_column_) +
                      ": a pair of hexadecimal digits must stand here; --from says another format");
}

}  // namespace ptpcfg
