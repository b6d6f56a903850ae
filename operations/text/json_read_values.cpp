// Reading JSON: what a member may hold that is a value, and messages around all.
#include "operations/text/json_reader.h"
#include "operations/text/json_values.h"
#include "operations/text/nearest_name.h"
#include "operations/text/xml_short_forms.h"

namespace ptp_cfg {

namespace {

constexpr size_t longest_form = 128;  // of an address and the like, escapes undone

/** A whole number without sign or leading zero; false for anything else. Too large ones are the largest there is. */
bool read_digits(std::string_view digits, u_int64 *value, bool *is_too_large) {
    if (digits.empty() || (digits.size() > 1 && digits[0] == '0')) {
        return false;
    }
    *value = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') {
            return false;
        }
        *is_too_large = *is_too_large || __builtin_mul_overflow(*value, u_int64{10}, value) ||
                        __builtin_add_overflow(*value, static_cast<u_int64>(digit - '0'), value);
    }
    return true;
}

}  // namespace

// ---- numbers --------------------------------------------------------------------------------------------------------

/** @param value  receives the low bits of a negative one */
bool json_reader::number(int64_t lowest, u_int64 highest, const char *type_name, bool may_be_quoted, u_int64 *value) {
    const bool is_quoted = scanner_.next() == '"' && may_be_quoted;
    const size_t at = here();
    json_string string{};
    if (is_quoted) {
        if (const char *reason = scanner_.take_string(&string)) {
            return wrong_syntax(reason);
        }
    }
    const std::string_view word = is_quoted ? string.inner : scanner_.take_word();
    const bool is_negative = !word.empty() && word[0] == '-';
    bool is_too_large = false;
    std::string_view digits = word;
    digits.remove_prefix(is_negative ? 1 : 0);
    if (!read_digits(digits, value, &is_too_large)) {
        scanner_.go_to(at);
        return wanted(may_be_quoted ? "a whole number, as digits in quotes," : "a whole number");
    }
    const u_int64 most = is_negative ? u_int64{0} - static_cast<u_int64>(lowest) : highest;
    if (is_too_large || *value > most) {
        return fault(at, VELA_EINVAL, "%.*s%s is not a %s (%lld to %llu)",
                     static_cast<int>(word.size() < 40 ? word.size() : 40), word.data(), word.size() > 40 ? "..." : "",
                     type_name, static_cast<long long>(lowest), static_cast<unsigned long long>(highest));
    }
    *value = is_negative ? u_int64{0} - *value : *value;
    return true;
}

bool json_reader::small_number(const char *what, u_int64 highest, u_int64 *value) {
    const size_t at = (scanner_.pass_blanks(), here());
    bool is_too_large = false;
    if (!read_digits(scanner_.take_word(), value, &is_too_large)) {
        scanner_.go_to(at);
        return wanted(what);
    }
    return (!is_too_large && *value <= highest) ||
           fault(at, VELA_EINVAL, "%s from 0 to %llu is wanted", what, static_cast<unsigned long long>(highest));
}

// ---- enumerations ---------------------------------------------------------------------------------------------------

/** The literal in the quotes that begin here. */
bool json_reader::literal_name(const enumeration_descriptor &type, u_int32 *value) {
    const size_t at = here();
    json_string string;
    if (const char *reason = scanner_.take_string(&string)) {
        return wrong_syntax(reason);
    }
    for (u_int32 i = 0; i < type.value_count; ++i) {
        if (type.values[i].literal_length == string.inner.size() &&
            memcmp(type.values[i].literal, string.inner.data(), string.inner.size()) == 0) {
            *value = type.values[i].number;
            return true;
        }
    }
    char name[128] = "";
    memcpy(name, string.inner.data(), string.inner.size() < sizeof name ? string.inner.size() : 0);
    nearest_name nearest(name);
    for (u_int32 i = 0; i < type.value_count; ++i) {
        nearest.show(type.values[i].literal);
    }
    const bool has_hint = nearest.found() != nullptr && name[0] != '\0';
    return fault(at, VELA_EINVAL, "unknown literal of %s; %s%s%s", type.name, has_hint ? "did you mean " : "one is ",
                 has_hint ? nearest.found() : type.values[0].literal, has_hint ? "?" : "");
}

