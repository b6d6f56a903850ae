#include "operations/text/json_characters.h"

#include "base/utf8.h"

namespace ptp_cfg {

namespace {

constexpr u_int32 deepest = 64;
constexpr const char *not_ended = "the text ends within a string";
constexpr const char *too_deep = "is nested more than 64 deep";

/** Bytes that need no look of their own: not a control character, quote, backslash or part of a longer character. */
bool is_plain(char character) {
    const u_int8 byte = static_cast<u_int8>(character);
    return byte >= 0x20 && byte < 0x80 && byte != '"' && byte != '\\';
}

/** Whether all of eight bytes are plain. */
bool are_plain(const char *bytes) {
    constexpr u_int64 ones = 0x0101010101010101;
    constexpr u_int64 highs = 0x8080808080808080;
    u_int64 word;
    memcpy(&word, bytes, sizeof word);
    const u_int64 quote = word ^ ones * '"';
    const u_int64 backslash = word ^ ones * '\\';
    // A byte's high bit is set where it is below 0x20, or zero in the others; carries only add to what is there.
    return ((word | (word - ones * 0x20) | (quote - ones) | (backslash - ones)) & highs) == 0;
}

int hex_digit(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    const char lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/** The code of \uXXXX, whose first digit `digits` points at; -1 for none. */
int code_unit(const char *digits, const char *end) {
    int code = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = digits + i < end ? hex_digit(digits[i]) : -1;
        if (digit < 0) {
            return -1;
        }
        code = code * 16 + digit;
    }
    return code;
}

bool is_high_surrogate(int code) { return code >= 0xD800 && code < 0xDC00; }
bool is_low_surrogate(int code) { return code >= 0xDC00 && code < 0xE000; }

/** Bytes of a character's UTF-8. */
size_t encode_utf8(u_int32 code, char *out) {
    const auto tail = [&](u_int32 shift) { return static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x80) {
        out[0] = static_cast<char>(code);
        return 1;
    }
    if (code < 0x800) {
        out[0] = static_cast<char>(0xC0 | code >> 6);
        out[1] = tail(0);
        return 2;
    }
    if (code < 0x10000) {
        out[0] = static_cast<char>(0xE0 | code >> 12);
        out[1] = tail(6);
        out[2] = tail(0);
        return 3;
    }
    out[0] = static_cast<char>(0xF0 | code >> 18);
    out[1] = tail(12);
    out[2] = tail(6);
    out[3] = tail(0);
    return 4;
}

char short_escape(char letter) {
    switch (letter) {
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return letter;
    }
}

/** Writes what the escape behind a backslash stands for, and goes behind it. */
size_t unescape_one(std::string_view inner, size_t *at, char *out) {
    const char letter = inner[(*at)++];
    if (letter != 'u') {
        out[0] = short_escape(letter);
        return 1;
    }
    const char *end = inner.data() + inner.size();
    u_int32 code = static_cast<u_int32>(code_unit(inner.data() + *at, end));
    *at += 4;
    if (is_high_surrogate(static_cast<int>(code))) {
        code =
            0x10000 + ((code & 0x3FF) << 10) + (static_cast<u_int32>(code_unit(inner.data() + *at + 2, end)) & 0x3FF);
        *at += 6;
    }
    return encode_utf8(code, out);
}

/** Whether a word is a number: -?(0|[1-9]D*)(.D+)?([eE][+-]?D+)? */
bool is_number(std::string_view word) {
    size_t at = 0;
    const auto takes = [&](const char *characters) {
        const bool is_there = at < word.size() && strchr(characters, word[at]) != nullptr;
        at += is_there ? 1 : 0;
        return is_there;
    };
    const auto takes_digits = [&] {
        const size_t start = at;
        while (takes("0123456789")) {
        }
        return at != start;
    };
    takes("-");
    if (!takes("0") && !takes_digits()) {
        return false;
    }
    if (takes(".") && !takes_digits()) {
        return false;
    }
    if (takes("eE")) {
        takes("+-");
        if (!takes_digits()) {
            return false;
        }
    }
    return at == word.size();
}

}  // namespace

bool is_json_text(const char *bytes, size_t count) {
    for (size_t at = 0; at < count;) {
        const size_t length = bytes[at] == '\0' ? 0 : base::utf8_length(bytes + at, count - at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

std::string_view json_scanner::take_word() {
    const char *start = at_;
    while (at_ != end_ && strchr(" \t\r\n,:[]{}\"", *at_) == nullptr) {  // finds a NUL as well
        ++at_;
    }
    return {start, static_cast<size_t>(at_ - start)};
}

/** Goes behind the escape whose backslash stands here. */
const char *json_scanner::pass_escape() {
    if (end_ - at_ < 2) {
        return not_ended;
    }
    if (at_[1] != 'u') {
        const bool is_known = at_[1] != '\0' && strchr("\"\\/bfnrt", at_[1]) != nullptr;
        at_ += is_known ? 2 : 0;
        return is_known ? nullptr : "is no escape; a backslash is written as \\\\";
    }
    const int code = code_unit(at_ + 2, end_);
    if (code < 0) {
        return "\\u wants four hexadecimal digits";
    }
    if (code == 0) {
        return "a NUL has no place in a string";
    }
    if (!is_high_surrogate(code)) {
        at_ += is_low_surrogate(code) ? 0 : 6;
        return is_low_surrogate(code) ? "is the second half of a character without the first" : nullptr;
    }
    const bool has_second =
        end_ - at_ >= 12 && at_[6] == '\\' && at_[7] == 'u' && is_low_surrogate(code_unit(at_ + 8, end_));
    at_ += has_second ? 12 : 0;
    return has_second ? nullptr : "is the first half of a character without the second";
}

const char *json_scanner::take_string(json_string *string) {
    const char *start = ++at_;
    string->is_escaped = false;
    for (;;) {
        while (end_ - at_ >= 8 && are_plain(at_)) {
            at_ += 8;
        }
        while (at_ != end_ && is_plain(*at_)) {
            ++at_;
        }
        if (at_ == end_) {
            return not_ended;
        }
        if (*at_ == '"') {
            string->inner = {start, static_cast<size_t>(at_++ - start)};
            return nullptr;
        }
        if (*at_ == '\\') {
            string->is_escaped = true;
            if (const char *reason = pass_escape()) {
                return reason;
            }
        } else if (static_cast<u_int8>(*at_) < 0x20) {
            return "a control character has no place in a string; \\u and four digits stand for it";
        } else {
            const size_t length = base::utf8_length(at_, static_cast<size_t>(end_ - at_));
            if (length == 0) {
                return "bytes that are no UTF-8";
            }
            at_ += length;
        }
    }
}

const char *json_scanner::skip_items(char closing, u_int32 depth) {
    ++at_;
    if (depth >= deepest) {
        return too_deep;
    }
    if (take(closing)) {
        return nullptr;
    }
    for (;;) {
        json_string name;
        if (closing == '}') {
            const char *reason = next() != '"' ? "a member's name in quotes is wanted" : take_string(&name);
            reason = reason == nullptr && !take(':') ? "':' is wanted" : reason;
            if (reason != nullptr) {
                return reason;
            }
        }
        if (const char *reason = skip_value(depth + 1)) {
            return reason;
        }
        if (take(closing)) {
            return nullptr;
        }
        if (!take(',')) {
            return is_at_end() ? "the text ends here" : "',' or the end of the value is wanted";
        }
    }
}

const char *json_scanner::skip_value(u_int32 depth) {
    json_string string;
    switch (next()) {
        case '"':
            return take_string(&string);
        case '{':
            return skip_items('}', depth);
        case '[':
            return skip_items(']', depth);
        default:
            break;
    }
    const size_t start = offset();
    const std::string_view word = take_word();
    if (is_number(word) || word == "true" || word == "false" || word == "null") {
        return nullptr;
    }
    go_to(start);
    return "a value is wanted";
}

bool read_hex_pair(const char *digits, u_int8 *byte) {
    const int high = hex_digit(digits[0]);
    const int low = hex_digit(digits[1]);
    *byte = static_cast<u_int8>(high * 16 + low);
    return high >= 0 && low >= 0;
}

size_t unescape_json(std::string_view inner, char *out, size_t room) {
    size_t length = 0;
    for (size_t at = 0; at < inner.size();) {
        char character[4] = {inner[at++]};
        const size_t count = character[0] == '\\' ? unescape_one(inner, &at, character) : 1;
        if (length + count <= room) {
            memcpy(out + length, character, count);
        }
        length += count;
    }
    return length;
}

}  // namespace ptp_cfg
