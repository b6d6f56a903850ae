// Bytes from hexadecimal digits, a stretch of text at a time.
#pragma once

#include <string>
#include <string_view>

namespace ptpcfg {

/**
 * Pairs of digits are bytes. Blanks, commas and colons separate, "0x" may stand before a pair, and '#' starts a comment
 * that ends with the line.
 */
class hex_reader {
  public:
    /** @param name  of the input, for failures */
    explicit hex_reader(std::string name) : name_(std::move(name)) {}

    /** Adds the bytes of a stretch; fails with the place of what is no pair. */
    void take(std::string_view text, std::string &bytes);
    /** Fails when the text ends within a pair. */
    void finish() const;

  private:
    [[noreturn]] void refuse() const;

    std::string name_;
    size_t line_ = 1;
    size_t column_ = 0;       // of the character that is looked at, from 1
    size_t pair_column_ = 0;  // of the first digit of a pair
    int high_ = -1;           // that digit, or -1 between pairs
    bool is_comment_ = false;
};

}  // namespace ptpcfg
