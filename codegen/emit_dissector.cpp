// Writes the tables by which a packet analyser's dissector walks the bytes of messages: Lua, data only.
#include "emit.h"
#include "text.h"

namespace codegen {
namespace {

/** A text as a literal of Lua, which is that of C for what the schema holds. */
std::string literal(std::string_view text) { return c_string(text); }

/** How the bytes of a field or payload are shown; of a primitive without a form of its own the kind of value. */
std::string form_of(const primitive &type) {
    switch (type.what) {
        case primitive_class::unsigned_number:
            return "unsigned";
        case primitive_class::signed_number:
            return "signed";
        default:
            return type.value;
    }
}

std::string primitive_members(const primitive &type) {
    return "form = " + literal(form_of(type)) + ", width = " + std::to_string(type.width);
}

std::string form_members(const field &row) {
    switch (row.category) {
        case field_category::enumeration:
            return "form = \"enumeration\", type = " + literal(row.type_name);
        case field_category::structure:
            return "form = \"structure\", type = " + literal(row.type_name);
        case field_category::text:
            return "form = \"text\"";
        case field_category::primitive:
            break;
    }
    return row.unit == "IPv4 address" ? "form = \"ipv4\", width = 4" : primitive_members(*row.primitive);
}

std::string field_row(const field &row) {
    std::string text = "      { name = " + literal(row.name) + ", " + form_members(row);
    text += ", since = " + std::to_string(row.since);
    text += row.is_array() ? ", capacity = " + std::to_string(*row.capacity) : "";
    text += row.is_companion() ? ", is_length = true" : "";
    text += row.unit.empty() ? "" : ", unit = " + literal(row.unit);
    return text + ",\n        doc = " + literal(row.doc) + " },\n";
}

std::string type_head(const named_type &type) {
    return "  { name = " + literal(type.name) + ", doc = " + literal(type.doc);
}

std::string enumeration_row(const enumeration &type) {
    std::string text = type_head(type) + ", latest = " + std::to_string(type.latest) + ", values = {\n";
    for (const enumeration_value &value : type.values) {
        text += "      [" + std::to_string(value.number) + "] = " + literal(value.literal) + ",\n";
    }
    return text + "  } },\n";
}

std::string structure_row(const structure &type) {
    std::string text = type_head(type) + ", latest = " + std::to_string(type.latest) + ", fields = {\n";
    for (const field &row : type.fields) {
        text += field_row(row);
    }
    return text + "  } },\n";
}

std::string message_row(const message &type) {
    std::string text = type_head(type) + ", identity = " + literal(type.luid) + ", payloads = {\n";
    for (const payload &row : type.payloads) {
        const std::string form = row.structure != nullptr ? "form = \"structure\", type = " + literal(row.type_name)
                                                          : primitive_members(*row.primitive);
        text += "      { name = " + literal(row.type_name) + ", " + form + ", since = 0 },\n";
    }
    return text + "  } },\n";
}

/** A list of the rows that `row_of` makes of types. */
template <typename types, typename row_maker>
std::string list(const std::string &name, const types &all, row_maker row_of) {
    std::string text = "types." + name + " = {\n";
    for (const auto *type : all) {
        text += row_of(*type);
    }
    return text + "}\n\n";
}

}  // namespace

void emit_dissector(const generation &input, output_set &files) {
    files.add("dissector/types.lua",
              "-- Every type and message: what its bytes hold, in the order in which they stand.\n-- " +
                  generated_note("the schema") + "\nlocal types = {}\n\n" +
                  list("enumerations", input.schema.enumerations, enumeration_row) +
                  list("structures", input.schema.structures, structure_row) +
                  list("messages", input.schema.messages, message_row) + "return types\n");
}

}  // namespace codegen
