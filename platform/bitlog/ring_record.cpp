// Packs a message into the fixed room of a ring record, cutting the longest strings first, and unpacks it.
#include "ring_record.h"

#include <string.h>

namespace bitlog {
namespace {

constexpr size_t most_arguments = 4;
constexpr size_t payload_room = sizeof(ring_record::payload);

struct lengths {
    size_t of[most_arguments];  // of the strings, as they are kept
};

/** Takes from the longest strings first what does not fit. Returns the arguments that were cut, a bit each. */
uint8_t cut_to(size_t room, size_t needed, lengths &strings) {
    uint8_t cut = 0;
    while (needed > room) {
        size_t longest = 0;
        for (size_t i = 1; i < most_arguments; ++i) {
            longest = strings.of[i] > strings.of[longest] ? i : longest;
        }
        --strings.of[longest];
        --needed;
        cut = static_cast<uint8_t>(cut | 1u << longest);
    }
    return cut;
}

/** Looks no further than what a record can hold. */
size_t measure(const bitlog_record &message, lengths &strings) {
    size_t needed = 0;
    for (uint32_t i = 0; i < message.argument_count; ++i) {
        const char *text = message.argument[i].text;
        switch (message.kind[i]) {
            case '4':
                needed += sizeof(uint32_t);
                break;
            case '5':
                needed += sizeof(uint64_t);
                break;
            default:
                strings.of[i] = text != nullptr ? strnlen(text, payload_room) : 0;
                needed += text != nullptr ? 1 + strings.of[i] : 0;
                break;
        }
    }
    return needed;
}

uint8_t *put(uint8_t *at, const void *bytes, size_t length) {
    memcpy(at, bytes, length);
    return at + length;
}

uint8_t *put_string(uint8_t *at, const char *text, size_t length) {
    *at = static_cast<uint8_t>(length);
    return put(at + 1, text, length);
}

/** What is left of a record's payload. */
class payload_reader {
  public:
    explicit payload_reader(const ring_record &record) : at_(record.payload), left_(payload_room) {}

    bool take(void *bytes, size_t length) {
        if (length > left_) {
            return false;
        }
        memcpy(bytes, at_, length);
        at_ += length;
        left_ -= length;
        return true;
    }
    /** Needs payload_room + 1 bytes. */
    bool take_string(char *text) {
        uint8_t length = 0;
        if (!take(&length, 1) || !take(text, length)) {
            return false;
        }
        text[length] = '\0';
        return true;
    }

  private:
    const uint8_t *at_;
    size_t left_;
};

}  // namespace

size_t pack(const bitlog_record &message, ring_record &record) {
    record.number = message.number;
    record.level = message.level;
    record.module_id = message.module_id;
    record.argument_count = static_cast<uint8_t>(message.argument_count);
    lengths strings = {};
    record.cut = cut_to(payload_room, measure(message, strings), strings);
    memset(record.kind, 0, sizeof record.kind);
    uint8_t *at = record.payload;
    for (uint32_t i = 0; i < message.argument_count; ++i) {
        record.kind[i] = message.kind[i];
        if (message.kind[i] == '4') {
            at = put(at, &message.argument[i].number, sizeof(uint32_t));
        } else if (message.kind[i] == '5') {
            const uint64_t address = reinterpret_cast<uintptr_t>(message.argument[i].address);
            at = put(at, &address, sizeof address);
        } else if (message.argument[i].text != nullptr) {
            at = put_string(at, message.argument[i].text, strings.of[i]);
        } else {
            record.kind[i] = '0';
        }
    }
    // Whole words are kept, and nothing in them that was on the stack before.
    const size_t used = static_cast<size_t>(at - reinterpret_cast<uint8_t *>(&record));
    const size_t whole = (used + 7) / 8 * 8;
    memset(at, 0, whole - used);
    return whole;
}

bool unpack(const ring_record &record, bitlog_record &message, message_strings &strings) {
    message = {};
    message.number = record.number;
    message.level = record.level;
    message.module_id = record.module_id;
    payload_reader payload(record);
    bool sound = record.argument_count <= most_arguments;
    for (uint8_t i = 0; sound && i < record.argument_count; ++i) {
        uint64_t address = 0;
        message.kind[i] = record.kind[i];
        switch (record.kind[i]) {
            case '4':
                sound = payload.take(&message.argument[i].number, sizeof(uint32_t));
                break;
            case '5':
                sound = payload.take(&address, sizeof address);
                message.argument[i].address = reinterpret_cast<const void *>(static_cast<uintptr_t>(address));
                break;
            case '1':
                sound = payload.take_string(strings.text[i]);
                message.argument[i].text = strings.text[i];
                break;
            default:
                sound = record.kind[i] == '0';
                message.kind[i] = '1';
                break;
        }
    }
    message.argument_count = sound ? record.argument_count : 0;
    return sound;
}

}  // namespace bitlog
