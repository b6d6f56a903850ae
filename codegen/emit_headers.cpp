// Writes the public headers.
#include <set>

#include "emit.h"
#include "naming.h"
#include "placeholders.h"
#include "text.h"

namespace codegen {
namespace {

std::string banner(const std::string &title, const std::string &doc, const std::string &inputs) {
    return "/**\n" + wrapped(title, " * ", " * ") + " *\n" + wrapped(doc, " * ", " * ") + " *\n" +
           wrapped(generated_note(inputs), " * ", " * ") + " */\n";
}

constexpr std::string_view see_types =
    "What functions have in common, their parameters and errors above all, is said once: at the top of "
    "ptp_cfg/types.h.";

std::string heading(const std::string &title) {
    const std::string start = "/* ---- " + title + " ";
    return start + std::string(line_width - 3 - std::min(start.size(), line_width - 3), '-') + " */\n\n";
}

std::string record_declaration(const std::string &type_name) {
    return "/** Type-information record of " + type_name + ". */\nVELA_API extern vela_type_info " +
           type_info_name(type_name) + ";\n\n";
}

/** The functions of a group that are of one rank. */
std::string declarations(const function_group &group, rank wanted) {
    std::string result;
    for (const function &row : group.functions) {
        if (row.rank == wanted) {
            result += documentation(row) + prototype(row, "VELA_API ", ";") + "\n\n";
        }
    }
    return result;
}

/** What everybody needs stands first, field by field; then, for the whole type, what few look for. */
std::string function_declarations(const generation &input, const std::string &type_name) {
    std::string result;
    const auto groups = input.functions.by_type.find(type_name);
    if (groups == input.functions.by_type.end()) {
        return result;
    }
    for (const function_group &group : groups->second) {
        const std::string text = declarations(group, rank::everyday);
        result += (group.title == type_name || text.empty() ? "" : heading(group.title)) + text;
    }
    for (const rank wanted : {rank::chained, rank::runtime}) {
        std::string text;
        for (const function_group &group : groups->second) {
            text += declarations(group, wanted);
        }
        result += text.empty() ? "" : heading(rank_title(wanted) + ": " + type_name) + text;
    }
    return result;
}

std::string section(const generation &input, const enumeration &type) {
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

std::string section(const generation &input, const structure &type) {
    return heading(type.name) + record_declaration(type.name) + function_declarations(input, type.name);
}

std::string section(const generation &input, const message &type) {
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
 * absent, without a warning, and receiving its message then ends with VELA_ENOSYS (38). That happens when the handler
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

void emit_subject(const generation &input, const subject &file, output_set &files) {
    std::string text =
        banner(file.title + ".", file.doc + " " + std::string(see_types), "schema/" + file.name + ".toml");
    const std::string guard = header_guard(file.name);
    text += "#ifndef " + guard + "\n#define " + guard + "\n\n#include \"velalib.h\"\n\n";
    text += "#include \"ptp_cfg/types.h\"\n";
    for (const std::string &name : needed_subjects(file)) {
        text += "#include \"ptp_cfg/" + name + ".h\"\n";
    }
    text += "\nVELA_BEGIN_C\n\n";
    if (!file.messages.empty()) {
        text += handler_note;
    }
    for_each_type(file, [&](const auto &type) { text += section(input, type); });
    files.add("include/ptp_cfg/" + file.name + ".h", text + "VELA_END_C\n\n#endif\n");
}

constexpr std::string_view types_start =
    R"( * Instances of the library's types, and what holds for all of their functions.
 *
 * All instances are opaque: create them, or give the _initialize function memory of _sizeof bytes, aligned to 8.
 *
 * What the comments of functions do not say again
 * -----------------------------------------------
 * A type's functions stand in this order: everyday ones, those of each field among them; chained ones; those that
 * runtimes and generated code call, and hardly ever an application.
 *
 * A handle and its instances belong to one thread at a time. What a _create, _clone or _get_detach gives is the
 * caller's; what any other _get gives is lent by the instance and lives as long.
 *
 * Every function that has an error word `err` does nothing when that is not 0. A failure is stored there, in one of the
 * codes of velalib/types.h, and in the handle; vela_error_text() says which call it was and why. Chained functions
 * (_cr) take memory class and error word from the handle, chained_mem_class and chained_err, and otherwise do what the
 * function without _cr does; but a _create_cr answers, after an earlier error of the chain or without memory
 * (VELA_ENOMEM), a static instance that every function of a chain accepts and destroy ignores, and NULL only for an
 * instance that cannot be initialised.
)";

/** What parameters mean and what each family has in common, as the templates say it. */
std::string conventions(const generation &input) {
    std::string text = " *\n * Parameters of which a function's comment says nothing:\n" +
                       parameter_table(input.templates.parameter_docs);
    for (const family &row : input.templates.families) {
        if (!row.title.empty()) {
            text += " *\n" + wrapped(row.title + ": " + row.note, " * ", " * ") + parameter_table(row.parameter_docs);
        }
    }
    return text;
}

std::string opaque_type(const std::string &name, const std::string &doc) {
    return comment(doc) + "typedef struct " + name + " " + name + ";\n\n";
}

void emit_types(const generation &input, output_set &files) {
    std::string text = "/**\n" + std::string(types_start) + conventions(input) + " *\n" +
                       wrapped(generated_note("the schema and codegen/templates"), " * ", " * ") + " */\n";
    text += "#ifndef PTP_CFG_TYPES_H\n#define PTP_CFG_TYPES_H\n\n";
    for_each_type(input.schema, [&](const auto &type) { text += opaque_type(type.type_name(), type.doc); });
    files.add("include/ptp_cfg/types.h", text + "#endif\n");
}

void emit_umbrella(const generation &input, output_set &files) {
    std::string text =
        banner("The PTP configuration data model.",
               "One header for all of it; a source that needs less includes the headers of its subjects.",
               "schema/catalogue.toml");
    text +=
        "#ifndef PTP_CFG_H\n#define PTP_CFG_H\n\n#include \"ptp_cfg/json.h\"\n#include \"ptp_cfg/module.h\"\n#include "
        "\"ptp_cfg/receive.h\"\n"
        "#include \"ptp_cfg/reflect.h\"\n";
    for (const subject &file : input.schema.subjects) {
        text += "#include \"ptp_cfg/" + file.name + ".h\"\n";
    }
    files.add("include/ptp_cfg.h", text + "\n#endif\n");
}

}  // namespace

std::string header_guard(const std::string &file) { return "PTP_CFG_" + upper(file) + "_H"; }

/** Those with the values of the enumerations that the fields hold. */
std::set<std::string> needed_subjects(const subject &file) {
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

std::string rank_title(rank wanted) {
    switch (wanted) {
        case rank::chained:
            return "Chained";
        case rank::runtime:
            return "For runtimes";
        case rank::everyday:
            break;
    }
    return "Everyday";
}

void emit_headers(const generation &input, output_set &files) {
    emit_umbrella(input, files);
    emit_types(input, files);
    for (const subject &file : input.schema.subjects) {
        emit_subject(input, file, files);
    }
}

}  // namespace codegen
