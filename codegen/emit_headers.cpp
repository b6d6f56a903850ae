#include <set>

#include "emit.h"
#include "naming.h"
#include "text.h"

namespace codegen {
namespace {

std::string guard(const std::string &file) { return "PTP_CFG_" + upper(file) + "_H"; }

std::string banner(const std::string &title, const std::string &doc, const std::string &inputs) {
    return "/**\n" + wrapped(title, " * ", " * ") + " *\n" + wrapped(doc, " * ", " * ") + " *\n" +
           wrapped(generated_note(inputs), " * ", " * ") + " */\n";
}

std::string heading(const std::string &title) {
    const std::string start = "/* ---- " + title + " ";
    return start + std::string(line_width - 3 - std::min(start.size(), line_width - 3), '-') + " */\n\n";
}

std::string comment(const std::string &text) {
    const std::string single = "/** " + text + " */\n";
    return single.size() <= line_width + 1 ? single : "/**\n" + wrapped(text, " * ", " * ") + " */\n";
}

std::string record_declaration(const std::string &type_name) {
    return "/** Type-information record of " + type_name + ". */\nVELA_API extern vela_type_info " +
           type_info_name(type_name) + ";\n\n";
}

std::string function_declarations(const generation &input, const std::string &type_name) {
    std::string result;
    const auto groups = input.functions.by_type.find(type_name);
    if (groups == input.functions.by_type.end()) {
        return result;
    }
    for (const function_group &group : groups->second) {
        if (group.title != type_name) {
            result += heading(group.title);
        }
        for (const function &row : group.functions) {
            result += documentation(row) + prototype(row, "VELA_API ", ";") + "\n\n";
        }
    }
    return result;
}

std::string enumeration_section(const generation &input, const enumeration &type) {
    std::string result = heading(type.name) + comment(type.doc) + "enum {\n";
    for (const enumeration_value &value : type.values) {
        const std::string start =
            "    " + value.literal + " = " + std::to_string(value.number) + (&value == &type.values.back() ? "" : ",");
        const std::string since = value.since == 0 ? "" : " Since variant " + std::to_string(value.since) + ".";
        const std::string single = start + "  /**< " + value.doc + since + " */\n";
        result += single.size() <= line_width + 1
                      ? single
                      : wrapped(value.doc + since + " */", "    /** ", "     *  ") + start + "\n";
    }
    return result + "};\n\n" + record_declaration(type.name) + function_declarations(input, type.name);
}

std::string structure_section(const generation &input, const structure &type) {
    return heading(type.name) + record_declaration(type.name) + function_declarations(input, type.name);
}

std::string message_section(const generation &input, const message &type) {
    constexpr std::string_view text = R"({identity_note}VELA_API extern const u_int8 message_{message}_luid[16];
VELA_API extern const char message_{message}_luid_text[33];
VELA_API extern const char message_{message}_name[64];

/** Receives a message, which it then owns and destroys, also when it stores an error. */
{callback}

/** The same, written by the application if it wants to receive this message. */
{handler}

)";
    placeholders values = message_placeholders(type);
    const std::vector<std::string> parameters = {"vela_handle *handle", "u_int32 mem_class", "void *context",
                                                 type.type_name() + " *message", "u_int32 *err"};
    values["identity_note"] =
        comment("Identity of " + type.type_name() + ": 16 bytes, their hexadecimal digits, and its display name.");
    values["callback"] = wrapped_call("typedef void (*" + type.type_name() + "_callback)", parameters, ";");
    values["handler"] = wrapped_call("PTP_CFG_HANDLER void " + handler_name(type), parameters, ";");
    return heading(type.type_name()) + record_declaration(type.type_name()) + fill(text, values) +
           function_declarations(input, type.type_name());
}

constexpr std::string_view handler_note = R"(/*
 * Handlers. An application receives a message by defining the function ptp_cfg_<message>_handler declared with it
 * below. The library refers to these functions weakly: one that is not found when the library is loaded counts as
 * absent, without a warning, and receiving its message then ends with error 38. That happens when the handler
 *  - is compiled with hidden visibility: keep the declaration below, which says default visibility, in sight of it;
 *  - lies in a static archive from which nothing else is needed: a weak reference pulls nothing out of an archive,
 *    so link it whole (--whole-archive) or name the handler with -Wl,-u;
 *  - lies in an executable that does not export it: link with -rdynamic when the library is opened at run time;
 *  - comes with a library that is opened after this one, or opened without RTLD_GLOBAL.
 * A callback passed to the unmarshal operation, or a receiver passed to ptp_cfg_dispatch_bundle(), depends on none of
 * this.
 */
#ifdef PTP_CFG_BUILDING_MODULE
#define PTP_CFG_HANDLER VELA_API __attribute__((weak))
#else
#define PTP_CFG_HANDLER VELA_API
#endif

)";

