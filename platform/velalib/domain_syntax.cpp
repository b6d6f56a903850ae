// Reads the words of a domain file.
#include "domain_syntax.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>

#include "base/utf8.h"

namespace velalib {
namespace {

constexpr std::string_view bare_key = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
constexpr std::string_view bare_value = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-+.:";
constexpr std::string_view digits = "0123456789";

void append_utf8(std::string &text, unsigned long code) {
    const auto tail = [&](int shift) { text += static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else if (code < 0x800) {
        text += static_cast<char>(0xC0 | code >> 6);
        tail(0);
    } else if (code < 0x10000) {
        text += static_cast<char>(0xE0 | code >> 12);
        tail(6), tail(0);
    } else {
        text += static_cast<char>(0xF0 | code >> 18);
        tail(12), tail(6), tail(0);
    }
}

/** Reads a whole number: decimal, or 0x, 0o, 0b; underscores stand between digits. False when it is none. */
bool whole_number(std::string_view word, int64_t &number) {
    std::string text;
    for (size_t i = 0; i < word.size(); ++i) {
        const bool is_between = i > 0 && i + 1 < word.size() && isalnum(static_cast<unsigned char>(word[i - 1])) != 0 &&
                                isalnum(static_cast<unsigned char>(word[i + 1])) != 0;
        if (word[i] == '_' && !is_between) {
            return false;
        }
        if (word[i] != '_') {
            text += word[i];
        }
    }
    const std::string_view prefix = std::string_view(text).substr(0, 2);
    const int base = prefix == "0x" ? 16 : prefix == "0o" ? 8 : prefix == "0b" ? 2 : 10;
    const bool is_signed = text[0] == '+' || text[0] == '-';
    const std::string_view body = std::string_view(text).substr(base != 10 ? 2 : is_signed ? 1 : 0);
    if (body.empty() || body[0] == '-' || (base == 10 && body.size() > 1 && body[0] == '0')) {
        return false;
    }
    const char *first = text[0] == '-' ? text.data() : body.data();
    const char *last = text.data() + text.size();
    const auto [end, problem] = std::from_chars(first, last, number, base);
    return problem == std::errc() && end == last;
}

}  // namespace

bool domain_syntax::read() {
    if (rest_.substr(0, 3) == "\xEF\xBB\xBF") {
        rest_.remove_prefix(3);
    }
    if (!check_characters()) {
        return false;
    }
    while (!rest_.empty()) {
        if (!read_line()) {
            return false;
        }
    }
    return true;
}

/** Text in UTF-8 without control characters, once and for all: everything after this looks at single bytes. */
bool domain_syntax::check_characters() {
    for (std::string_view left = rest_; !left.empty();) {
        const size_t length = base::utf8_length(left.data(), left.size());
        const auto first = static_cast<unsigned char>(left.front());
        const bool ends_line = first == '\n' || left.substr(0, 2) == "\r\n";
        if (length == 0) {
            return fail("a byte that is no UTF-8", "save the file in that encoding");
        }
        if ((first < ' ' && first != '\t' && !ends_line) || first == 0x7F) {
            return fail("a control character", "leave it out");
        }
        line_ += first == '\n' ? 1 : 0;
        left.remove_prefix(length);
    }
    line_ = 1;
    return true;
}

bool domain_syntax::read_line() {
    skip_blanks();
    const bool is_content = !rest_.empty() && !at('#') && !at('\r') && !at('\n');
    if (is_content && !(at('[') ? read_head() : read_pair())) {
        return false;
    }
    skip_blanks();
    skip_comment();
    skip('\r');
    if (!rest_.empty() && !at('\n')) {
        return fail("the line goes on with " + next_character(), "give each line one KEY = VALUE or [TABLE]");
    }
    line_ += skip('\n') ? 1 : 0;
    return true;
}

bool domain_syntax::read_head() {
    skip('[');
    if (at('[')) {
        return fail("a list of tables", "a domain has one table, write [variants]");
    }
    domain_entry entry;
    entry.value.what = domain_value::table;
    entry.value.line = line_;
    skip_blanks();
    if (!read_key(entry.key)) {
        return false;
    }
    skip_blanks();
    if (!skip(']')) {
        return fail("the name of the table has no end", "write it in brackets, as [variants]");
    }
    table_ = entry.key;
    return add(std::move(entry));
}

bool domain_syntax::read_pair() {
    domain_entry entry;
    entry.table = table_;
    if (!read_key(entry.key)) {
        return false;
    }
    skip_blanks();
    if (at('.')) {
        return fail("a key of several parts", "write a line [TABLE], then KEY = VALUE below it");
    }
    if (!skip('=')) {
        return fail("no = stands behind the key", "write KEY = VALUE");
    }
    skip_blanks();
    return read_value(entry.value) && add(std::move(entry));
}

bool domain_syntax::add(domain_entry entry) {
    if (!known_.emplace(entry.table, entry.key).second) {
        return fail("the same key or table was there before", "leave one of them out");
    }
    entries.push_back(std::move(entry));
    return true;
}

bool domain_syntax::read_key(std::string &key) {
    if (at('"') || at('\'')) {
        return read_quoted(key);
    }
    key = take_while(bare_key);
    if (!key.empty()) {
        return true;
    }
    return fail("no key begins with " + next_character(), "write KEY = VALUE or [TABLE], or # before a remark");
}

bool domain_syntax::read_value(domain_value &value) {
    value.line = line_;
    if (at('{')) {
        return fail("a table in braces", "write a line [TABLE], then KEY = VALUE below it");
    }
    return at('[') ? read_list(value) : read_scalar(value);
}

bool domain_syntax::read_list(domain_value &value) {
    value.what = domain_value::list;
    skip('[');
    for (skip_lines(); !skip(']'); skip_lines()) {
        domain_value element;
        element.line = line_;
        if (at('[') || at('{')) {
            return fail("a list holds another list or table", "put names in quotes, and commas between");
        }
        if (rest_.empty()) {
            return fail("a list has no end", "write ] behind its last element");
        }
        if (!read_scalar(element)) {
            return false;
        }
        value.elements.push_back(std::move(element));
        skip_lines();
        if (!skip(',') && !at(']')) {
            return fail("a list goes on with " + next_character(), "put commas between its elements and ] at its end");
        }
    }
    return true;
}

bool domain_syntax::read_scalar(domain_value &value) {
    if (!at('"') && !at('\'')) {
        return read_bare(value);
    }
    value.what = domain_value::text;
    return read_quoted(value.characters);
}

bool domain_syntax::read_quoted(std::string &text) {
    const char quote = rest_.front();
    if (rest_.substr(0, 3) == std::string(3, quote)) {
        return fail("a text over several lines", "write it in one line");
    }
    for (skip(quote); !skip(quote);) {
        if (rest_.empty() || at('\r') || at('\n')) {
            return fail("a text has no end", "close it with the quote it began with");
        }
        if (quote == '"' && skip('\\')) {
            if (!read_escape(text)) {
                return false;
            }
        } else {
            text += rest_.front();
            rest_.remove_prefix(1);
        }
    }
    return true;
}

bool domain_syntax::read_escape(std::string &text) {
    constexpr std::string_view letters = "btnfr\"\\", meanings = "\b\t\n\f\r\"\\";
    const char letter = rest_.empty() ? '\0' : rest_.front();
    const size_t length = letter == 'u' ? 4 : letter == 'U' ? 8 : 0;
    if (length > 0) {
        const std::string code(rest_.substr(1, length));
        const bool is_whole =
            code.size() == length && code.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
        const unsigned long value = is_whole ? strtoul(code.c_str(), nullptr, 16) : 0x110000;
        if (value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
            return fail("\\u and \\U need four and eight digits of a character", "correct them");
        }
        append_utf8(text, value);
    } else if (const size_t which = letters.find(letter); letter != '\0' && which != std::string_view::npos) {
        text += meanings[which];
    } else {
        return fail("a \\ that means nothing", "write \\\\ for one, or put the text in '...'");
    }
    rest_.remove_prefix(1 + length);
    return true;
}

bool domain_syntax::read_bare(domain_value &value) {
    const std::string_view word = take_while(bare_value);
    if (word.empty()) {
        return fail("no value begins with " + next_character(), "give a text in quotes, a whole number or a [list]");
    }
    const bool is_word = (digits.find(word[0]) == std::string_view::npos) && word[0] != '+' && word[0] != '-';
    if (is_word && word != "true" && word != "false" && word != "inf" && word != "nan") {
        return fail("a text without quotes", "put it in quotes");
    }
    value.what = whole_number(word, value.number) ? domain_value::integer : domain_value::other;
    return true;
}

bool domain_syntax::fail(std::string what, std::string remedy) {
    fault.line = line_;
    fault.what = std::move(what);
    fault.remedy = std::move(remedy);
    return false;
}

bool domain_syntax::skip(char character) {
    const bool is_there = at(character);
    if (is_there) {
        rest_.remove_prefix(1);
    }
    return is_there;
}

void domain_syntax::skip_blanks() { take_while(" \t"); }

void domain_syntax::skip_comment() {
    if (at('#')) {
        rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
    }
}

/** Between the elements of a list, which may stand on lines of their own. */
void domain_syntax::skip_lines() {
    for (;;) {
        skip_blanks();
        skip_comment();
        skip('\r');
        if (!skip('\n')) {
            return;
        }
        ++line_;
    }
}

std::string_view domain_syntax::take_while(std::string_view characters) {
    const std::string_view taken = rest_.substr(0, std::min(rest_.find_first_not_of(characters), rest_.size()));
    rest_.remove_prefix(taken.size());
    return taken;
}

std::string domain_syntax::next_character() const {
    if (rest_.empty() || at('\r') || at('\n')) {
        return "the end of the line";
    }
    if (static_cast<unsigned char>(rest_.front()) >= 0x80) {
        return "a character that stands in texts and remarks only";
    }
    return at('\t') ? "a tab" : "'" + std::string(1, rest_.front()) + "'";
}

}  // namespace velalib
