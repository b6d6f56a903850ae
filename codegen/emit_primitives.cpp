#include "emit.h"
#include "naming.h"
#include "text.h"

namespace codegen {
namespace {

void emit_public(const generation &input, output_set &files) {
    std::string text =
        "/**\n * Operations of the primitive types, one family for all of them.\n *\n"
        " * They follow the rules of runtime.h. Texts (var_string, char) have theirs in strings.h.\n *\n" +
        wrapped(generated_note("schema/primitives.toml"), " * ", " * ") +
        " */\n#ifndef VELALIB_PRIMITIVES_H\n#define VELALIB_PRIMITIVES_H\n\n"
        "#include \"velalib/runtime.h\"\n#include \"velalib/strings.h\"\n\nVELA_BEGIN_C\n\n";
    for (const primitive &type : input.schema.primitives) {
        const std::string start = "/* ---- " + type.name + ": " + type.doc + " ";
        text += start + std::string(line_width - 3 - std::min(start.size(), line_width - 3), '-') + " */\n\n";
        if (const auto groups = input.functions.by_type.find(type.name); groups != input.functions.by_type.end()) {
            for (const function &row : groups->second.front().functions) {
                text += documentation(row) + prototype(row, "VELA_API ", ";") + "\n\n";
            }
        }
    }
    files.add("include/velalib/primitives.h", text + "VELA_END_C\n\n#endif\n");
}

void emit_definitions(const generation &input, output_set &files) {
    std::string text = "// The exported operations of the primitive types, each one line over its inline form.\n// " +
                       generated_note("schema/primitives.toml and codegen/templates/primitives.toml") +
                       "\n#include \"velalib.h\"\n\n#include \"velalib_inline.h\"\n\n";
    for (const primitive &type : input.schema.primitives) {
        if (const auto groups = input.functions.by_type.find(type.name); groups != input.functions.by_type.end()) {
            for (const function &row : groups->second.front().functions) {
                if (!row.body.empty()) {
                    text += definition(row);
                }
            }
        }
    }
    files.add("private/velalib_primitives.cpp", std::move(text));
}

constexpr std::string_view traits_start =
    R"(// The primitives as the algorithms of operations/ see them: a kind per primitive and its operations under common names.
// {note}
#pragma once

#include "velalib.h"

// The runtime's inline forms are used unless another runtime, which only exports its functions, is to be linked.
#ifdef PTP_CFG_EXPORTED_RUNTIME
#define VELA_CALL(name) ::name
#else
#include "velalib_inline.h"
#define VELA_CALL(name) vela_inline::name
#endif

#define PTP_CFG_TRAIT [[gnu::always_inline]] static inline

namespace ptp_cfg {

/** What a field holds. */
enum class field_kind : u_int8 {
{kinds}    var_string,
    enumeration,
    structure
};

/** Operations and properties of a primitive. */
template <field_kind kind>
struct primitive_traits;

)";

constexpr std::string_view traits_body = R"(template <>
struct primitive_traits<field_kind::{type}> {
    using type = ::{type};
    static constexpr field_kind kind = field_kind::{type};
    static constexpr const char *name = "{type}";
    static constexpr u_int32 width = {width};
    static constexpr bool is_value = {is_value};
    static constexpr bool is_signed = {is_signed};
    static constexpr bool is_boolean = {is_boolean};

