#include "json_splitter.h"

#include "failure.h"

namespace ptpcfg {
namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

/** Follows brackets and strings until a value has ended. */
class value_follower {
  public:
    /** Whether the value ends with a character, which then belongs to it. */
    bool ends_with(char c) {
        if (is_escaped_) {
            is_escaped_ = false;
        } else if (is_in_string_) {
            is_escaped_ = c == '\\';
            is_in_string_ = c != '"';
            return !is_in_string_ && depth_ == 0;
        } else if (c == '"') {
            is_in_string_ = true;
        } else if (c == '{' || c == '[') {
            ++depth_;
        } else if (c == '}' || c == ']') {
            return depth_ <= 1 || --depth_ == 0;
        }
        return false;
    }
    /** Whether a character stands behind the value. */
    bool is_behind(char c) const {
        return depth_ == 0 && !is_in_string_ && (is_blank(c) || c == ',' || c == ']' || c == '}');
    }

  private:
    size_t depth_ = 0;
    bool is_in_string_ = false;
    bool is_escaped_ = false;
};

}  // namespace

void json_splitter::refuse(const std::string &reason) const {
    throw failure(exit_code::bad_input, input_.name() + ":" + std::to_string(line_) + ":" + std::to_string(column_) +
                                            ": not well-formed JSON: " + reason);
}

void json_splitter::pass(size_t count) {
    for (const char c : input_.ahead(count).substr(0, count)) {
        column_ = c == '\n' ? 1 : column_ + 1;
        line_ += c == '\n' ? 1 : 0;
    }
    input_.skip(count);
}

/** The character behind blanks; NUL at the end. */
char json_splitter::pass_blanks() {
    for (;;) {
        const std::string_view ahead = input_.ahead(1);
        const size_t blanks = std::min(ahead.find_first_not_of(" \t\r\n"), ahead.size());
        pass(blanks);
        if (const std::string_view rest = input_.ahead(1); rest.empty() || !is_blank(rest[0])) {
            return rest.empty() ? '\0' : rest[0];
        }
    }
}

/** Between the elements of an array. */
void json_splitter::pass_separator() {
    if (input_.ahead(1).empty()) {
        refuse("the text ends within an array");
    }
    if (pass_blanks() != ',') {
        refuse("',' or ']' is wanted");
    }
    pass(1);
    if (pass_blanks() == ']') {
        refuse("a value is wanted behind ','");
    }
}

/** Goes to where a value begins; false at the end. */
bool json_splitter::go_to_value() {
    char next = pass_blanks();
    while (!is_in_array_ && next == '[') {
        pass(1);
        is_in_array_ = true;
        has_element_ = false;
        next = pass_blanks();
        if (next == ']') {
            pass(1);
            is_in_array_ = false;
            next = pass_blanks();
        }
    }
    if (is_in_array_ && has_element_) {
        if (next == ']') {
            pass(1);
            is_in_array_ = false;
            return go_to_value();
        }
        pass_separator();
        pass_blanks();
    }
    if (input_.ahead(1).empty()) {
        if (is_in_array_) {
            refuse("the text ends within an array");
        }
        return false;
    }
    has_element_ = true;
    return true;
}

/** Where the value that begins here ends; at the end of the input when it does not. */
size_t json_splitter::value_end() {
    value_follower follower;
    size_t at = 0;
    for (;;) {
        const std::string_view ahead = input_.ahead(at + 1);
        if (at >= ahead.size()) {
            return at;
        }
        for (; at < ahead.size(); ++at) {
            if (at != 0 && follower.is_behind(ahead[at])) {
                return at;
            }
            if (follower.ends_with(ahead[at])) {
                return at + 1;
            }
        }
        if (at > longest_message) {
            refuse("a value is longer than 64 MiB");
        }
    }
}

std::optional<text_piece> json_splitter::next() {
    if (!go_to_value()) {
        return std::nullopt;
    }
    const size_t length = value_end();
    text_piece piece{std::string(input_.ahead(length).substr(0, length)), line_, column_};
    pass(length);
    return piece;
}

}  // namespace ptpcfg
