// Writes the C++ headers: an umbrella, and one per subject with the classes of its types.
#include "emit_cpp.h"

#include "naming_cpp.h"
#include "text.h"

namespace codegen {
namespace {

constexpr std::string_view umbrella =
    R"(// The PTP configuration data model in C++17 and later: classes of all types, and receiving.
// A source that needs less includes ptp_cfg/cpp/<subject>.hpp. What needs more of the standard library is included beside it:
//     ptp_cfg/cpp/formats.hpp   JSON, XML, text and bytes, streams, literals of enumerations
//     ptp_cfg/cpp/throwing.hpp  the calls of all of them that throw instead of answering a result
// {note}
#ifndef PTP_CFG_HPP
#define PTP_CFG_HPP

{includes}
#endif
)";

constexpr std::string_view subject_header = R"(// {title}, in C++.
// {note}
#ifndef {guard}
#define {guard}

#include "ptp_cfg/cpp/functions.hpp"
{needed}
{text}
#endif
)";

std::string include(const std::string &subject) { return "#include \"ptp_cfg/cpp/" + subject + ".hpp\"\n"; }

std::string enumeration_text(const enumeration &type) {
    std::string text = comment(type.doc) + "enum class " + cpp_name(type.name) + " : u_int32 {\n";
    for (const enumeration_value &value : type.values) {
        text +=
            cpp_comment(value.doc) + "    " + cpp_name(value.literal) + " = " + std::to_string(value.number) + ",\n";
    }
    return text + "};\n" +
           fill("constexpr const char *type_name({name}) noexcept { return \"{type}\"; }\n\n",
                {{"name", cpp_name(type.name)}, {"type", type.name}});
}

/** Those whose structures or enumerations the subject's types hold. */
std::set<std::string> needed(const generation &input, const subject &file) {
    std::set<std::string> names = subject_uses(input.schema).at(file.name);
    const std::set<std::string> enumerations = needed_subjects(file);
    names.insert(enumerations.begin(), enumerations.end());
    return names;
}

void emit_subject(const generation &input, const subject &file, output_set &files) {
    std::string text;
    if (!file.enumerations.empty()) {
        text += "namespace ptp {\n\n";
        for (const enumeration &type : file.enumerations) {
            text += enumeration_text(type);
        }
        text += "}  // namespace ptp\n\n";
    }
    for (const structure *type : input.schema.structures_by_use) {
        text += type->subject == file.name ? cpp_structure(*type) : "";
    }
    for (const message &type : file.messages) {
        text += cpp_message(type);
    }
    std::string includes;
    for (const std::string &name : needed(input, file)) {
        includes += include(name);
    }
    files.add("include/ptp_cfg/cpp/" + file.name + ".hpp",
              fill(subject_header, {{"title", file.title},
                                    {"note", generated_note("schema/" + file.name + ".toml")},
                                    {"guard", "PTP_CFG_CPP_" + upper(file.name) + "_HPP"},
                                    {"needed", includes},
                                    {"text", text}}));
}

}  // namespace

std::string cpp_comment(const std::string &text) {
    const std::string single = "    /** " + text + " */\n";
    return single.size() <= line_width + 1 ? single : "    /**\n" + wrapped(text, "     * ", "     * ") + "     */\n";
}

void emit_cpp(const generation &input, output_set &files) {
    std::string includes = include("receive");
    for (const subject &file : input.schema.subjects) {
        includes += include(file.name);
        emit_subject(input, file, files);
    }
    files.add("include/ptp_cfg.hpp",
              fill(umbrella, {{"note", generated_note("schema/catalogue.toml")}, {"includes", includes}}));
}

}  // namespace codegen
