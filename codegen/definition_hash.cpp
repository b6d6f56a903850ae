// A text that says all of a definition, and its hash.
#include "definition_hash.h"

namespace codegen {
namespace {

__extension__ typedef unsigned __int128 wide;

std::string stated_or_hashed(const named_type &type, const std::string &text) {
    return type.definition.empty() ? hash_text(text) : type.definition;
}

}  // namespace

std::string hash_text(const std::string &text) {
    constexpr wide prime = (wide{1} << 88) + 0x13B;
    wide hash = (wide{0x6C62272E07BB0142} << 64) + 0x62B821756295C58D;
    for (const char character : text) {
        hash ^= static_cast<unsigned char>(character);
        hash *= prime;
    }
    std::string digits;
    for (int shift = 124; shift >= 0; shift -= 4) {
        digits += "0123456789abcdef"[static_cast<unsigned>(hash >> shift) & 15];
    }
    return digits;
}

std::string definition_of(const enumeration &type) {
    std::string text = "enumeration " + type.name + "\n";
    for (const enumeration_value &value : type.values) {
        text += std::to_string(value.number) + " " + value.literal + " " + std::to_string(value.since) + "\n";
    }
    return stated_or_hashed(type, text);
}

std::string definition_of(const structure &type) {
    std::string text = "structure " + type.name + "\n";
    for (const field &row : type.fields) {
        text += row.name + " " + row.type_name + " " + std::to_string(row.capacity.value_or(0)) + " " +
                std::to_string(row.since) + "\n";
    }
    return stated_or_hashed(type, text);
}

std::string definition_of(const message &type) {
    std::string text = "message " + type.name + "\n";
    for (const payload &row : type.payloads) {
        text += row.type_name + "\n";
    }
    return stated_or_hashed(type, text);
}

}  // namespace codegen
