// Writes the primitives: their C types, their exported and inline functions, their traits.
#include <map>
#include <set>

#include "emit.h"
#include "placeholders.h"
#include "text.h"

namespace codegen {
namespace {

/** Of the operations that record libraries take in; the others need more of the runtime than its inline part has. */
constexpr std::string_view inline_family = "primitive";

constexpr std::string_view types_text = R"(/**
 * Primitive types that are structures.
 *
 * {note}
 */
#ifndef VELALIB_PRIMITIVE_TYPES_H
#define VELALIB_PRIMITIVE_TYPES_H

#include "velalib/types.h"

{types}#endif
)";

void emit_types(const generation &input, output_set &files) {
    std::string types;
    for (const primitive &type : input.schema.primitives) {
        if (type.members.empty()) {
            continue;
        }
        types += "/**\n" + wrapped(capitalized(documented(type)) + ".", " * ", " * ") + " */\ntypedef struct " +
                 type.name + " {\n";
        for (const primitive_member &member : type.members) {
            types += "    " + member.declaration + "; /**< " + member.doc + " */\n";
        }
        types += "} " + type.name + ";\n\n";
    }
    files.add("include/velalib/primitive_types.h",
              fill(types_text, {{"note", generated_note("schema/primitives.toml")}, {"types", types}}));
}

constexpr std::string_view public_start = R"(/**
 * Operations of the primitive types, one family for all of them.
 *
 * They follow the rules of runtime.h. Texts (var_string, char) have theirs in strings.h. Parameters of which a function's
 * comment says nothing:
{parameters} *
{note} */
#ifndef VELALIB_PRIMITIVES_H
#define VELALIB_PRIMITIVES_H

#include "velalib/runtime.h"
#include "velalib/strings.h"

VELA_BEGIN_C

)";

/** What the parameters of primitives mean, in whatever family. */
std::string family_parameters(const generation &input) {
    std::map<std::string, std::string> texts;
    for (const family &row : input.templates.families) {
        if (row.name.starts_with("primitive")) {
            texts.insert(row.parameter_docs.begin(), row.parameter_docs.end());
        }
    }
    return parameter_table(texts);
}

void emit_public(const generation &input, output_set &files) {
    std::string text = fill(public_start, {{"note", wrapped(generated_note("schema/primitives.toml"), " * ", " * ")},
                                           {"parameters", family_parameters(input)}});
    for (const primitive &type : input.schema.primitives) {
        const std::string start = "/* ---- " + type.name + ": " + documented(type) + " ";
        text += start + std::string(line_width - 3 - std::min(start.size(), line_width - 3), '-') + " */\n\n";
        for (const function *row : functions_of(input, type.name)) {
            text += documentation(*row) + prototype(*row, "VELA_API ", ";") + "\n\n";
        }
    }
    files.add("include/velalib/primitives.h", text + "VELA_END_C\n\n#endif\n");
}

constexpr std::string_view inline_text =
    R"(// The operations of the primitives as inline C++, each of the name of the exported function.
// {note}
#pragma once

{includes}#include "values/operations.h"

/** For what is written once and repeated for each primitive: APPLY(type, kind of value, bytes on the wire, documentation). */
#define VELA_EACH_PRIMITIVE(APPLY){rows}

namespace vela_inline {

{functions}}  // namespace vela_inline
)";

/** The same functions twice: those that melt into a record library, and the exported ones. */
void emit_definitions(const generation &input, output_set &files) {
    const std::string note = generated_note("schema/primitives.toml and codegen/templates");
    std::set<std::string> headers;
    std::string rows;
    std::string inlined;
    std::string exported =
        "// The exported operations of the primitive types, each one call of what all kinds of values share.\n// " +
        note + "\n#include \"values/text.h\"\n#include \"velalib.h\"\n#include \"velalib_inline.h\"\n\n";
    for (const primitive &type : input.schema.primitives) {
        headers.insert("#include \"values/" + type.value.substr(0, type.value.find('<')) + ".h\"\n");
        rows += " \\\n    APPLY(" + type.name + ", values::" + type.value + ", " + std::to_string(type.width) + ", " +
                c_string(capitalized(type.doc)) + ")";
        for (const function *row : functions_of(input, type.name)) {
            inlined += row->family == inline_family ? definition(*row, "VELA_INLINE ") : "";
            exported += guarded(input, *row, definition(*row, "extern \"C\" "));
        }
    }
    const std::string includes = join({headers.begin(), headers.end()}, "");
    files.add("private/velalib_inline_primitives.h",
              fill(inline_text, {{"note", note}, {"includes", includes}, {"rows", rows}, {"functions", inlined}}));
    files.add("private/velalib_primitives.cpp", std::move(exported));
}

