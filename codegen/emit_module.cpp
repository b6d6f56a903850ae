// Writes what is about all types at once: their table, the exported names, the list of functions.
#include <algorithm>

#include "emit.h"
#include "naming.h"
#include "text.h"

namespace codegen {
namespace {

void emit_type_table(const generation &input, output_set &files) {
    std::string type_infos;
    std::string reflected;
    std::size_t count = 0;
    const auto add = [&](const std::string &name, const std::string &kind, const std::string &operations) {
        type_infos += "    &" + type_info_name(name) + ",\n";
        reflected += "    {" + kind + ", &" + name + "_descriptor,\n     &" + operations + "},\n";
        ++count;
    };
    for (const structure *type : input.schema.structures) {
        add(type->name, "PTP_CFG_STRUCTURE", "structure_operations<" + type->name + "_descriptor>");
    }
    for (const enumeration *type : input.schema.enumerations) {
        add(type->name, "PTP_CFG_ENUMERATION", "enumeration_operations<" + type->name + "_descriptor>");
    }
    for (const message *type : input.schema.messages) {
        const std::string name = type->type_name();
        add(name, "PTP_CFG_MESSAGE",
            "message_operations<" + name + "_descriptor, ::" + name + ", ::" + handler_name(*type) + ">");
    }
    std::string includes;
    for (const subject &file : input.schema.subjects) {
        includes += "#include \"" + file.name + "_descriptors.h\"\n";
    }
    constexpr std::string_view text = R"(// The types of the library: structures, then enumerations, then messages.
// {note}
#include "module/reflection.h"
#include "ptp_cfg.h"

{includes}
namespace ptp_cfg {

extern vela_type_info *const type_table[];
extern const reflected_type reflected_types[];
extern const u_int32 reflected_type_count;

vela_type_info *const type_table[] = {
{type_infos}    nullptr,
};

const reflected_type reflected_types[] = {
{reflected}};

const u_int32 reflected_type_count = {count};

}  // namespace ptp_cfg
)";
    files.add("private/type_table.cpp", fill(text, {{"note", generated_note("the schema")},
                                                    {"includes", includes},
                                                    {"type_infos", type_infos},
                                                    {"reflected", reflected},
                                                    {"count", std::to_string(count)}}));
}

/** Everything that the library exports. */
std::vector<std::string> exported_names(const generation &input) {
    std::vector<std::string> names = input.templates.module_objects;
    for (const auto &[name, family] : input.functions.families) {
        names.push_back(name);
    }
    for_each_type(input.schema, [&](const auto &type) { names.push_back(type_info_name(type.type_name())); });
    for (const message *type : input.schema.messages) {
        for (const char *part : {"_luid", "_luid_text", "_name"}) {
            names.push_back("message_" + type->name + part);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

void emit_version_script(const generation &input, output_set &files) {
    std::string text = "# " + generated_note("the schema and codegen/templates") + "\nPTP_CFG_1 {\n  global:\n";
    for (const std::string &name : exported_names(input)) {
        text += "    " + name + ";\n";
    }
    files.add("ptp_cfg.map", text + "  local:\n    *;\n};\n");
}

void emit_function_list(const generation &input, output_set &files) {
    std::string text;
    for (const auto &[name, family] : input.functions.families) {
        text += name + "\t" + family + "\n";
    }
    files.add("functions.txt", std::move(text));
}

}  // namespace

void emit_module(const generation &input, output_set &files) {
    emit_type_table(input, files);
    emit_version_script(input, files);
    emit_function_list(input, files);
}

}  // namespace codegen
