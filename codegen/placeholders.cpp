// What placeholders stand for; among it the C expressions of what touches all values of a structure at once.
#include "placeholders.h"

#include "layout.h"
#include "naming.h"

namespace codegen {
namespace {

std::string pointer_list(const structure &type) {
    std::vector<std::string> names;
    for (const field *row : single_values(type, true)) {
        names.push_back(parameter_name(*row));
    }
    return names.empty() ? "nullptr" : join(names, ", ");
}

std::string value_list(const structure &type) {
    std::vector<std::string> values;
    for (const field *row : single_values(type, false)) {
        const bool is_signed = row->primitive != nullptr && row->primitive->what == primitive_class::signed_number;
        const std::string name = parameter_name(*row);
        values.push_back(is_signed ? "static_cast<u_int64>(static_cast<int64_t>(" + name + "))"
                                   : "static_cast<u_int64>(" + name + ")");
    }
    return values.empty() ? "0" : join(values, ", ");
}

std::string number(std::uint32_t value) { return std::to_string(value) + "u"; }

/** Where a field's value lies: in an enumeration behind its header. */
std::uint32_t value_offset(const field &row) {
    return row.offset + (row.category == field_category::enumeration ? enumeration_value_offset : 0);
}

std::string value_in(const std::string &instance, const field &row) {
    return "*(" + value_type(row) + " *)ptp_cfg_inline_at(" + instance + ", " + number(value_offset(row)) + ")";
}

/** Stores what get_all reads where its caller wants it. */
std::string load_list(const structure &type) {
    std::string text;
    for (const field *row : single_values(type, true)) {
        const std::string name = parameter_name(*row);
        text += "if (" + name + " != NULL) *" + name + " = " + value_in("instance", *row) + ";\n";
    }
    return text;
}

std::string store_list(const structure &type) {
    std::string text;
    for (const field *row : single_values(type, false)) {
        text += value_in("instance", *row) + " = " + parameter_name(*row) + ";\n";
    }
    return text;
}

/** When get_all is no more than loads; empty for a structure without such values. */
std::string load_condition(const structure &type) {
    return single_values(type, true).empty()
               ? ""
               : "ptp_cfg_inline_read(handle, instance, " + std::to_string(type.latest) + ", err)";
}

/** When set_all is no more than stores: each enumeration among the values must have the one that is set. */
std::string store_condition(const structure &type) {
    const std::vector<const field *> rows = single_values(type, false);
    if (rows.empty()) {
        return {};
    }
    std::string text = "ptp_cfg_inline_replace(handle, instance, " + std::to_string(type.latest) + ", err)";
    for (const field *row : rows) {
        if (row->enumeration != nullptr) {
            text += " && ptp_cfg_inline_admits(ptp_cfg_inline_at(instance, " + number(row->offset) + "), " +
                    std::to_string(row->enumeration->latest) + ", " + number(row->enumeration->thresholds.back()) +
                    ", " + parameter_name(*row) + ")";
        }
    }
    return text;
}

/** Tests that two instances of a few values and nothing else are the same; empty for other structures. */
std::string equality(const structure &type) {
    constexpr std::size_t few = 8;
    if (single_values(type, true).size() != type.fields.size() || type.fields.size() > few) {
        return {};
    }
    std::string text = "a != NULL && b != NULL";
    for (const field &row : type.fields) {
        text += " && " + value_in("a", row) + " == " + value_in("b", row);
    }
    return text;
}

}  // namespace

std::string documented(const field &row) {
    if (row.unit.empty()) {
        return row.doc;
    }
    return row.doc.ends_with('.') ? row.doc.substr(0, row.doc.size() - 1) + " (" + row.unit + ")."
                                  : row.doc + " (" + row.unit + ")";
}

std::string documented(const primitive &type) {
    return type.encoding.empty() ? type.doc : type.doc + "; on the wire " + type.encoding;
}

std::vector<const field *> single_values(const structure &type, bool with_companions) {
    std::vector<const field *> rows;
    for (const field &row : type.fields) {
        if (row.is_single_value() && (with_companions || !row.is_companion())) {
            rows.push_back(&row);
        }
    }
    return rows;
}

placeholders primitive_placeholders(const primitive &type) {
    return {{"type", type.name},
            {"type_doc", documented(type)},
            {"width", std::to_string(type.width)},
            {"value", type.value}};
}

placeholders enumeration_placeholders(const enumeration &type) {
    return {{"type", type.name},
            {"type_doc", type.doc},
            {"latest", std::to_string(type.latest)},
            {"size", std::to_string(enumeration_size)},
            {"tracked_size", std::to_string(enumeration_size)}};
}

placeholders structure_placeholders(const structure &type) {
    return {{"type", type.name},
            {"type_doc", type.doc},
            {"latest", std::to_string(type.latest)},
            {"size", std::to_string(type.size)},
            {"tracked_size", std::to_string(type.tracked_size())},
            {"get_all_pointers", pointer_list(type)},
            {"set_all_values", value_list(type)},
            {"get_all_when", load_condition(type)},
            {"get_all_loads", load_list(type)},
            {"set_all_when", store_condition(type)},
            {"set_all_stores", store_list(type)},
            {"equality", equality(type)}};
}

placeholders field_placeholders(const structure &type, std::size_t index) {
    const field &row = type.fields[index];
    placeholders values = structure_placeholders(type);
    values["field"] = row.name;
    values["index"] = std::to_string(index);
    values["field_doc"] = documented(row);
    values["unit"] = row.unit;
    values["value_type"] = value_type(row);
    values["storage_type"] = storage_type(row);
    values["kind"] = kind_name(row);
    values["capacity"] = std::to_string(row.capacity.value_or(1));
    values["companion"] = row.companion_name;
    values["since"] = std::to_string(row.since);
    values["offset"] = number(row.offset);
    values["stride"] = number(row.stride);
    if (row.enumeration != nullptr) {
        values["enumeration"] = row.enumeration->name;
        values["enumeration_latest"] = std::to_string(row.enumeration->latest);
        values["enumeration_end"] = number(row.enumeration->thresholds.back());
    }
    return values;
}

placeholders message_placeholders(const message &type) {
    return {{"type", type.type_name()},
            {"type_doc", type.doc},
            {"latest", "0"},
            {"size", std::to_string(type.size())},
            {"tracked_size", std::to_string(type.size())},
            {"message", type.name}};
}

placeholders payload_placeholders(const message &type, std::size_t index) {
    const payload &row = type.payloads[index];
    placeholders values = message_placeholders(type);
    values["payload"] = row.type_name;
    values["payload_type"] = row.type_name;
    values["payload_index"] = std::to_string(index);
    values["payload_kind"] = row.structure != nullptr ? "structure" : row.type_name;
    return values;
}

}  // namespace codegen
