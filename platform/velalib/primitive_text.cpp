#include <cstdio>

#include "text_io.h"
#include "value_text.h"
#include "velalib/primitives.h"
#include "xml_characters.h"
#include "xml_write.h"

using velalib::is_blank;
using velalib::value_text_room;
using velalib::xml_source;

namespace {

// What sets the primitives apart in text. `expected` completes "value 'X' is not ...".

template <typename T>
constexpr const char *expected_number = nullptr;
template <>
constexpr const char *expected_number<u_int8> = "a u_int8 (0 to 255)";
template <>
constexpr const char *expected_number<u_int16> = "a u_int16 (0 to 65535)";
template <>
constexpr const char *expected_number<u_int32> = "a u_int32 (0 to 4294967295)";
template <>
constexpr const char *expected_number<u_int64> = "a u_int64 (0 to 18446744073709551615)";
template <>
constexpr const char *expected_number<int8> = "an int8 (-128 to 127)";
template <>
constexpr const char *expected_number<int16> = "an int16 (-32768 to 32767)";
template <>
constexpr const char *expected_number<int32> = "an int32 (-2147483648 to 2147483647)";

template <typename T>
struct number_text {
    static constexpr const char *expected = expected_number<T>;
    static u_int32 print(char *out, const T &value) { return velalib::format_value(out, value); }
    static u_int32 format(char *out, const T &value) { return velalib::format_value(out, value); }
    static bool parse(std::string_view text, T *value) { return velalib::parse_value(text, value); }
};

struct boolean_text {
    static constexpr const char *expected = "a vela_boolean (true, false, 1 or 0)";
    static u_int32 print(char *out, const vela_boolean &value) { return velalib::format_boolean(out, value); }
    static u_int32 format(char *out, const vela_boolean &value) { return velalib::format_boolean(out, value); }
    static bool parse(std::string_view text, vela_boolean *value) { return velalib::parse_boolean(text, value); }
};

struct en_address_text {
    static constexpr const char *expected = "an en_address (such as 00:1b:19:00:00:01)";
    static u_int32 print(char *out, const en_address &value) { return velalib::format_value(out, value); }
    static u_int32 format(char *out, const en_address &value) { return velalib::format_value(out, value); }
    static bool parse(std::string_view text, en_address *value) { return velalib::parse_value(text, value); }
};

struct ip_address_text {
    static constexpr const char *expected = "an ip_address (such as 192.0.2.1, 2001:db8::1%3 or nothing)";
    static u_int32 print(char *out, const ip_address &value) {
        const u_int32 length = velalib::format_value(out, value);
        if (length != 0) return length;
        constexpr std::string_view none = "none";
        memcpy(out, none.data(), none.size());
        return static_cast<u_int32>(none.size());
    }
    static u_int32 format(char *out, const ip_address &value) { return velalib::format_value(out, value); }
    static bool parse(std::string_view text, ip_address *value) { return velalib::parse_value(text, value); }
};

struct vrf_info_text {
    static constexpr const char *expected = "a vrf_info (ID:TABLE:AFI:SAFI, four numbers, as 1:254:1:1)";
    static u_int32 print(char *out, const vrf_info &value) { return velalib::describe_value(out, value); }
    static u_int32 format(char *out, const vrf_info &value) { return velalib::format_value(out, value); }
    static bool parse(std::string_view text, vrf_info *value) { return velalib::parse_value(text, value); }
};

template <typename Text, typename P>
u_int32 print(vela_handle *handle, char *buffer, u_int32 indent, const char *label, const char *type_name,
              const P *value, u_int32 room, u_int32 *err) {
    if (*err != 0) return 0;
    if (value == nullptr) return vela_inline::fail(handle, err, VELA_EINVAL);
    char text[value_text_room];
    const u_int32 length = Text::print(text, *value);
    velalib::bounded_text out(buffer, room);
    velalib::begin_line(out, indent, label, type_name);
    out.append(text, length);
    out.append('\n');
    return out.finish(handle, err);
}

template <typename Text, typename P>
u_int32 to_xml(vela_handle *handle, const char *name, char *buffer, const P *value, u_int32 room, u_int8 state_flag,
               u_int32 *err) {
    if (*err != 0) return 0;
    if (value == nullptr) return vela_inline::fail(handle, err, VELA_EINVAL);
    char text[value_text_room];
    const u_int32 length = Text::format(text, *value);
    return velalib::write_element(handle, name, buffer, text, length, room, state_flag, err);
}

std::string_view trim(const char *text) {
    while (is_blank(*text)) ++text;
    size_t length = strlen(text);
    while (length > 0 && is_blank(text[length - 1])) --length;
    return {text, length};
}

constexpr const char *refusal_format = "value '%.*s' is not %s";

/** How much is shown of a text that is refused. */
int shown_length(std::string_view text) {
    constexpr size_t most = 64;
    return static_cast<int>(text.size() < most ? text.size() : most);
}

template <typename Text, typename P>
void from_xml(vela_handle *handle, u_int32 mem_class, const xml_source &source, P *value, u_int32 *err) {
    if (*err != 0) return;
    if (value == nullptr) {
        vela_inline::fail(handle, err, VELA_EINVAL);
        return;
    }
    const char *text = velalib::read_text(handle, source, err);
    if (text == nullptr) return;
    const std::string_view trimmed = trim(text);
    P fresh = {};
    if (Text::parse(trimmed, &fresh)) {
        vela_inline::value_set(handle, mem_class, value, &fresh, err);
        return;
    }
    velalib::refuse(handle, source, VELA_EINVAL, err, refusal_format, shown_length(trimmed), trimmed.data(),
                    Text::expected);
}

/** The forms that the values of a type have. */
struct value_forms {
    std::string_view type;
    bool (*hold)(std::string_view text);
    const char *expected;
};

template <typename Text, typename P>
constexpr value_forms forms_of(std::string_view type) {
    return {type,
            [](std::string_view text) {
                P value = {};
                return Text::parse(text, &value);
            },
            Text::expected};
}

constexpr value_forms all_forms[] = {
    forms_of<number_text<u_int8>, u_int8>("u_int8"),     forms_of<number_text<u_int16>, u_int16>("u_int16"),
    forms_of<number_text<u_int32>, u_int32>("u_int32"),  forms_of<number_text<u_int64>, u_int64>("u_int64"),
    forms_of<number_text<int8>, int8>("int8"),           forms_of<number_text<int16>, int16>("int16"),
    forms_of<number_text<int32>, int32>("int32"),        forms_of<boolean_text, vela_boolean>("vela_boolean"),
    forms_of<en_address_text, en_address>("en_address"), forms_of<ip_address_text, ip_address>("ip_address"),
    forms_of<vrf_info_text, vrf_info>("vrf_info"),
};

}  // namespace