    PTP_CFG_TRAIT type *create(vela_handle *handle, u_int32 mem_class) { return ::{type}_create(handle, mem_class); }
    PTP_CFG_TRAIT void destroy(vela_handle *handle, u_int32 mem_class, type *value) {
        ::{type}_destroy(handle, mem_class, value);
    }
    PTP_CFG_TRAIT u_int32 marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const type *value,
                                  u_int32 room, u_int32 *err) {
        return VELA_CALL({type}_marshal)(handle, mem_class, buffer, value, room, err);
    }
    PTP_CFG_TRAIT u_int32 unmarshal(vela_handle *handle, u_int32 mem_class, const u_int8 *buffer, type *value,
                                    u_int32 room, u_int32 mode, u_int32 *err) {
        return VELA_CALL({type}_unmarshal)(handle, mem_class, buffer, value, room, mode, err);
    }
    PTP_CFG_TRAIT u_int32 len(vela_handle *handle, u_int32 mem_class, const type *value) {
        return VELA_CALL({type}_len)(handle, mem_class, value);
    }
    PTP_CFG_TRAIT int32 compare(const type *a, const type *b) { return VELA_CALL({type}_compare)(a, b); }
    PTP_CFG_TRAIT u_int32 hash(const type *value, u_int32 seed) { return VELA_CALL({type}_hash)(value, seed); }
    PTP_CFG_TRAIT type *get(vela_handle *handle, u_int32 mem_class, type *value, u_int32 *err) {
        return VELA_CALL({type}_get)(handle, mem_class, value, err);
    }
    PTP_CFG_TRAIT void set(vela_handle *handle, u_int32 mem_class, type *destination, const type *source,
                           u_int32 *err) {
        VELA_CALL({type}_set)(handle, mem_class, destination, source, err);
    }
{by_value}#ifndef PTP_CFG_EXPORTED_RUNTIME
    /** Unchecked: the caller has made sure of `width` bytes. */
    PTP_CFG_TRAIT void store(u_int8 *buffer, const type *value) { vela_inline::{type}_store(buffer, value); }
    PTP_CFG_TRAIT void load(const u_int8 *buffer, type *value) { vela_inline::{type}_load(buffer, value); }
#endif
    PTP_CFG_TRAIT u_int32 print(vela_handle *handle, u_int32 mem_class, char *buffer, u_int32 indent,
                                const char *label, const type *value, u_int32 room, u_int32 *err) {
        return ::{type}_print(handle, mem_class, buffer, indent, label, value, room, err);
    }
    PTP_CFG_TRAIT u_int32 to_xml(vela_handle *handle, u_int32 mem_class, const char *name, char *buffer,
                                 const type *value, u_int32 room, u_int8 state_flag, u_int32 *err) {
        return ::{type}_to_xml(handle, mem_class, name, buffer, value, room, state_flag, err);
    }
    PTP_CFG_TRAIT void from_xml(vela_handle *handle, u_int32 mem_class, const char *path,
                                vela_xml_document *document, type *value, u_int32 *err, char *error_text,
                                u_int32 error_room) {
        ::{type}_from_xml(handle, mem_class, path, document, value, err, error_text, error_room);
    }
};

)";

constexpr std::string_view traits_by_value =
    R"(    PTP_CFG_TRAIT type get_value(vela_handle *handle, u_int32 mem_class, const type *value, u_int32 *err) {
        return VELA_CALL({type}_get_value)(handle, mem_class, value, err);
    }
    PTP_CFG_TRAIT void set_value(vela_handle *handle, u_int32 mem_class, type *destination, type value,
                                 u_int32 *err) {
        VELA_CALL({type}_set_value)(handle, mem_class, destination, value, err);
    }
)";

constexpr std::string_view traits_end = R"(/** Calls `f` with the traits of the primitive that `kind` is. */
template <class F>
constexpr auto visit_primitive(field_kind kind, F &&f) {
    switch (kind) {
{visits}        case field_kind::var_string:
        case field_kind::enumeration:
        case field_kind::structure:
            break;
    }
    __builtin_unreachable();
}

namespace detail {
inline constexpr const char *primitive_names[] = {{names}};
inline constexpr u_int32 primitive_widths[] = {{widths}};
}  // namespace detail

inline constexpr u_int32 primitive_count = {count};

/** Whether a kind is a primitive; the functions below accept no other. */
constexpr bool is_primitive(field_kind kind) {
    return static_cast<u_int32>(kind) < primitive_count;
}
constexpr const char *primitive_name(field_kind kind) {
    return detail::primitive_names[static_cast<u_int32>(kind)];
}
/** Bytes on the wire. */
constexpr u_int32 primitive_width(field_kind kind) {
    return detail::primitive_widths[static_cast<u_int32>(kind)];
}

#undef PTP_CFG_TRAIT

}  // namespace ptp_cfg
)";

std::string truth(bool value) { return value ? "true" : "false"; }

void emit_traits(const generation &input, output_set &files) {
    std::string kinds;
    std::string bodies;
    std::string visits;
    std::vector<std::string> names;
    std::vector<std::string> widths;
    for (const primitive &type : input.schema.primitives) {
        placeholders values = primitive_placeholders(type);
        values["is_value"] = truth(type.travels_by_value());
        values["is_signed"] = truth(type.value == value_class::signed_number);
        values["is_boolean"] = truth(type.value == value_class::boolean);
        values["by_value"] = type.travels_by_value() ? fill(traits_by_value, values) : "";
        kinds += "    " + type.name + ",\n";
        bodies += fill(traits_body, values);
        visits +=
            fill("        case field_kind::{type}:\n            return f(primitive_traits<field_kind::{type}>{});\n",
                 values);
        names.push_back(c_string(type.name));
        widths.push_back(std::to_string(type.width));
    }
    const placeholders values = {{"note", generated_note("schema/primitives.toml")},
                                 {"kinds", kinds},
                                 {"visits", visits},
                                 {"names", join(names, ", ")},
                                 {"widths", join(widths, ", ")},
                                 {"count", std::to_string(names.size())}};
    files.add("private/primitive_traits.h", fill(traits_start, values) + bodies + fill(traits_end, values));
}

}  // namespace

void emit_primitives(const generation &input, output_set &files) {
    emit_public(input, files);
    emit_definitions(input, files);
    emit_traits(input, files);
}

}  // namespace codegen
