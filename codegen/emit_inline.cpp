// Writes the headers whose accessors melt into a caller.
#include "emit.h"
#include "text.h"

namespace codegen {
namespace {

constexpr std::string_view head = R"(/**
 * Field access that melts into its caller.
 *
 * Include this header in place of ptp_cfg.h, and the accessors of fields and whole records become loads and stores,
 * with the tests that they make first; the source stays as it is. What needs more than that - an error to report, an
 * instance of an older variant, a pre_write hook, state tracking - is left to the library's function of the same name,
 * so that both do the same. Structures of a few values are also compared in this way, as long as they are equal.
 * C11 and C++, gcc and clang.
 *
 * A program that includes it knows where fields lie. That changes with the major version of libptp_cfg.so, its soname;
 * and it must be run with the libvela.so of this project. A source that needs less includes ptp_cfg/inline/<subject>.h in
 * place of ptp_cfg/<subject>.h.
 *
 * {note}
 */
#ifndef PTP_CFG_INLINE_H
#define PTP_CFG_INLINE_H

#include "ptp_cfg.h"

{includes}
#endif
)";

constexpr std::string_view subject_header = R"(/**
 * {title}: field access that melts into its caller, as ptp_cfg_inline.h says. In place of ptp_cfg/{subject}.h.
 *
 * {note}
 */
#ifndef {guard}
#define {guard}

#include "ptp_cfg/{subject}.h"
{needed}
/* C casts, also where a C++ program wants none of its own. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wcast-qual"
#ifdef __cplusplus
#pragma GCC diagnostic ignored "-Wold-style-cast"
#endif

#include "ptp_cfg/inline_access.h"

VELA_BEGIN_C

{forms}VELA_END_C

#pragma GCC diagnostic pop

#endif
)";

std::string called(const function &subject) { return subject.name + "_called"; }

/** The exported function under a second name, by which its inline form calls it. */
std::string declaration(const function &subject) {
    return "extern __typeof__(" + subject.name + ")\n    " + called(subject) + "\n    __asm__(\"" + subject.name +
           "\");\n";
}

/** "if (test) {", with a line for each part of a long test. */
std::string condition(const std::string &test) {
    std::string single = "    if (PTP_CFG_INLINE_LIKELY(" + test + ")) {\n";
    if (single.size() <= line_width + 1) {
        return single;
    }
    constexpr std::string_view conjunction = " && ";
    std::string text = "    if (PTP_CFG_INLINE_LIKELY(\n            ";
    std::size_t start = 0;
    for (std::size_t end; (end = test.find(conjunction, start)) != std::string::npos;
         start = end + conjunction.size()) {
        text += test.substr(start, end - start) + " &&\n            ";
    }
    return text + test.substr(start) + ")) {\n";
}

std::string inline_definition(const function &subject) {
    std::vector<std::string> names;
    for (const parameter &row : subject.parameters) {
        names.push_back(row.name);
    }
    const std::string call = subject.returns == "void" ? called(subject) : "return " + called(subject);
    return prototype(subject, "PTP_CFG_INLINE_FORM ", " {") + "\n" + condition(subject.inlined.when) +
           indented(subject.inlined.then, 8) + "    }\n" + indented(call + "(" + join(names, ", ") + ");", 4) + "}\n\n";
}

std::string inline_forms(const generation &input, const std::string &type_name) {
    std::string text;
    for (const function *row : functions_of(input, type_name)) {
        if (!row->inlined.when.empty()) {
            text += declaration(*row) + inline_definition(*row);
        }
    }
    return text;
}

std::string include(const std::string &subject) { return "#include \"ptp_cfg/inline/" + subject + ".h\"\n"; }

void emit_subject(const generation &input, const subject &file, output_set &files) {
    std::string forms;
    for_each_type(file, [&](const auto &type) { forms += inline_forms(input, type.type_name()); });
    std::string needed;
    for (const std::string &name : needed_subjects(file)) {
        needed += include(name);
    }
    files.add("include/ptp_cfg/inline/" + file.name + ".h",
              fill(subject_header, {{"title", file.title},
                                    {"subject", file.name},
                                    {"note", generated_note("schema/" + file.name + ".toml and codegen/templates")},
                                    {"guard", header_guard("inline_" + file.name)},
                                    {"needed", needed},
                                    {"forms", forms}}));
}

}  // namespace

void emit_inline(const generation &input, output_set &files) {
    std::string includes;
    for (const subject &file : input.schema.subjects) {
        includes += include(file.name);
        emit_subject(input, file, files);
    }
    files.add("include/ptp_cfg_inline.h",
              fill(head, {{"note", generated_note("schema/catalogue.toml")}, {"includes", includes}}));
}

}  // namespace codegen