bool json_reader::literal(const enumeration_descriptor &type, int8 its_variant, u_int32 *value) {
    const char first = scanner_.next();
    const size_t at = here();
    if (first == '"') {
        if (!literal_name(type, value)) {
            return false;
        }
    } else {
        u_int64 number = 0;
        if (first != '-' && (first < '0' || first > '9')) {
            return wanted("a literal in quotes, or its number,");
        }
        if (!small_number("a literal's number", UINT32_MAX, &number)) {
            return false;
        }
        *value = static_cast<u_int32>(number);
    }
    return *value >= type.value_count || variant_admits(type.thresholds, type.latest, its_variant, *value) ||
           fault(at, VELA_EEPOCH, needs_newer_variant, variant_needed(type.thresholds, type.latest, *value), type.name,
                 its_variant, give_older_value);
}

/** An enumeration with its variant, as {"$variant": 0, "value": "LITERAL"}. */
bool json_reader::enumeration_object(const enumeration_descriptor &type, void *instance) {
    constexpr const char *form = "not as {\"$variant\": NUMBER, \"value\": LITERAL}";
    const size_t at = here();
    int8 its_variant = 0;
    scanner_.take('{');
    scanner_.pass_blanks();
    if (!scanner_.take_name(json_variant_member, sizeof json_variant_member - 1) || !scanner_.take(':')) {
        return fault(at, VELA_EINVAL, form);
    }
    if (!variant(type.latest, &its_variant)) {
        return false;
    }
    store_variant(instance, its_variant);
    if (!scanner_.take(',')) {
        return fault(at, VELA_EINVAL, form);
    }
    scanner_.pass_blanks();
    if (!scanner_.take_name(json_value_member, sizeof json_value_member - 1) || !scanner_.take(':')) {
        return fault(at, VELA_EINVAL, form);
    }
    if (scanner_.next() == '{') {
        return wanted("a literal in quotes, or its number,");
    }
    return enumeration(type, instance, its_variant) && (scanner_.take('}') || fault(at, VELA_EINVAL, form));
}

bool json_reader::enumeration(const enumeration_descriptor &type, void *instance, int8 its_variant) {
    if (scanner_.next() == '{' && has(json_variants)) {
        return enumeration_object(type, instance);
    }
    u_int32 value = 0;
    if (!literal(type, its_variant, &value)) {
        return false;
    }
    if (stores()) {
        notify(source_.handle, source_.mem_class, value_of(instance), sizeof value);
        *value_of(instance) = value;
    }
    return true;
}

// ---- primitives -----------------------------------------------------------------------------------------------------

bool json_reader::quoted(json_string *string, const char *what) {
    if (scanner_.next() != '"') {
        return wanted(what);
    }
    const char *reason = scanner_.take_string(string);
    return reason == nullptr || wrong_syntax(reason);
}

template <class P>
bool json_reader::boolean(u_int8 *value) {
    const size_t at = (scanner_.pass_blanks(), here());
    const std::string_view word = scanner_.take_word();
    if (word != "true" && word != "false") {
        scanner_.go_to(at);
        return wanted("true or false");
    }
    if (stores()) {
        P::set_value(source_.handle, source_.mem_class, as<typename P::type>(value), word == "true" ? 1 : 0, &err_);
    }
    return err_ == 0;
}

/** A value that is written as a string. */
template <class P, class Value>
bool json_reader::written(u_int8 *value) {
    json_string string;
    const size_t at = (scanner_.pass_blanks(), here());
    if (!quoted(&string, "a text in quotes")) {
        return false;
    }
    char form[longest_form];
    const size_t length = string.is_escaped ? unescape_json(string.inner, form, sizeof form) : 0;
    const std::string_view text = string.is_escaped ? std::string_view(form, length) : string.inner;
    typename P::type fresh = {};
    if (length > sizeof form || !Value::read(text, &fresh)) {
        char accepted[128] = {};
        values::bounded_text list(accepted, sizeof accepted - 1);
        Value::list_accepted(list);
        return fault(at, VELA_EINVAL, "'%.*s' is not a %s (%s)",
                     static_cast<int>(string.inner.size() < 40 ? string.inner.size() : 40), string.inner.data(),
                     properties_of(P::kind).name, accepted);
    }
    if (stores()) {
        P::set(source_.handle, source_.mem_class, as<typename P::type>(value), &fresh, &err_);
    }
    return err_ == 0;
}