/** Headers with the values of the enumerations that a subject's fields hold. */
std::set<std::string> needed_headers(const subject &file) {
    std::set<std::string> names;
    for (const structure &type : file.structures) {
        for (const field &row : type.fields) {
            if (row.enumeration != nullptr && row.enumeration->subject != file.name) {
                names.insert(row.enumeration->subject);
            }
        }
    }
    return names;
}

void emit_subject(const generation &input, const subject &file, output_set &files) {
    std::string text = banner(file.title + ".", file.doc, "schema/" + file.name + ".toml");
    text += "#ifndef " + guard(file.name) + "\n#define " + guard(file.name) + "\n\n#include \"velalib.h\"\n\n";
    text += "#include \"ptp_cfg/types.h\"\n";
    for (const std::string &name : needed_headers(file)) {
        text += "#include \"ptp_cfg/" + name + ".h\"\n";
    }
    text += "\nVELA_BEGIN_C\n\n";
    if (!file.messages.empty()) {
        text += handler_note;
    }
    for (const enumeration &type : file.enumerations) {
        text += enumeration_section(input, type);
    }
    for (const structure &type : file.structures) {
        text += structure_section(input, type);
    }
    for (const message &type : file.messages) {
        text += message_section(input, type);
    }
    files.add("include/ptp_cfg/" + file.name + ".h", text + "VELA_END_C\n\n#endif\n");
}

std::string opaque_type(const std::string &name, const std::string &doc) {
    return comment(doc) + "typedef struct " + name + " " + name + ";\n\n";
}

void emit_types(const generation &input, output_set &files) {
    std::string text = banner("Instances of the library's types.",
                              "All of them are opaque: create them, or give the _initialize operation memory of "
                              "_sizeof bytes, aligned to 8.",
                              "the schema");
    text += "#ifndef PTP_CFG_TYPES_H\n#define PTP_CFG_TYPES_H\n\n";
    for (const enumeration *type : input.schema.enumerations) {
        text += opaque_type(type->name, type->doc);
    }
    for (const structure *type : input.schema.structures) {
        text += opaque_type(type->name, type->doc);
    }
    for (const message *type : input.schema.messages) {
        text += opaque_type(type->type_name(), type->doc);
    }
    files.add("include/ptp_cfg/types.h", text + "#endif\n");
}

void emit_umbrella(const generation &input, output_set &files) {
    std::string text =
        banner("The PTP configuration data model.",
               "One header for all of it; a source that needs less includes the headers of its subjects.",
               "schema/catalogue.toml");
    text +=
        "#ifndef PTP_CFG_H\n#define PTP_CFG_H\n\n#include \"ptp_cfg/module.h\"\n#include \"ptp_cfg/receive.h\"\n"
        "#include \"ptp_cfg/reflect.h\"\n";
    for (const subject &file : input.schema.subjects) {
        text += "#include \"ptp_cfg/" + file.name + ".h\"\n";
    }
    files.add("include/ptp_cfg.h", text + "\n#endif\n");
}

}  // namespace

void emit_headers(const generation &input, output_set &files) {
    emit_umbrella(input, files);
    emit_types(input, files);
    for (const subject &file : input.schema.subjects) {
        emit_subject(input, file, files);
    }
}

}  // namespace codegen