u_int32 xml_check_value(const char *type_name, const char *text, char *reason, u_int32 room) {
    if (std::string_view(type_name) == "var_string") return velalib::check_string(text, reason, room);
    const std::string_view trimmed = trim(text);
    for (const value_forms &forms : all_forms) {
        if (forms.type != type_name || forms.hold(trimmed)) continue;
        snprintf(reason, room, refusal_format, shown_length(trimmed), trimmed.data(), forms.expected);
        return VELA_EINVAL;
    }
    return VELA_OK;
}

u_int32 u_int8_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label, const u_int8 *value,
                     u_int32 room, u_int32 *err) {
    return print<number_text<u_int8>>(handle, buffer, indent, label, "u_int8", value, room, err);
}

u_int32 u_int8_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const u_int8 *value, u_int32 room,
                      u_int8 state_flag, u_int32 *err) {
    return to_xml<number_text<u_int8>>(handle, name, buffer, value, room, state_flag, err);
}

void u_int8_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document,
                     u_int8 *value, u_int32 *err, char *error_text, u_int32 error_room) {
    from_xml<number_text<u_int8>>(handle, mem_class, {path, document, error_text, error_room}, value, err);
}

u_int32 u_int16_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label,
                      const u_int16 *value, u_int32 room, u_int32 *err) {
    return print<number_text<u_int16>>(handle, buffer, indent, label, "u_int16", value, room, err);
}

u_int32 u_int16_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const u_int16 *value, u_int32 room,
                       u_int8 state_flag, u_int32 *err) {
    return to_xml<number_text<u_int16>>(handle, name, buffer, value, room, state_flag, err);
}

void u_int16_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document,
                      u_int16 *value, u_int32 *err, char *error_text, u_int32 error_room) {
    from_xml<number_text<u_int16>>(handle, mem_class, {path, document, error_text, error_room}, value, err);
}

u_int32 u_int32_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label,
                      const u_int32 *value, u_int32 room, u_int32 *err) {
    return print<number_text<u_int32>>(handle, buffer, indent, label, "u_int32", value, room, err);
}

u_int32 u_int32_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const u_int32 *value, u_int32 room,
                       u_int8 state_flag, u_int32 *err) {
    return to_xml<number_text<u_int32>>(handle, name, buffer, value, room, state_flag, err);
}

void u_int32_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document,
                      u_int32 *value, u_int32 *err, char *error_text, u_int32 error_room) {
    from_xml<number_text<u_int32>>(handle, mem_class, {path, document, error_text, error_room}, value, err);
}

u_int32 u_int64_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label,
                      const u_int64 *value, u_int32 room, u_int32 *err) {
    return print<number_text<u_int64>>(handle, buffer, indent, label, "u_int64", value, room, err);
}

u_int32 u_int64_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const u_int64 *value, u_int32 room,
                       u_int8 state_flag, u_int32 *err) {
    return to_xml<number_text<u_int64>>(handle, name, buffer, value, room, state_flag, err);
}

