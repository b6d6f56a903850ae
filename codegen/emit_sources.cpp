// Writes the exported functions, one line each.
#include <algorithm>

#include "emit.h"
#include "text.h"

namespace codegen {
namespace {

/** A parameter that the body does not use is left without its name. */
std::string definition_parameter(const parameter &row, const std::string &body) {
    if (mentions(body, row.name)) {
        return row.declaration;
    }
    std::string declaration = row.declaration;
    declaration.erase(declaration.rfind(row.name), row.name.size());
    while (declaration.ends_with(' ')) {
        declaration.pop_back();
    }
    return declaration;
}

}  // namespace

std::string definition(const function &subject, const std::string &prefix) {
    std::vector<std::string> declarations;
    for (const parameter &row : subject.parameters) {
        declarations.push_back(definition_parameter(row, subject.body));
    }
    const bool ends_in_star = subject.returns.ends_with('*');
    const std::string start = prefix + subject.returns + (ends_in_star ? "" : " ") + subject.name;
    std::string text = wrapped_call(start, declarations, " {");
    if (declarations.empty()) {
        text = start + "() {";
    }
    return text + "\n" + indented(subject.body, 4) + "}\n\n";
}

std::string guarded(const generation &input, const function &subject, const std::string &text) {
    const auto row = std::find_if(input.templates.families.begin(), input.templates.families.end(),
                                  [&](const family &each) { return each.name == subject.family; });
    const bool is_optional = row != input.templates.families.end() && !row->without.empty();
    return is_optional ? "#ifndef " + row->without + "\n" + text + "#endif\n\n" : text;
}

namespace {

std::string definitions(const generation &input, const std::string &type_name) {
    std::string text;
    for (const function *row : functions_of(input, type_name)) {
        if (!row->body.empty()) {
            text += guarded(input, *row, definition(*row));
        }
    }
    return text;
}

}  // namespace

void emit_sources(const generation &input, output_set &files) {
    std::string headers = "#include \"operations/operations.h\"\n";
    for (const family &row : input.templates.families) {
        headers += row.header.empty() ? "" : "#include \"" + row.header + "\"\n";
    }
    for (const subject &file : input.schema.subjects) {
        std::string text = "// " + file.title + ": the exported functions, each one call into operations/.\n// " +
                           generated_note("schema/" + file.name + ".toml and codegen/templates") + "\n";
        text += "#include \"ptp_cfg/" + file.name + ".h\"\n\n#include \"" + file.name + "_descriptors.h\"\n" + headers +
                "#include \"operations/core/unrolled_definition.h\"\n\nusing namespace ptp_cfg;\n\n";
        for_each_type(file, [&](const auto &type) {
            if constexpr (std::is_same_v<decltype(type), const structure &>) {
                text += "PTP_CFG_UNROLLED(, ptp_cfg::" + type.name + "_descriptor)\n\n";
            }
            text += definitions(input, type.type_name());
        });
        files.add("private/" + file.name + ".cpp", std::move(text));
    }
}

}  // namespace codegen