constexpr std::string_view traits_start =
    R"(// The primitives as the algorithms of operations/ see them: a kind per primitive and its operations under common names.
// {note}
#pragma once

#include "operations/core/primitive.h"

namespace ptp_cfg {

/** What a field holds. */
enum class field_kind : u_int8 {
{kinds}    var_string,
    enumeration,
    structure
};

inline constexpr primitive_properties primitive_rows[] = {
{rows}};

/** Operations and properties of a primitive. */
template <field_kind kind>
struct primitive_traits;

)";

constexpr std::string_view traits_body = R"(template <>
struct primitive_traits<field_kind::{type}> {
    using type = ::{type};
    static constexpr field_kind kind = field_kind::{type};
    static constexpr u_int32 width = {width};
    static constexpr bool is_value = {is_value};

{calls}#ifndef PTP_CFG_EXPORTED_RUNTIME
    /** Unchecked: the caller has made sure of `width` bytes. */
    PTP_CFG_TRAIT void store(u_int8 *buffer, const type *value) { values::{value}::store(buffer, value); }
    PTP_CFG_TRAIT void load(const u_int8 *buffer, type *value) { values::{value}::load(buffer, value); }
#endif
};
static_assert(sizeof({type}) == {size} && alignof({type}) == {alignment});

)";

constexpr std::string_view traits_end = R"(/** Calls `f` with the traits of the primitive that `kind` is. */
template <class F>
constexpr auto visit_primitive(field_kind kind, F &&f) {
    switch (kind) {
{visits}        default:
            __builtin_unreachable();
    }
}

}  // namespace ptp_cfg
)";

/** A primitive's operations by the names that all primitives share. */
std::string trait_calls(const generation &input, const primitive &type) {
    std::string text;
    for (const function *row : functions_of(input, type.name)) {
        std::vector<std::string> names;
        std::vector<std::string> declarations;
        for (const parameter &each : row->parameters) {
            names.push_back(each.name);
            declarations.push_back(each.declaration);
        }
        const std::string call = row->family == inline_family ? "VELA_CALL(" + row->name + ")" : "::" + row->name;
        const std::string name = row->name.substr(type.name.size() + 1);
        text += wrapped_call("    PTP_CFG_TRAIT " + row->returns + (row->returns.ends_with('*') ? "" : " ") + name,
                             declarations, " {") +
                "\n" + wrapped_statement("return " + call + "(" + join(names, ", ") + ");", std::string(8, ' ')) +
                "\n    }\n";
    }
    return text;
}

void emit_traits(const generation &input, output_set &files) {
    std::string kinds;
    std::string rows;
    std::string bodies;
    std::string visits;
    for (const primitive &type : input.schema.primitives) {
        placeholders values = primitive_placeholders(type);
        values["is_value"] = type.travels_by_value() ? "true" : "false";
        values["size"] = std::to_string(type.size);
        values["alignment"] = std::to_string(type.alignment);
        values["class"] = class_names[static_cast<std::size_t>(type.what)];
        values["calls"] = trait_calls(input, type);
        kinds += "    " + type.name + ",\n";
        rows += fill("    {\"{type}\", {size}, {width}, primitive_class::{class}},\n", values);
        bodies += fill(traits_body, values);
        visits +=
            fill("        case field_kind::{type}:\n            return f(primitive_traits<field_kind::{type}>{});\n",
                 values);
    }
    const placeholders values = {{"note", generated_note("schema/primitives.toml and codegen/templates")},
                                 {"kinds", kinds},
                                 {"rows", rows},
                                 {"visits", visits}};
    files.add("private/primitive_traits.h", fill(traits_start, values) + bodies + fill(traits_end, values));
}

}  // namespace

void emit_primitives(const generation &input, output_set &files) {
    emit_types(input, files);
    emit_public(input, files);
    emit_definitions(input, files);
    emit_traits(input, files);
}

}  // namespace codegen
