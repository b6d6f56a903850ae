// Writes the static objects of each type: type_info, variant rows, identities, error instances.
#include "emit.h"
#include "layout.h"
#include "naming.h"
#include "text.h"

namespace codegen {
namespace {

std::string byte_list(const std::string &digits) {
    std::vector<std::string> bytes;
    for (std::size_t index = 0; index + 1 < digits.size(); index += 2) {
        bytes.push_back("0x" + digits.substr(index, 2));
    }
    return join(bytes, ", ");
}

/** What every type has: variant rows, the record, and the instance that a failed chained create returns. */
struct type_data {
    std::string name;
    std::string luid;
    std::string kind;
    std::uint32_t size;
    std::vector<variant_row> rows;
};

std::string variant_table(const type_data &type) {
    std::string rows;
    for (std::size_t variant = 0; variant < type.rows.size(); ++variant) {
        rows += "    {" + std::to_string(variant) + ", " + std::to_string(type.rows[variant].used) + ", " +
                std::to_string(type.rows[variant].slop) + ", 0, 0, 0},\n";
    }
    return fill(
        "vela_variant_row {type}_variant_rows[] = {\n{rows}};\n"
        "vela_variant_table {type}_variant_table = {\n    {count},\n    {type}_variant_rows,\n};\n\n",
        {{"type", type.name}, {"rows", rows}, {"count", std::to_string(type.rows.size())}});
}

std::string type_info(const type_data &type, const std::string &module) {
    constexpr std::string_view text = R"(vela_type_info {type_info} = {
    VELA_TYPE_INFO_MAGIC,
    {{bytes}},
    "{luid}",
    "{type}",
    "{module}",
    "{kind}",
    -1,
    &{type}_variant_table,
    0,
};

)";
    return fill(text, {{"type_info", type_info_name(type.name)},
                       {"bytes", byte_list(type.luid)},
                       {"luid", type.luid},
                       {"type", type.name},
                       {"module", module},
                       {"kind", type.kind}});
}

std::string identity(const message &type) {
    constexpr std::string_view text = R"(const u_int8 message_{message}_luid[16] = {
    {bytes},
};
const char message_{message}_luid_text[33] = "{luid}";
const char message_{message}_name[64] = "message {message}";

)";
    return fill(text, {{"message", type.name}, {"bytes", byte_list(type.luid)}, {"luid", type.luid}});
}

std::vector<type_data> types_of(const subject &file) {
    std::vector<type_data> types;
    for (const enumeration &type : file.enumerations) {
        types.push_back({type.name, type.luid, "enum", enumeration_size,
                         std::vector<variant_row>(type.latest + 1, {enumeration_size, 0})});
    }
    for (const structure &type : file.structures) {
        types.push_back({type.name, type.luid, "type", type.size, type.rows});
    }
    for (const message &type : file.messages) {
        types.push_back({type.type_name(), type.luid, "message", type.size(), {{type.size(), 0}}});
    }
    return types;
}

void emit_subject(const generation &input, const subject &file, output_set &files) {
    std::string text = "// " + file.title + ": type-information records and what they point at.\n// " +
                       generated_note("schema/" + file.name + ".toml") + "\n";
    text += "#include \"ptp_cfg/" + file.name + ".h\"\n\n#include \"" + file.name + "_descriptors.h\"\n\n";
    const std::vector<type_data> types = types_of(file);
    text += "namespace {\n\n";
    for (const type_data &type : types) {
        text += variant_table(type);
    }
    text += "}  // namespace\n\n";
    for (const type_data &type : types) {
        text += type_info(type, input.schema.module);
    }
    for (const message &type : file.messages) {
        text += identity(type);
    }
    text += "namespace ptp_cfg {\n\n";
    for (const type_data &type : types) {
        text += "alignas(8) unsigned char " + type.name + "_error_instance[" + std::to_string(type.size) + "];\n";
    }
    files.add("private/" + file.name + "_data.cpp", text + "\n}  // namespace ptp_cfg\n");
}

}  // namespace

void emit_data(const generation &input, output_set &files) {
    for (const subject &file : input.schema.subjects) {
        emit_subject(input, file, files);
    }
}

}  // namespace codegen
