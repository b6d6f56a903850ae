// Building text in a buffer of the caller's that has an end.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstring>
#include <system_error>

#include "velalib/inline/base.h"

namespace values {

/** Appends to a buffer, cuts at its end and remembers that it had to. It writes no terminator. */
class bounded_text {
  public:
    bounded_text(char *buffer, u_int32 room) : buffer_(buffer), room_(buffer == nullptr ? 0 : room) {}

    void append(const char *text, size_t length) {
        const size_t left = room_ - length_;
        if (length > left) [[unlikely]] {
            length = left;
            cut_ = true;
        }
        if (length != 0) {
            memcpy(buffer_ + length_, text, length);
        }
        length_ += static_cast<u_int32>(length);
    }
    void append(const char *text) { append(text, strlen(text)); }
    void append(char character) { append(&character, 1); }

    void append_blanks(u_int32 count) {
        const u_int32 left = room_ - length_;
        if (count > left) {
            count = left;
            cut_ = true;
        }
        if (count != 0) {
            memset(buffer_ + length_, ' ', count);
        }
        length_ += count;
    }

    template <typename T>
    void append_number(T number) {
        const std::to_chars_result end = std::to_chars(buffer_ + length_, buffer_ + room_, number);
        if (end.ec == std::errc()) [[likely]] {
            length_ = static_cast<u_int32>(end.ptr - buffer_);
            return;
        }
        char digits[24] = {};
        const size_t length = static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits);
        append(digits, std::min(length, sizeof digits));  // GCC 12 warns where it does not see the end
    }

    void append_hex_byte(u_int8 byte, const char *digits = "0123456789abcdef") {
        const char text[2] = {digits[byte >> 4], digits[byte & 15]};
        append(text, sizeof text);
    }

    u_int32 length() const { return length_; }
    bool is_cut() const { return cut_; }

    /** Ends a text that may be cut: stores error 90 when it was, and returns the characters written. */
    u_int32 finish(vela_handle *handle, u_int32 *err) const {
        if (cut_) {
            vela_inline::fail(handle, err, VELA_EMSGSIZE);
        }
        return length_;
    }

  private:
    char *buffer_;
    u_int32 room_;
    u_int32 length_ = 0;
    bool cut_ = false;
};

}  // namespace values
