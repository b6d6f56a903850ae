// A JSON text on its way into a caller's characters.
#pragma once

#include <charconv>
#include <string_view>

#include "operations/text/json.h"

namespace ptp_cfg {

/** Counts on where the room ends, so that callers learn how much is needed. */
class json_output {
  public:
    json_output(char *buffer, u_int32 room, u_int32 indent) : buffer_(buffer), room_(room), indent_(indent) {}

    u_int32 length() const { return static_cast<u_int32>(length_ < UINT32_MAX ? length_ : UINT32_MAX); }

    PTP_CFG_INLINE void put(const char *text, size_t count) {
        if (length_ + count <= room_) [[likely]] {
            memcpy(buffer_ + length_, text, count);
        }
        length_ += count;
    }
    PTP_CFG_INLINE void put(char character) {
        if (length_ < room_) [[likely]] {
            buffer_[length_] = character;
        }
        ++length_;
    }
    PTP_CFG_INLINE void put(std::string_view text) { put(text.data(), text.size()); }

    template <class T>
    void put_number(T number) {
        char digits[24];
        put(digits, static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits));
    }
    void put_hex(u_int8 byte, const char *digits) {
        put(digits[byte >> 4]);
        put(digits[byte & 15]);
    }

    /** Opens an object or array. */
    void open(char bracket) {
        put(bracket);
        ++depth_;
        is_first_ = true;
    }
    void close(char bracket) {
        --depth_;
        if (!is_first_) {
            new_line();
        }
        put(bracket);
        is_first_ = false;
    }
    /** Begins an item of an array, or the name of a member. */
    PTP_CFG_INLINE void next() {
        if (!is_first_) {
            put(',');
        }
        is_first_ = false;
        new_line();
    }
    PTP_CFG_INLINE void member(const char *name, size_t count) {
        next();
        put('"');
        put(name, count);
        if (indent_ == 0) {
            put("\":", 2);
        } else {
            put("\": ", 3);
        }
    }
    void member(std::string_view name) { member(name.data(), name.size()); }

    /** A string of bytes that are UTF-8. */
    void put_string(const char *text, size_t count);

  private:
    PTP_CFG_INLINE void new_line() {
        if (indent_ != 0) [[unlikely]] {
            break_line();
        }
    }
    void break_line();

    char *buffer_;
    size_t room_;
    size_t length_ = 0;
    u_int32 indent_;
    u_int32 depth_ = 0;
    bool is_first_ = true;
};

}  // namespace ptp_cfg
