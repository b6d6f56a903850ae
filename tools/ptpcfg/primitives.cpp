#include "primitives.h"

#include <cstdio>
#include <limits>

#include "value_forms.h"

namespace ptpcfg {
namespace {

/** A primitive type's operations, with its pointers made untyped. */
struct primitive {
    const char *name;
    void (*from_xml)(vela_handle *handle, const char *path, vela_xml_document *document, u_int32 *err, char *reason,
                     u_int32 room);
    u_int32 (*wire_to_xml)(vela_handle *handle, const u_int8 *bytes, u_int32 length, char *buffer, u_int32 room,
                           u_int32 *err);
};

template <typename type, auto from_xml, auto unmarshal, auto to_xml>
constexpr primitive make(const char *name) {
    return {name,
            [](vela_handle *handle, const char *path, vela_xml_document *document, u_int32 *err, char *reason,
               u_int32 room) {
                type value{};
                from_xml(handle, memory_class, path, document, &value, err, reason, room);
            },
            [](vela_handle *handle, const u_int8 *bytes, u_int32 length, char *buffer, u_int32 room, u_int32 *err) {
                type value{};
                unmarshal(handle, memory_class, bytes, &value, length, 0, err);
                return to_xml(handle, memory_class, "v", buffer, &value, room, 0, err);
            }};
}

void text_from_xml(vela_handle *handle, const char *path, vela_xml_document *document, u_int32 *err, char *reason,
                   u_int32 room) {
    var_string text = nullptr;
    u_int8 count = 0;
    var_string_from_xml(handle, memory_class, path, document, &text, &count, err, reason, room);
    var_string_destroy_internal(handle, memory_class, &text, 1);
}

constexpr primitive primitives[] = {
    // Texts are shown by wire.cpp, which knows their length.
    {"var_string", text_from_xml, nullptr},
    make<u_int8, u_int8_from_xml, u_int8_unmarshal, u_int8_to_xml>("u_int8"),
    make<u_int16, u_int16_from_xml, u_int16_unmarshal, u_int16_to_xml>("u_int16"),
    make<u_int32, u_int32_from_xml, u_int32_unmarshal, u_int32_to_xml>("u_int32"),
    make<u_int64, u_int64_from_xml, u_int64_unmarshal, u_int64_to_xml>("u_int64"),
    make<int8, int8_from_xml, int8_unmarshal, int8_to_xml>("int8"),
    make<int16, int16_from_xml, int16_unmarshal, int16_to_xml>("int16"),
    make<int32, int32_from_xml, int32_unmarshal, int32_to_xml>("int32"),
    make<vela_boolean, vela_boolean_from_xml, vela_boolean_unmarshal, vela_boolean_to_xml>("vela_boolean"),
    make<en_address, en_address_from_xml, en_address_unmarshal, en_address_to_xml>("en_address"),
    make<ip_address, ip_address_from_xml, ip_address_unmarshal, ip_address_to_xml>("ip_address"),
    make<vrf_info, vrf_info_from_xml, vrf_info_unmarshal, vrf_info_to_xml>("vrf_info"),
};

const primitive *primitive_of(const ptp_cfg_field_description &field) {
    for (const primitive &row : primitives) {
        if (std::string_view(row.name) == field.type_name) {
            return &row;
        }
    }
    return nullptr;
}

/** What a field of this kind takes, for a sentence. */
std::string expectation(const ptp_cfg_field_description &field) {
    const unsigned bits = field.element_size * 8u;
    if (is_ipv4_number(field)) {
        return "an IPv4 address: a number from 0 to 4294967295, or as 192.0.2.1";
    }
    switch (field.kind) {
        case PTP_CFG_FIELD_UNSIGNED:
            return "a number from 0 to " +
                   std::to_string(bits >= 64 ? std::numeric_limits<u_int64>::max() : (u_int64{1} << bits) - 1);
        case PTP_CFG_FIELD_SIGNED:
            return "a number from -" + std::to_string(u_int64{1} << (bits - 1)) + " to " +
                   std::to_string((u_int64{1} << (bits - 1)) - 1);
        case PTP_CFG_FIELD_BOOLEAN:
            return "true or false";
        default:
            return std::string("of type ") + field.type_name + ", which is written as " + form_of(field);
    }
}

}  // namespace

std::string check_value(const ptp_cfg_field_description &field, const std::string &element, const std::string &text,
                        vela_handle *handle) {
    const primitive *row = primitive_of(field);
    if (row == nullptr) {
        return "";
    }
    const std::string path = std::string("//") + field.name;
    u_int32 err = VELA_EINVAL;
    char reason[160] = "";
    if (vela_xml_document *document = vela_xml_parse(element.data(), element.size(), reason, sizeof reason)) {
        err = 0;
        row->from_xml(handle, path.c_str(), document, &err, reason, sizeof reason);
        vela_xml_destroy(document);
    }
    if (err == 0) {
        return "";
    }
    if (err == VELA_ENOSPC) {
        return "the text is longer than the 255 characters that fit";
    }
    return field.kind == PTP_CFG_FIELD_TEXT ? reason : "'" + text + "' is not " + expectation(field);
}

u_int64 read_number(std::string_view bytes) {
    u_int64 value = 0;
    for (const char byte : bytes) {
        value = value << 8 | static_cast<u_int8>(byte);
    }
    return value;
}

std::string value_text(const ptp_cfg_field_description &field, std::string_view bytes, vela_handle *handle) {
    const primitive *row = primitive_of(field);
    if (row == nullptr || row->wire_to_xml == nullptr) {
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
        const auto byte = static_cast<u_int8>(c);
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (byte < 0x20 || byte == 0x7f) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", byte);
            result += escape;
        } else {
            result += c;
        }
    }
    return result + "\"";
}

}  // namespace ptpcfg
