// Writes the constant tables that the algorithms walk.
#include "emit.h"
#include "naming.h"
#include "placeholders.h"
#include "text.h"

namespace codegen {
namespace {

std::string truth(bool value) { return value ? "true" : "false"; }

std::string numbers(const std::vector<std::uint32_t> &values) {
    std::vector<std::string> parts;
    for (const std::uint32_t value : values) {
        parts.push_back(std::to_string(value));
    }
    return join(parts, ", ");
}

std::string declarations(const std::string &type_name, std::uint32_t size) {
    return "extern __attribute__((visibility(\"hidden\"))) unsigned char " + type_name + "_error_instance[" +
           std::to_string(size) + "];\n";
}

std::string trace_points(const std::string &type_name, std::uint32_t trace) {
    return "{" + c_string(type_name) + ", " + std::to_string(trace * trace_numbers_per_type) + ", " +
           std::to_string(trace_numbers_per_type) + "}";
}

std::string enumeration_descriptor(const enumeration &type) {
    std::string rows;
    for (const enumeration_value &value : type.values) {
        rows += "    {" + std::to_string(value.number) + ", " + c_string(value.literal) + ", " + c_string(value.doc) +
                "},\n";
    }
    constexpr std::string_view text = R"(inline constexpr enumeration_value {type}_values[] = {
{rows}};
inline constexpr u_int32 {type}_thresholds[] = {{thresholds}};
inline constexpr enumeration_descriptor {type}_descriptor = {
    .name = "{type}",
    .doc = {doc},
    .type_info = &{type_info},
    .error_instance = {type}_error_instance,
    .values = {type}_values,
    .value_count = {count},
    .thresholds = {type}_thresholds,
    .latest = {latest},
    .trace = {trace},
};

)";
    placeholders values = enumeration_placeholders(type);
    values["rows"] = rows;
    values["thresholds"] = numbers(type.thresholds);
    values["doc"] = c_string(type.doc);
    values["type_info"] = type_info_name(type.name);
    values["count"] = std::to_string(type.values.size());
    values["trace"] = trace_points(type.name, type.trace);
    return declarations(type.name, 16) + fill(text, values);
}

std::string field_row(const field &row) {
    constexpr std::string_view text = R"(    {.name = {name}, .doc = {doc}, .unit = {unit},
     .offset = {offset}, .flag_position = {flag}, .capacity = {capacity}, .stride = {stride},
     .kind = field_kind::{kind}, .since = {since}, .is_array = {array}, .is_companion = {companion},
     .companion_offset = {companion_offset}, .enumeration = {enumeration}, .structure = {structure}},
)";
    return fill(text, {{"name", c_string(row.name)},
                       {"doc", c_string(row.doc)},
                       {"unit", row.unit.empty() ? "nullptr" : c_string(row.unit)},
                       {"offset", std::to_string(row.offset)},
                       {"flag", row.is_companion() ? "no_flag" : std::to_string(row.flag_position)},
                       {"capacity", std::to_string(row.capacity.value_or(1))},
                       {"stride", std::to_string(row.stride)},
                       {"kind", kind_name(row)},
                       {"since", std::to_string(row.since)},
                       {"array", truth(row.is_array())},
                       {"companion", truth(row.is_companion())},
                       {"companion_offset", std::to_string(row.companion_offset)},
                       {"enumeration", row.enumeration ? "&" + row.enumeration->name + "_descriptor" : "nullptr"},
                       {"structure", row.structure ? "&" + row.structure->name + "_descriptor" : "nullptr"}});
}

std::string structure_descriptor(const structure &type) {
    std::string rows;
    for (const field &row : type.fields) {
        rows += field_row(row);
    }
    constexpr std::string_view text = R"(inline constexpr field_descriptor {type}_fields[] = {
{rows}};
inline constexpr u_int32 {type}_validity[] = {{validity}};
inline constexpr structure_descriptor {type}_descriptor = {
    .name = "{type}",
    .doc = {doc},
    .type_info = &{type_info},
    .error_instance = {type}_error_instance,
    .fields = {type}_fields,
    .field_count = {count},
    .size = {size},
    .block_length = {block},
    .latest = {latest},
    .validity = {type}_validity,
    .trace = {trace},
};
PTP_CFG_UNROLLED(extern, {type}_descriptor)

)";
    placeholders values = structure_placeholders(type);
    values["rows"] = rows;
    values["validity"] = numbers(type.validity);
    values["doc"] = c_string(type.doc);
    values["type_info"] = type_info_name(type.name);
    values["count"] = std::to_string(type.fields.size());
    values["block"] = std::to_string(type.block_length);
    values["trace"] = trace_points(type.name, type.trace);
    return declarations(type.name, type.size) + fill(text, values);
}

std::string message_descriptor(const message &type) {
    std::string rows;
    for (const payload &row : type.payloads) {
        rows += "    {" + c_string(row.type_name) + ", " +
                (row.structure != nullptr ? "&" + row.type_name + "_descriptor, field_kind::structure"
                                          : "nullptr, field_kind::" + row.type_name) +
                "},\n";
    }
    constexpr std::string_view text = R"(inline constexpr payload_descriptor {type}_payloads[] = {
{rows}};
inline constexpr message_descriptor {type}_descriptor = {
    .name = "{message}",
    .type_name = "{type}",
    .display_name = "message {message}",
    .doc = {doc},
    .luid = message_{message}_luid,
    .role = {role},
    .type_info = &{type_info},
    .error_instance = {type}_error_instance,
    .payloads = {type}_payloads,
    .payload_count = {count},
    .size = {size},
    .trace = {trace},
};

)";
    placeholders values = message_placeholders(type);
    values["rows"] = rows;
    values["doc"] = c_string(type.doc);
    values["type_info"] = type_info_name(type.type_name());
    values["count"] = std::to_string(type.payloads.size());
    values["role"] = "VELA_MESSAGE_" + upper(type.role);
    values["trace"] = trace_points(type.type_name(), type.trace);
    return declarations(type.type_name(), type.size()) + fill(text, values);
}

void emit_subject(const generation &input, const subject &file, output_set &files) {
    std::string text = "// " + file.title + ": the tables that the algorithms of operations/ walk.\n// " +
                       generated_note("schema/" + file.name + ".toml") + "\n#pragma once\n\n";
    text += "#include \"operations/core/descriptors.h\"\n#include \"ptp_cfg/" + file.name + ".h\"\n";
    const auto uses = subject_uses(input.schema);
    for (const std::string &name : uses.at(file.name)) {
        text += "#include \"" + name + "_descriptors.h\"\n";
    }
    text += "\nnamespace ptp_cfg {\n\n";
    for (const enumeration &type : file.enumerations) {
        text += enumeration_descriptor(type);
    }
    for (const structure *type : input.schema.structures_by_use) {
        if (type->subject == file.name) {
            text += structure_descriptor(*type);
        }
    }
    for (const message &type : file.messages) {
        text += message_descriptor(type);
    }
    files.add("private/" + file.name + "_descriptors.h", text + "}  // namespace ptp_cfg\n");
}

}  // namespace

void emit_descriptors(const generation &input, output_set &files) {
    for (const subject &file : input.schema.subjects) {
        emit_subject(input, file, files);
    }
}

}  // namespace codegen
