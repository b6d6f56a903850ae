// Reads expressions over messages by recursive descent, and asks messages.
#include "filter.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "failure.h"
#include "fields.h"
#include "value_forms.h"

namespace ptpcfg {

enum class term_kind { all, any, none, message, comparison };

struct filter::term {
    term_kind kind;
    std::vector<term> parts;  // of all, any and none
    std::string name;         // of a message or field
    std::string sign;
    std::string value;
    const ptp_cfg_type *type = nullptr;
};

namespace {

using term = filter::term;

/** The nodes of a message, made when the first comparison wants them. */
class message_nodes {
  public:
    explicit message_nodes(const record &message) : message_(message) {}
    const std::vector<field_node> &all() {
        if (nodes_.empty()) {
            value_ = json_of(message_);
            nodes_ = nodes_of(message_.type(), value_);
        }
        return nodes_;
    }
    const ptp_cfg_type *type() const { return message_.type(); }

  private:
    const record &message_;
    json_value value_;
    std::vector<field_node> nodes_;
};

[[noreturn]] void fail(const std::string &reason) { throw failure(exit_code::usage, "--filter: " + reason); }

constexpr std::string_view sign_characters = "=!<>";

/** Words, signs and brackets; a word in quotes keeps its first quote. */
std::vector<std::string> tokens_of(const std::string &text) {
    constexpr std::string_view ends = " \t\n()=!<>";
    std::vector<std::string> tokens;
    for (size_t at = 0; at < text.size();) {
        size_t end = at + 1;
        if (text[at] == '"') {
            end = text.find('"', end);
            if (end == std::string::npos) {
                fail("a closing \" is missing");
            }
            tokens.push_back(text.substr(at, end - at));
            at = end + 1;
            continue;
        }
        if (sign_characters.find(text[at]) != std::string_view::npos) {
            end = std::min(text.find_first_not_of(sign_characters, at), text.size());
        } else if (ends.find(text[at]) == std::string_view::npos) {
            end = std::min(text.find_first_of(ends, at), text.size());
        }
        if (text.find_first_not_of(" \t\n", at) != at) {
            at = end;
            continue;
        }
        tokens.push_back(text.substr(at, end - at));
        at = end;
    }
    return tokens;
}

/** A whole number within 64 bits, as a float that tells all of them that matter apart. */
std::optional<long double> number_of(const std::string &text) {
    char *end = nullptr;
    const bool is_hexadecimal = text.starts_with("0x");
    const long double number = is_hexadecimal ? static_cast<long double>(std::strtoull(text.c_str(), &end, 16))
                                              : std::strtold(text.c_str(), &end);
    return text.empty() || *end != '\0' ? std::nullopt : std::optional(number);
}

/** The number of a field's value: of literals and truth values, too. Texts, addresses and records have none. */
std::optional<long double> number_of(const ptp_cfg_field_description &field, const std::string &value) {
    if (field.name == nullptr || field.is_array != 0) {
        return std::nullopt;
    }
    switch (field.kind) {
        case PTP_CFG_FIELD_UNSIGNED:
        case PTP_CFG_FIELD_SIGNED:
            return number_of(value);
        case PTP_CFG_FIELD_BOOLEAN:
            return value == "true" || value == "1"    ? std::optional(1.0L)
                   : value == "false" || value == "0" ? std::optional(0.0L)
                                                      : std::nullopt;
        case PTP_CFG_FIELD_ENUMERATION:
            for (const enumeration_literal &row : literals_of(field.type)) {
                if (row.literal == value) {
                    return static_cast<long double>(row.number);
                }
            }
            return number_of(value);
        default:
            return std::nullopt;
    }
}

/** Whether a field's values can be compared so with a value. */
bool is_comparable(const ptp_cfg_field_description &field, const std::string &sign, const std::string &value) {
    const bool is_number = field.is_array == 0 && !is_ipv4_number(field) &&
                           (field.kind == PTP_CFG_FIELD_UNSIGNED || field.kind == PTP_CFG_FIELD_SIGNED ||
                            field.kind == PTP_CFG_FIELD_BOOLEAN || field.kind == PTP_CFG_FIELD_ENUMERATION);
    return is_number ? number_of(field, value).has_value() : sign.find_first_of("<>") == std::string::npos;
}

/** Fails when no type has a field of that name, or none whose values can be compared so. */
void check_comparison(const std::string &path, const std::string &sign, const std::string &value) {
    std::string name = path.substr(path.find_last_of("./") + 1);
    name = name.substr(0, name.find('['));
    std::vector<std::string> known;
    bool is_known = false;
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        for (ptp_cfg_field_description field : fields_of(ptp_cfg_type_at(index))) {
            known.emplace_back(field.name);
            if (field.name == name) {
                is_known = true;
                field.is_array = path.ends_with(']') ? 0 : field.is_array;
                if (is_comparable(field, sign, value)) {
                    return;
                }
            }
        }
    }
    fail(is_known
             ? "'" + path + sign + value + "' holds for no value; 'ptpcfg describe " + name + "' says what it can be"
             : "no message has a field '" + path + "'" + suggestion(name, known));
}

class parser {
  public:
    explicit parser(const std::string &text) : tokens_(tokens_of(text)) {}

