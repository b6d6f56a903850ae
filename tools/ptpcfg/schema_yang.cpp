// YANG 1.1 (RFC 7950), for JSON as RFC 7951 has it.
#include "schemas.h"
#include "value_forms.h"

namespace ptpcfg {
namespace {

/** What is within quotes of YANG. */
std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        result += (c == '"' || c == '\\' ? "\\" : "") + std::string(1, c);
    }
    return result + "\"";
}

/** Statements, indented by the blocks around them. */
class yang_text {
  public:
    void statement(const std::string &text) { result_.append(depth_ * 2, ' ').append(text) += ";\n"; }
    void open(const std::string &text) {
        result_.append(depth_ * 2, ' ').append(text) += " {\n";
        ++depth_;
    }
    void close() {
        --depth_;
        result_.append(depth_ * 2, ' ') += "}\n";
    }
    void description(const char *doc) {
        if (doc != nullptr && doc[0] != '\0') {
            statement("description " + quoted(doc));
        }
    }
    /** A string type of a pattern; patterns are anchored by themselves. */
    void pattern(const std::string &pattern) {
        open("type string");
        statement("pattern '" + pattern + "'");
        close();
    }
    const std::string &text() const { return result_; }

  private:
    std::string result_;
    size_t depth_ = 0;
};

constexpr const char *ipv4_type = "ipv4-number";  // no name of the library has a hyphen

void add_primitive(yang_text &out, const ptp_cfg_field_description &field) {
    const std::string bits = std::to_string(field.element_size * 8);
    switch (field.kind) {
        case PTP_CFG_FIELD_UNSIGNED:
            out.statement(is_ipv4_number(field) ? std::string("type ") + ipv4_type : "type uint" + bits);
            return;
        case PTP_CFG_FIELD_SIGNED:
            out.statement("type int" + bits);
            return;
        case PTP_CFG_FIELD_BOOLEAN:
            out.statement("type boolean");
            return;
        case PTP_CFG_FIELD_TEXT:
            out.open("type string");
            out.statement("length \"0..255\"");
            out.close();
            return;
        default:
            break;
    }
    const primitive_doc *known = primitive_named(field.type_name);
    if (known != nullptr && known->pattern != nullptr) {
        out.pattern(known->pattern);
    } else {
        out.statement("type string");
    }
}

void add_enumeration(yang_text &out, const ptp_cfg_type *type) {
    out.open(std::string("typedef ") + describe(type).name);
    out.open("type union");
    out.open("type enumeration");
    for (const enumeration_literal &literal : literals_of(type)) {
        out.open("enum " + literal.literal);
        out.statement("value " + std::to_string(literal.number));
        out.description(literal.doc.c_str());
        out.close();
    }
    out.close();
    out.statement("type uint32");  // values without a literal
    out.close();
    out.description(describe(type).doc);
    out.close();
}

/** What describes a field, whatever it holds. */
void add_notes(yang_text &out, const ptp_cfg_field_description &field) {
    if (field.is_array != 0) {
        out.statement("max-elements " + std::to_string(field.capacity));
    }
    out.description(field.doc);
}

void add_field(yang_text &out, const ptp_cfg_field_description &field) {
    const bool is_array = field.is_array != 0;
    if (field.kind == PTP_CFG_FIELD_STRUCTURE && !is_byte_list(field.type)) {
        out.open(std::string(is_array ? "list " : "container ") + field.name);
        add_notes(out, field);
        out.statement(std::string("uses ") + field.type_name);
        out.close();
        return;
    }
    out.open(std::string(is_array ? "leaf-list " : "leaf ") + field.name);
    if (field.type != nullptr) {
        out.statement(std::string("type ") + field.type_name);
    } else {
        add_primitive(out, field);
    }
    if (field.unit != nullptr) {
        out.statement("units " + quoted(field.unit));
    }
    add_notes(out, field);
    out.close();
}

void add_structure(yang_text &out, const ptp_cfg_type *type) {
    const bool is_list_of_bytes = is_byte_list(type);
    out.open(std::string(is_list_of_bytes ? "typedef " : "grouping ") + describe(type).name);
    out.description(describe(type).doc);
    if (is_list_of_bytes) {
        const u_int32 more = fields_of(type).front().capacity - 1;
        out.pattern("[0-9A-Fa-f]{2}(-[0-9A-Fa-f]{2}){" + std::to_string(more) + "}");
    }
    for (const ptp_cfg_field_description &field : fields_of(type)) {
        if (!is_list_of_bytes && field.is_read_only == 0) {
            add_field(out, field);
        }
    }
    out.close();
}

void add_message(yang_text &out, const ptp_cfg_type *type) {
    out.open(std::string("notification ") + describe(type).short_name);
    out.description(describe(type).doc);
    for (const ptp_cfg_field_description &payload : fields_of(type)) {
        add_field(out, payload);
    }
    out.close();
}

void add_type(yang_text &out, const ptp_cfg_type *type) {
    switch (describe(type).kind) {
        case PTP_CFG_ENUMERATION:
            return add_enumeration(out, type);
        case PTP_CFG_STRUCTURE:
            return add_structure(out, type);
        default:
            return add_message(out, type);
    }
}

}  // namespace

std::string yang_module() {
    yang_text out;
    out.open("module ptp_cfg");
    out.statement("yang-version 1.1");
    out.statement("namespace \"urn:ptp_cfg\"");
    out.statement("prefix ptp_cfg");
    out.description(
        "Messages between a PTP daemon and its control plane. Each is a notification, for its lists go by position and "
        "may hold equal entries.");
    out.open(std::string("typedef ") + ipv4_type);
    out.open("type union");
    out.pattern("([0-9]{1,3}\\.){3}[0-9]{1,3}");
    out.statement("type uint32");
    out.close();
    out.description("An IPv4 address, or the number that it is.");
    out.close();
    for (u_int32 index = 0; index < ptp_cfg_type_count(); ++index) {
        add_type(out, ptp_cfg_type_at(index));
    }
    out.close();
    return out.text();
}

}  // namespace ptpcfg
