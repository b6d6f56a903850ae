// Records as text: fills the arguments into their places, and escapes what would steer a terminal.
#include "format.h"

#include <inttypes.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "modules.h"

using bitlog::controls;

namespace {

// Bytes of the control character that a text begins with; 0 when it begins with none. Those of two bytes in UTF-8
// (U+0080 to U+009F) steer terminals as well as those of ASCII.
size_t control_length(const char *text, size_t length) {
    const unsigned char first = static_cast<unsigned char>(text[0]);
    if (first < 0x20 || first == 0x7f) {
        return 1;
    }
    return first == 0xC2 && length > 1 && static_cast<unsigned char>(text[1]) - 0x80u < 0x20u ? 2 : 0;
}

// Counts everything, keeps what fits.
class text_writer {
  public:
    text_writer(char *buffer, size_t room, controls kept) : buffer_(buffer), room_(room), kept_(kept) {}

    void put(const char *text, size_t length) {
        size_t plain = 0;
        for (size_t i = 0; kept_ == controls::escaped && i < length;) {
            const size_t control = control_length(text + i, length - i);
            if (control == 0) {
                ++i;
                continue;
            }
            copy(text + plain, i - plain);
            for (plain = i + control; i < plain; ++i) {
                char escape[8];
                snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(text[i]));
                copy(escape, strlen(escape));
            }
        }
        copy(text + plain, length - plain);
    }
    void put(const char *text) { put(text, strlen(text)); }

    size_t finish() {
        if (room_ > 0) {
            buffer_[used_ < room_ ? used_ : room_ - 1] = '\0';
        }
        return used_;
    }

  private:
    void copy(const char *text, size_t length) {
        if (used_ < room_) {
            size_t fitting = length < room_ - used_ ? length : room_ - used_;
            memcpy(buffer_ + used_, text, fitting);
        }
        used_ += length;
    }

    char *buffer_;
    size_t room_;
    controls kept_;
    size_t used_ = 0;
};

// Renders an argument by its own kind: a text that asks for another cannot make it read what is not there.
void put_argument(text_writer &writer, const bitlog_record &record, uint32_t index, char conversion) {
    if (index >= record.argument_count || index >= 4) {
        writer.put("(missing)");
        return;
    }
    const auto &argument = record.argument[index];
    char digits[24];
    switch (record.kind[index]) {
        case '1':
            writer.put(argument.text != nullptr ? argument.text : "(null)");
            return;
        case '4':
            if (conversion == 'd') {
                snprintf(digits, sizeof digits, "%" PRId32, static_cast<int32_t>(argument.number));
            } else {
                snprintf(digits, sizeof digits, "%" PRIu32, argument.number);
            }
            break;
        default:
            snprintf(digits, sizeof digits, "0x%" PRIxPTR, reinterpret_cast<uintptr_t>(argument.address));
            break;
    }
    writer.put(digits);
}

void put_text(text_writer &writer, const bitlog_record &record, const char *text) {
    uint32_t next = 0;
    while (*text != '\0') {
        size_t plain = strcspn(text, "%");
        writer.put(text, plain);
        text += plain;
        if (text[0] == '%' && text[1] == '%') {
            writer.put("%");
            text += 2;
        } else if (text[0] == '%' && text[1] != '\0' && strchr("sdup", text[1]) != nullptr) {
            put_argument(writer, record, next++, text[1]);
            text += 2;
        } else if (text[0] == '%') {
            writer.put("%");
            ++text;
        }
    }
}

// Without its text a message is still found by its number.
void put_number(text_writer &writer, const bitlog_record &record) {
    char number[32];
    snprintf(number, sizeof number, "message %" PRIu32, record.number);
    writer.put(number);
    if (record.points != nullptr && record.points->subject != nullptr) {
        writer.put(" of ");
        writer.put(record.points->subject);
    }
    for (uint32_t i = 0; i < record.argument_count && i < 4; ++i) {
        writer.put(i == 0 ? ": " : ", ");
        put_argument(writer, record, i, 'u');
    }
}

}  // namespace

size_t bitlog::format_record(const bitlog_record &record, const char *text, char *buffer, size_t room, controls kept) {
    text_writer writer(buffer, room, kept);
    if (text != nullptr) {
        put_text(writer, record, text);
    } else {
        put_number(writer, record);
    }
    return writer.finish();
}

size_t bitlog_format(const bitlog_record *record, char *buffer, size_t room) {
    return bitlog::format_record(*record, bitlog::find_message_text(record->module_id, record->number), buffer, room,
                                 bitlog::controls::kept);
}

const char *bitlog_level_name(uint32_t level) {
    static const char *const names[] = {"emergency", "alert",  "critical",      "error",
                                        "warning",   "notice", "informational", "debug"};
    uint32_t severity = level >> 24;
    return severity < 8 ? names[severity] : "unknown";
}
