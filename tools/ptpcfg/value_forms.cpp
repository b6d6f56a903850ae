// How each kind of value may be written, and addresses beside their numbers.
#include "value_forms.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "values/patterns.h"
#include "values/string.h"
#include "velalib_inline.h"

namespace ptpcfg {
namespace {

#define PRIMITIVE_DOC(type, value, width, doc) {#type, doc, value::written, values::pattern_of<value>},
constexpr primitive_doc primitives[] = {
    VELA_EACH_PRIMITIVE(PRIMITIVE_DOC){"var_string", values::string::doc, values::string::written, nullptr}};

/** Whether something within a type is an address that print shows as a number. */
bool has_ipv4_number(const ptp_cfg_type *type) {
    static std::unordered_map<const ptp_cfg_type *, bool> known;
    if (const auto at = known.find(type); at != known.end()) {
        return at->second;
    }
    const std::vector<ptp_cfg_field_description> &fields = fields_of(type);
    const bool result = std::any_of(fields.begin(), fields.end(), [](const ptp_cfg_field_description &field) {
        return is_ipv4_number(field) || (field.type != nullptr && has_ipv4_number(field.type));
    });
    known[type] = result;
    return result;
}

/** A line of print, NAME@TYPE:VALUE. */
struct printed_line {
    size_t depth;
    std::string_view name;  // without an index
    std::string_view type;
    std::string_view value;
};

printed_line split(std::string_view line) {
    const size_t begin = std::min(line.find_first_not_of(' '), line.size());
    const size_t at = std::min(line.find('@', begin), line.size());
    const size_t colon = std::min(line.find(':', at), line.size());
    const std::string_view name = line.substr(begin, at - begin);
    return {begin / 2, name.substr(0, std::min(name.find('['), name.size())),
            line.substr(std::min(at + 1, colon), colon - std::min(at + 1, colon)),
            line.substr(std::min(colon + 1, line.size()))};
}

const ptp_cfg_field_description *field_named(const ptp_cfg_type *type, std::string_view name) {
    const std::vector<ptp_cfg_field_description> &fields = fields_of(type);
    const auto at = std::find_if(fields.begin(), fields.end(), [&](const auto &field) { return field.name == name; });
    return at == fields.end() ? nullptr : &*at;
}

/** Knows within which structures a line of print stands, by its indentation. */
class print_explainer {
  public:
    std::string note_on(std::string_view text) {
        const printed_line line = split(text);
        owners_.resize(std::min(owners_.size(), line.depth));
        const ptp_cfg_type *owner = owners_.empty() ? nullptr : owners_.back();
        if (line.value == " {") {
            owners_.push_back(ptp_cfg_type_find(std::string(line.type).c_str()));
            return "";
        }
        const ptp_cfg_field_description *field = owner == nullptr ? nullptr : field_named(owner, line.name);
        if (field == nullptr || !is_ipv4_number(*field)) {
            return "";
        }
        return note_on_address(static_cast<u_int32>(std::strtoul(std::string(line.value).c_str(), nullptr, 10)));
    }

  private:
    std::vector<const ptp_cfg_type *> owners_;
};

}  // namespace

std::span<const primitive_doc> primitive_docs() { return primitives; }

const primitive_doc *primitive_named(std::string_view name) {
    const auto at = std::find_if(std::begin(primitives), std::end(primitives),
                                 [&](const primitive_doc &row) { return row.name == name; });
    return at == std::end(primitives) ? nullptr : at;
}

std::string form_of(const ptp_cfg_field_description &field) {
    if (field.type != nullptr) {
        return field.kind == PTP_CFG_FIELD_STRUCTURE && is_byte_list(field.type) ? form_of_byte_list(field.type) : "";
    }
    if (is_ipv4_number(field)) {
        return "a number, or an address as 192.0.2.1";
    }
    const primitive_doc *primitive = primitive_named(field.type_name);
    const bool is_number = field.kind == PTP_CFG_FIELD_UNSIGNED || field.kind == PTP_CFG_FIELD_SIGNED;
    return primitive == nullptr || is_number ? "" : primitive->form;
}

bool is_byte_list(const ptp_cfg_type *type) {
    const std::vector<ptp_cfg_field_description> &fields = fields_of(type);
    return fields.size() == 1 && fields[0].is_array != 0 && fields[0].kind == PTP_CFG_FIELD_UNSIGNED &&
           fields[0].element_size == 1;
}

std::string form_of_byte_list(const ptp_cfg_type *type) {
    const ptp_cfg_field_description &field = fields_of(type).front();
    const std::string count = std::to_string(field.capacity);
    const std::string example = field.capacity == 8 ? "AA-BB-CC-FF-FE-00-03-30" : "AA-BB-...";
    return count + " bytes as " + example + ", or an element <" + field.name + "> for each";
}

bool is_ipv4_number(const ptp_cfg_field_description &field) {
    return field.unit != nullptr && std::string_view(field.unit) == "IPv4 address";
}

std::string note_on_address(u_int32 address) {
    if (address == 0) {
        return "";
    }
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += (text.empty() ? "" : ".") + std::to_string(address >> shift & 0xFF);
    }
    return " (" + text + ")";
}

std::string explained_print(std::string_view text, const ptp_cfg_type *type) {
    std::string result;
    if (!has_ipv4_number(type)) {
        return result.append(text);
    }
    print_explainer explainer;
    while (!text.empty()) {
        const size_t length = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, length);
        result.append(line).append(explainer.note_on(line)) += '\n';
        text.remove_prefix(length + (length < text.size() && text[length] == '\n' ? 1 : 0));
    }
    return result;
}

}  // namespace ptpcfg
