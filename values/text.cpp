// What reading all kinds of values from text shares, and the check of a text without a value to read it to.
#include "values/text.h"

#include <cstdio>

#include "values/string.h"
#include "velalib_inline.h"

namespace values {

namespace {

/** "value 'X' is not a TYPE (what it accepts)". */
struct refusal {
    char text[192] = {};

    refusal(std::string_view value, const char *type_name, accepted_list list_accepted) {
        constexpr size_t most_shown = 64;
        bounded_text out(text, sizeof text - 1);
        out.append("value '");
        out.append(value.data(), value.size() < most_shown ? value.size() : most_shown);
        out.append(strchr("aeio", type_name[0]) != nullptr ? "' is not an " : "' is not a ");
        out.append(type_name);
        out.append(" (");
        list_accepted(out);
        out.append(')');
    }
};

template <typename Value>
bool is_value(std::string_view text) {
    typename Value::type value = {};
    return Value::read(text, &value);
}

struct checked_type {
    std::string_view name;
    bool (*is_value)(std::string_view text);
    accepted_list list_accepted;
};

#define CHECKED_TYPE(type, value, width, doc) {#type, is_value<value>, value::list_accepted},
constexpr checked_type checked_types[] = {VELA_EACH_PRIMITIVE(CHECKED_TYPE)};

}  // namespace

void refuse_text(vela_handle *handle, const xml_source &source, std::string_view text, const char *type_name,
                 accepted_list list_accepted, u_int32 *err) {
    velalib::refuse(handle, source, VELA_EINVAL, err, "%s", refusal(text, type_name, list_accepted).text);
}

}  // namespace values

u_int32 xml_check_value(const char *type_name, const char *text, char *reason, u_int32 room) {
    if (std::string_view(type_name) == "var_string") {
        return values::string::check(text, reason, room);
    }
    const std::string_view value = values::trimmed(text);
    for (const values::checked_type &type : values::checked_types) {
        if (type.name == type_name && !type.is_value(value)) {
            snprintf(reason, room, "%s", values::refusal(value, type_name, type.list_accepted).text);
            return VELA_EINVAL;
        }
    }
    return VELA_OK;
}