    term read() {
        term root = alternatives();
        if (at_ < tokens_.size()) {
            fail("'" + tokens_[at_] + "' has no place there; 'and' and 'or' connect");
        }
        return root;
    }

  private:
    bool takes(std::string_view word) {
        const bool is_next = at_ < tokens_.size() && tokens_[at_] == word;
        at_ += is_next ? 1 : 0;
        return is_next;
    }
    const std::string &next(const char *what) {
        if (at_ == tokens_.size()) {
            fail(std::string(what) + " is missing at the end");
        }
        return tokens_[at_++];
    }

    term alternatives() {
        term result{term_kind::any, {}, {}, {}, {}};
        do {
            result.parts.push_back(conjunction());
        } while (takes("or"));
        return result;
    }
    term conjunction() {
        term result{term_kind::all, {}, {}, {}, {}};
        do {
            result.parts.push_back(negation());
        } while (takes("and"));
        return result;
    }
    term negation() {
        if (takes("not")) {
            return {term_kind::none, {negation()}, {}, {}, {}};
        }
        if (takes("(")) {
            term inner = alternatives();
            if (!takes(")")) {
                fail("a closing bracket is missing");
            }
            return inner;
        }
        return single();
    }
    term single() {
        const std::string name = next("a message or FIELD=VALUE");
        const bool is_compared =
            at_ < tokens_.size() && sign_characters.find(tokens_[at_][0]) != std::string_view::npos;
        if (!is_compared) {
            return {term_kind::message, {}, name, {}, {}, message_named(name)};
        }
        const std::string sign = next("a sign");
        constexpr const char *signs[] = {"=", "==", "!=", "<", "<=", ">", ">="};
        if (std::find(std::begin(signs), std::end(signs), sign) == std::end(signs)) {
            fail("'" + sign + "': the signs are = != < <= > >=");
        }
        const std::string token = next("a value");
        const std::string value = token[0] == '"' ? token.substr(1) : token;
        check_comparison(name, sign, value);
        return {term_kind::comparison, {}, name, sign, value};
    }

    std::vector<std::string> tokens_;
    size_t at_ = 0;
};

bool compares(const field_node &node, const ptp_cfg_type *type, const term &of) {
    const std::string value = plain_text(*node.value);
    const ptp_cfg_field_description field = field_at(type, node.path);
    const std::optional<long double> a = number_of(field, value);
    const std::optional<long double> b = number_of(field, of.value);
    const bool is_equal = a && b ? *a == *b : value == of.value;
    if (of.sign == "!=") {
        return !is_equal;
    }
    if (of.sign[0] == '=') {
        return is_equal;
    }
    const bool may_be_equal = of.sign.size() == 2;
    return a && b && ((of.sign[0] == '<' ? *a < *b : *a > *b) || (may_be_equal && is_equal));
}

bool holds(const term &of, message_nodes &message) {
    const auto part_holds = [&](const term &part) { return holds(part, message); };
    switch (of.kind) {
        case term_kind::all:
            return std::all_of(of.parts.begin(), of.parts.end(), part_holds);
        case term_kind::any:
            return std::any_of(of.parts.begin(), of.parts.end(), part_holds);
        case term_kind::none:
            return !holds(of.parts.front(), message);
        case term_kind::message:
            return message.type() == of.type;
        case term_kind::comparison:
            break;
    }
    const std::vector<field_node> found = named_nodes(message.all(), of.name);
    return std::any_of(found.begin(), found.end(),
                       [&](const field_node &node) { return compares(node, message.type(), of); });
}

}  // namespace

filter::filter() = default;
filter::filter(const std::string &text) : root_(text.empty() ? nullptr : std::make_unique<term>(parser(text).read())) {}
filter::filter(filter &&) noexcept = default;
filter &filter::operator=(filter &&) noexcept = default;
filter::~filter() = default;

bool filter::takes(const record &message) const {
    if (root_ == nullptr) {
        return true;
    }
    message_nodes nodes(message);
    return holds(*root_, nodes);
}

}  // namespace ptpcfg
