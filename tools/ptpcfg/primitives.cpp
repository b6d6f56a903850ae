// Puts the bytes of primitive values into words.
#include "primitives.h"

#include <cstdio>

#include "base/characters.h"
#include "value_forms.h"
#include "velalib_inline.h"

namespace ptpcfg {
namespace {

/** How a primitive type's bytes of the wire are shown. */
struct primitive {
    std::string_view name;
    std::string (*text)(std::string_view bytes);
};

template <typename Value, size_t width>
std::string text_of(std::string_view bytes) {
    if (bytes.size() < width) {
        return "";
    }
    typename Value::type value{};
    Value::load(reinterpret_cast<const u_int8 *>(bytes.data()), &value);
    char text[values::longest_text];
    values::bounded_text out(text, sizeof text);
    Value::write(out, value);
    return {text, out.length()};
}

// But for texts, which wire.cpp shows, for it knows their length.
#define PRIMITIVE(type, value, width, doc) {#type, text_of<value, width>},
constexpr primitive primitives[] = {VELA_EACH_PRIMITIVE(PRIMITIVE)};

}  // namespace

u_int64 read_number(std::string_view bytes) {
    u_int64 value = 0;
    for (const char byte : bytes) {
        value = value << 8 | static_cast<u_int8>(byte);
    }
    return value;
}

std::string value_text(const ptp_cfg_field_description &field, std::string_view bytes) {
    for (const primitive &row : primitives) {
        if (row.name == field.type_name) {
            const std::string text = row.text(bytes);
            return is_ipv4_number(field) ? text + note_on_address(static_cast<u_int32>(read_number(bytes))) : text;
        }
    }
    return "";
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
