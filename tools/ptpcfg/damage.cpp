// Damages messages as the command line says.
#include "damage.h"

#include <charconv>

#include "failure.h"

namespace ptpcfg {
namespace {

/** A number, decimal or with 0x, that is the whole text. */
bool read_number(std::string_view text, size_t &number) {
    const int base = text.starts_with("0x") ? 16 : 10;
    text.remove_prefix(base == 16 ? 2 : 0);
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return problem == std::errc() && end == text.data() + text.size() && !text.empty();
}

/** Reads OFFSET, or OFFSET, a sign and a number. Returns whether the sign was there. */
bool read_place(const char *option, const std::string &text, char sign, size_t &offset, size_t &number) {
    const size_t at = text.find(sign);
    const bool has_number = at != std::string::npos;
    if (!read_number(text.substr(0, at), offset) || (has_number && !read_number(text.substr(at + 1), number))) {
        throw failure(exit_code::usage, std::string(option) + " " + text + ": " +
                                            (sign == '.' ? "OFFSET or OFFSET.BIT" : "OFFSET=VALUE") +
                                            " is wanted, numbers as 15 or 0x0f");
    }
    return has_number;
}

char &byte_at(const char *option, const std::string &text, size_t offset, std::string &message) {
    if (offset >= message.size()) {
        throw failure(exit_code::usage, std::string(option) + " " + text + ": the message has " +
                                            std::to_string(message.size()) + " bytes, the last at offset " +
                                            std::to_string(message.size() - 1));
    }
    return message[offset];
}

}  // namespace

void damage(const damage_options &options, std::string &message) {
    for (const std::string &text : options.bytes) {
        size_t offset = 0;
        size_t value = 256;
        if (!read_place("--byte", text, '=', offset, value) || value > 255) {
            throw failure(exit_code::usage, "--byte " + text + ": OFFSET=VALUE with a value from 0 to 255 is wanted");
        }
        byte_at("--byte", text, offset, message) = static_cast<char>(value);
    }
    for (const std::string &text : options.flips) {
        size_t offset = 0;
        size_t bit = 0;
        if (read_place("--flip", text, '.', offset, bit) && bit > 7) {
            throw failure(exit_code::usage, "--flip " + text + ": bits are from 0, the least, to 7");
        }
        char &byte = byte_at("--flip", text, offset, message);
        byte = static_cast<char>(byte ^ (1 << bit));
    }
    const auto size = static_cast<int64_t>(message.size());
    const int64_t left = options.truncate < 0 ? size + options.truncate : options.truncate;
    if (options.truncate != 0 && (left <= 0 || left >= size)) {
        throw failure(exit_code::usage, "--truncate " + std::to_string(options.truncate) + ": the message has " +
                                            std::to_string(size) + " bytes; 1 to " + std::to_string(size - 1) +
                                            " can be left of it");
    }
    message.resize(static_cast<size_t>(options.truncate != 0 ? left : size));
}

}  // namespace ptpcfg
