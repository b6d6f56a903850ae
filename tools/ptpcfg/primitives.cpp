#include "primitives.h"

#include <cstdio>

#include "base/characters.h"
#include "value_forms.h"

namespace ptpcfg {
namespace {

/** A primitive type's operations, with its pointers made untyped. */
struct primitive {
    const char *name;
    u_int32 (*wire_to_xml)(vela_handle *handle, const u_int8 *bytes, u_int32 length, char *buffer, u_int32 room,
                           u_int32 *err);
};

template <typename type, auto unmarshal, auto to_xml>
constexpr primitive make(const char *name) {
    return {name,
            [](vela_handle *handle, const u_int8 *bytes, u_int32 length, char *buffer, u_int32 room, u_int32 *err) {
                type value{};
                unmarshal(handle, memory_class, bytes, &value, length, 0, err);
                return to_xml(handle, memory_class, "v", buffer, &value, room, 0, err);
            }};
}

// But for texts, which wire.cpp shows, for it knows their length.
constexpr primitive primitives[] = {
    make<u_int8, u_int8_unmarshal, u_int8_to_xml>("u_int8"),
    make<u_int16, u_int16_unmarshal, u_int16_to_xml>("u_int16"),
    make<u_int32, u_int32_unmarshal, u_int32_to_xml>("u_int32"),
    make<u_int64, u_int64_unmarshal, u_int64_to_xml>("u_int64"),
    make<int8, int8_unmarshal, int8_to_xml>("int8"),
    make<int16, int16_unmarshal, int16_to_xml>("int16"),
    make<int32, int32_unmarshal, int32_to_xml>("int32"),
    make<vela_boolean, vela_boolean_unmarshal, vela_boolean_to_xml>("vela_boolean"),
    make<en_address, en_address_unmarshal, en_address_to_xml>("en_address"),
    make<ip_address, ip_address_unmarshal, ip_address_to_xml>("ip_address"),
    make<vrf_info, vrf_info_unmarshal, vrf_info_to_xml>("vrf_info"),
};

const primitive *primitive_of(const ptp_cfg_field_description &field) {
    for (const primitive &row : primitives) {
        if (std::string_view(row.name) == field.type_name) {
            return &row;
        }
    }
    return nullptr;
}

}  // namespace

u_int64 read_number(std::string_view bytes) {
    u_int64 value = 0;
    for (const char byte : bytes) {
        value = value << 8 | static_cast<u_int8>(byte);
    }
    return value;
}

std::string value_text(const ptp_cfg_field_description &field, std::string_view bytes, vela_handle *handle) {
    const primitive *row = primitive_of(field);
    if (row == nullptr) {
        return "";
    }
    char buffer[512];
    u_int32 err = 0;
    const u_int32 length = row->wire_to_xml(handle, reinterpret_cast<const u_int8 *>(bytes.data()),
                                            static_cast<u_int32>(bytes.size()), buffer, sizeof buffer, &err);
    const std::string_view element(buffer, length);
    // "<v>" and "</v>" frame the value.
    if (err != 0 || element.size() < 7) {
        return "";
    }
    const std::string text(element.substr(3, element.size() - 7));
    return is_ipv4_number(field) ? text + note_on_address(static_cast<u_int32>(read_number(bytes))) : text;
}

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (base::is_control(c)) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<u_int8>(c));
            result += escape;
        } else {
            result += c;
        }
    }
    return result + "\"";
}

}  // namespace ptpcfg