void u_int64_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document,
                      u_int64 *value, u_int32 *err, char *error_text, u_int32 error_room) {
    from_xml<number_text<u_int64>>(handle, mem_class, {path, document, error_text, error_room}, value, err);
}

u_int32 int8_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label, const int8 *value,
                   u_int32 room, u_int32 *err) {
    return print<number_text<int8>>(handle, buffer, indent, label, "int8", value, room, err);
}

u_int32 int8_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const int8 *value, u_int32 room,
                    u_int8 state_flag, u_int32 *err) {
    return to_xml<number_text<int8>>(handle, name, buffer, value, room, state_flag, err);
}

void int8_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document, int8 *value,
                   u_int32 *err, char *error_text, u_int32 error_room) {
    from_xml<number_text<int8>>(handle, mem_class, {path, document, error_text, error_room}, value, err);
}

u_int32 int16_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label, const int16 *value,
                    u_int32 room, u_int32 *err) {
    return print<number_text<int16>>(handle, buffer, indent, label, "int16", value, room, err);
}

u_int32 int16_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const int16 *value, u_int32 room,
                     u_int8 state_flag, u_int32 *err) {
    return to_xml<number_text<int16>>(handle, name, buffer, value, room, state_flag, err);
}

void int16_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document, int16 *value,
                    u_int32 *err, char *error_text, u_int32 error_room) {
    from_xml<number_text<int16>>(handle, mem_class, {path, document, error_text, error_room}, value, err);
}

u_int32 int32_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label, const int32 *value,
                    u_int32 room, u_int32 *err) {
    return print<number_text<int32>>(handle, buffer, indent, label, "int32", value, room, err);
}

u_int32 int32_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const int32 *value, u_int32 room,
                     u_int8 state_flag, u_int32 *err) {
    return to_xml<number_text<int32>>(handle, name, buffer, value, room, state_flag, err);
}

void int32_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document, int32 *value,
                    u_int32 *err, char *error_text, u_int32 error_room) {
    from_xml<number_text<int32>>(handle, mem_class, {path, document, error_text, error_room}, value, err);
}

u_int32 vela_boolean_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label,
                           const vela_boolean *value, u_int32 room, u_int32 *err) {
    return print<boolean_text>(handle, buffer, indent, label, "vela_boolean", value, room, err);
}

u_int32 vela_boolean_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const vela_boolean *value,
                            u_int32 room, u_int8 state_flag, u_int32 *err) {
    return to_xml<boolean_text>(handle, name, buffer, value, room, state_flag, err);
}

void vela_boolean_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document,
                           vela_boolean *value, u_int32 *err, char *error_text, u_int32 error_room) {
    from_xml<boolean_text>(handle, mem_class, {path, document, error_text, error_room}, value, err);
}

u_int32 en_address_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label,
                         const en_address *value, u_int32 room, u_int32 *err) {
    return print<en_address_text>(handle, buffer, indent, label, "en_address", value, room, err);
}

u_int32 en_address_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const en_address *value,
                          u_int32 room, u_int8 state_flag, u_int32 *err) {
    return to_xml<en_address_text>(handle, name, buffer, value, room, state_flag, err);
}

void en_address_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document,
                         en_address *value, u_int32 *err, char *error_text, u_int32 error_room) {
    from_xml<en_address_text>(handle, mem_class, {path, document, error_text, error_room}, value, err);
}

u_int32 ip_address_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label,
                         const ip_address *value, u_int32 room, u_int32 *err) {
    return print<ip_address_text>(handle, buffer, indent, label, "ip_address", value, room, err);
}

u_int32 ip_address_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const ip_address *value,
                          u_int32 room, u_int8 state_flag, u_int32 *err) {
    return to_xml<ip_address_text>(handle, name, buffer, value, room, state_flag, err);
}

void ip_address_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document,
                         ip_address *value, u_int32 *err, char *error_text, u_int32 error_room) {
    from_xml<ip_address_text>(handle, mem_class, {path, document, error_text, error_room}, value, err);
}

u_int32 vrf_info_print(vela_handle *handle, u_int32, char *buffer, u_int32 indent, const char *label,
                       const vrf_info *value, u_int32 room, u_int32 *err) {
    return print<vrf_info_text>(handle, buffer, indent, label, "vrf_info", value, room, err);
}

u_int32 vrf_info_to_xml(vela_handle *handle, u_int32, const char *name, char *buffer, const vrf_info *value,
                        u_int32 room, u_int8 state_flag, u_int32 *err) {
    return to_xml<vrf_info_text>(handle, name, buffer, value, room, state_flag, err);
}

void vrf_info_from_xml(vela_handle *handle, u_int32 mem_class, const char *path, vela_xml_document *document,
                       vrf_info *value, u_int32 *err, char *error_text, u_int32 error_room) {
    from_xml<vrf_info_text>(handle, mem_class, {path, document, error_text, error_room}, value, err);
}