bool json_reader::primitive(field_kind kind, u_int8 *value) {
    return visit_written(kind, [&](auto primitive, auto written_kind) {
        using P = decltype(primitive);
        using T = typename P::type;
        if constexpr (is_boolean(P::kind)) {
            return boolean<P>(value);
        } else if constexpr (properties_of(P::kind).is_number()) {
            using limits = std::numeric_limits<T>;
            u_int64 fresh = 0;
            if (!number(static_cast<int64_t>(limits::min()), static_cast<u_int64>(limits::max()),
                        properties_of(P::kind).name, is_64_bit(P::kind), &fresh)) {
                return false;
            }
            if (stores()) {
                P::set_value(source_.handle, source_.mem_class, as<T>(value), static_cast<T>(fresh), &err_);
            }
            return err_ == 0;
        } else {
            return written<P, decltype(written_kind)>(value);
        }
    });
}

/** A number that is an IPv4 address, as one or as the number. */
bool json_reader::address_number(u_int8 *value) {
    using P = primitive_traits<field_kind::u_int32>;
    if (scanner_.next() != '"') {
        return primitive(field_kind::u_int32, value);
    }
    json_string string;
    const size_t at = here();
    if (!quoted(&string, "an IPv4 address")) {
        return false;
    }
    char form[16] = "";
    const size_t length = unescape_json(string.inner, form, sizeof form - 1);
    u_int32 number = 0;
    if (length >= sizeof form || strpbrk(form, " \t\r\n") != nullptr || !read_ipv4_number(form, &number)) {
        return fault(at, VELA_EINVAL, "'%.*s' is not an IPv4 address: as 192.0.2.1, or a number from 0 to 4294967295",
                     static_cast<int>(string.inner.size() < 40 ? string.inner.size() : 40), string.inner.data());
    }
    if (stores()) {
        P::set_value(source_.handle, source_.mem_class, as<P::type>(value), number, &err_);
    }
    return err_ == 0;
}

/** Bytes in one string, as AA-BB-CC. */
bool json_reader::byte_list(const structure_descriptor &type, void *instance) {
    using P = primitive_traits<field_kind::u_int8>;
    const field_descriptor &field = type.fields[0];
    const size_t at = here();
    json_string string;
    if (!quoted(&string, "bytes")) {
        return false;
    }
    const char *digits = string.inner.data();
    u_int8 bytes[most_listed_bytes];
    bool is_list = !string.is_escaped && string.inner.size() == size_t{field.capacity} * 3 - 1;
    for (u_int32 i = 0; is_list && i < field.capacity; ++i) {
        is_list = read_hex_pair(digits + size_t{i} * 3, &bytes[i]) &&
                  (i + 1 == field.capacity || digits[size_t{i} * 3 + 2] == '-');
    }
    if (!is_list) {
        return fault(at, VELA_EINVAL, "'%.*s' is not %u bytes as %s",
                     static_cast<int>(string.inner.size() < 40 ? string.inner.size() : 40), digits, field.capacity,
                     field.capacity == 8 ? "AA-BB-CC-FF-FE-00-03-30" : "AA-BB-...");
    }
    for (u_int32 i = 0; stores() && i < field.capacity; ++i) {
        P::set_value(source_.handle, source_.mem_class, as<P::type>(storage(field, instance, i)), bytes[i], &err_);
    }
    return err_ == 0;
}

bool json_reader::element(const field_descriptor &field, void *instance, u_int32 element) {
    u_int8 *value = storage(field, instance, element);
    switch (field.kind) {
        case field_kind::enumeration:
            return enumeration(*field.enumeration, value, VELA_CALL(vela_get_instance_variant)(value, 1, 1));
        case field_kind::structure:
            return structure(*field.structure, value);
        case field_kind::var_string:
            return text(field, instance);
        default:
            return is_ipv4_number(field) ? address_number(value) : primitive(field.kind, value);
    }
}

}  // namespace ptp_cfg
