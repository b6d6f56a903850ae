#include "yaml_scalars.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "json.h"

namespace ptpcfg {
namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

/** A number behind 0x or 0o in decimal digits; nothing for anything else. */
std::string decimal_of(std::string_view digits, int base) {
    uint64_t number = 0;
    const std::from_chars_result end = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
    return end.ec == std::errc() && end.ptr == digits.data() + digits.size() ? std::to_string(number) : "";
}

/** Whether a number without its sign is one of YAML's that are not whole. */
bool is_fraction(std::string_view number) {
    for (const char *name : {".inf", ".Inf", ".INF", ".nan", ".NaN", ".NAN"}) {
        if (number == name) {
            return true;
        }
    }
    const auto pass_digits = [&number] {
        const size_t count = std::min(number.find_first_not_of("0123456789"), number.size());
        number.remove_prefix(count);
        return count;
    };
    size_t digits = pass_digits();
    const bool has_point = number.starts_with('.');
    number.remove_prefix(has_point ? 1 : 0);
    digits += has_point ? pass_digits() : 0;
    const bool has_exponent = digits != 0 && (number.starts_with('e') || number.starts_with('E'));
    if (has_exponent) {
        number.remove_prefix(number.size() > 1 && (number[1] == '+' || number[1] == '-') ? 2 : 1);
        digits = pass_digits();
    }
    return digits != 0 && number.empty() && (has_point || has_exponent);
}

/** The JSON number of a scalar, or nothing. Leading zeros mean different things to different readers: no number. */
std::string number_of(std::string_view value) {
    if (value.starts_with("0x") || value.starts_with("0o")) {
        return decimal_of(value.substr(2), value[1] == 'x' ? 16 : 8);
    }
    const bool is_negative = value.starts_with('-');
    const std::string_view digits = value.substr(is_negative || value.starts_with('+') ? 1 : 0);
    if (is_fraction(digits)) {
        return std::string(value);  // which no field takes: it is told as it stands there
    }
    const bool is_number = !digits.empty() && std::all_of(digits.begin(), digits.end(), is_digit) &&
                           (digits.size() == 1 || digits[0] != '0');
    return is_number ? (is_negative ? "-" : "") + std::string(digits) : "";
}

}  // namespace

std::string json_of_plain_scalar(const std::string &value) {
    for (const char *truth : {"true", "True", "TRUE"}) {
        if (value == truth) {
            return "true";
        }
    }
    for (const char *untruth : {"false", "False", "FALSE"}) {
        if (value == untruth) {
            return "false";
        }
    }
    const std::string number = number_of(value);
    return number.empty() ? json_string(value) : number;
}

bool may_stand_plain(std::string_view text) {
    const bool is_word = !text.empty() && is_letter(text[0]) &&
                         std::all_of(text.begin(), text.end(), [](char c) { return is_letter(c) || is_digit(c); });
    // Names of the library are longer than what any version of YAML has words for: yes, no, on, off, null and so on.
    return is_word && text.size() > 5;
}

}  // namespace ptpcfg
