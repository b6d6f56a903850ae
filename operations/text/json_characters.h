// The characters of JSON: strings, blanks, and values that are passed over.
#pragma once

#include <string_view>

#include "operations/core/runtime.h"

namespace ptp_cfg {

/** Whether bytes can stand in a string of JSON as they are: UTF-8, and no NUL, which many readers would end at. */
bool is_json_text(const char *bytes, size_t count);

/** A string as it stands in a text. */
struct json_string {
    std::string_view inner;  // between the quotes
    bool is_escaped;
};

/** Goes through a text. What fails leaves the position where the fault is, and says what it is. */
class json_scanner {
  public:
    json_scanner(const char *text, size_t length) : begin_(text), at_(text), end_(text + length) {}

    size_t offset() const { return static_cast<size_t>(at_ - begin_); }
    void go_to(size_t offset) { at_ = begin_ + offset; }

    PTP_CFG_INLINE void pass_blanks() {
        while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) {
            ++at_;
        }
    }
    /** The character behind blanks; NUL at the end, too. */
    PTP_CFG_INLINE char next() {
        pass_blanks();
        return at_ != end_ ? *at_ : '\0';
    }
    PTP_CFG_INLINE bool take(char character) {
        if (next() != character || at_ == end_) {
            return false;
        }
        ++at_;
        return true;
    }
    bool is_at_end() const { return at_ == end_; }
    std::string_view rest() const { return {at_, static_cast<size_t>(end_ - at_)}; }
    void pass(size_t count) { at_ += count; }

    /** Takes a name in quotes when it is just what comes. */
    PTP_CFG_INLINE bool take_name(const char *name, size_t length) {
        if (static_cast<size_t>(end_ - at_) < length + 2 || *at_ != '"' || at_[length + 1] != '"' ||
            memcmp(at_ + 1, name, length) != 0) {
            return false;
        }
        at_ += length + 2;
        return true;
    }
    /** Takes true, false, null or a number: all that is neither blank nor structure. */
    std::string_view take_word();
    /** Takes the string that begins here. nullptr, or what is wrong. */
    const char *take_string(json_string *string);
    /** Passes over any value. nullptr, or what is wrong. */
    const char *skip_value(u_int32 depth = 0);

  private:
    const char *pass_escape();
    const char *skip_items(char closing, u_int32 depth);

    const char *begin_;
    const char *at_;
    const char *end_;
};

/** Reads two hexadecimal digits. */
bool read_hex_pair(const char *digits, u_int8 *byte);

/** Writes what a string that was taken stands for, at most `room` bytes; the number that there are. */
size_t unescape_json(std::string_view inner, char *out, size_t room);

}  // namespace ptp_cfg
