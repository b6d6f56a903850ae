// Operation templates: what a family gives to every type, and their expansion into functions.
//
// A template file has a `family`, an optional `order` (files without one come last, by name), an optional `title` and
// `note` (what holds for the whole family), an optional `header` (with its algorithms, where operations/operations.h does
// not have them), an optional `without` (the macro under which a build leaves the functions out), optional [parameters] (texts by parameter name; those of a file without operations hold for all files)
// and [[operation]] tables with the keys of `operation` below. Headers say notes and [parameters] once, at their top. An
// operation is expanded once for each thing that one of its selectors names:
//
//   primitive, value_primitive; enumeration; structure, structure_with_array_of_structures,
//   structure_without_array_of_structures; message, and per payload payload, structure_payload, primitive_payload;
//   per field scalar_field, enumeration_field, structure_field, opaque_field, text_field, companion_field,
//   scalar_array_field, structure_array_field (each field is exactly one of them).
//
// Placeholders: {type} {type_doc} {latest} {size} {tracked_size} everywhere but {width} instead of the last three
// for primitives; {get_all_pointers} {set_all_values} for structures; {field} {index} {field_doc} {unit}
// {value_type} {storage_type} {kind} {capacity} {companion} {enumeration} for fields; {message} for messages;
// {payload} {payload_type} {payload_index} {payload_kind} for payloads; {since} {offset} {stride} {enumeration_latest}
// {enumeration_end} for fields and {get_all_when} {get_all_loads} {set_all_when} {set_all_stores} {equality} for
// structures are what inline forms are made of. The parameter entries
// "{get_all_parameters}" and "{set_all_parameters}" stand for one parameter per number, truth value and enumeration.
// A brace that is meant as such has a blank after it. A parameter that the body does not mention loses its name in
// the definition. An operation without a body is written by hand and only declared.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "diagnostics.h"
#include "model.h"

namespace codegen {

/**
 * What ptp_cfg_inline.h has of an operation, in C: under `when` it is done by `then`, which returns; otherwise the
 * exported function is called. Keys inline_when and inline_then; where `when` is empty there is no inline form.
 */
struct inline_form {
    std::string when;
    std::string then;
};

/** Whom an operation is for, which decides where headers and reference pages have it. */
enum class rank : std::uint8_t { everyday, chained, runtime };

/** One [[operation]] of a template file, as written. */
struct operation {
    location where;
    std::string family;
    codegen::rank rank = codegen::rank::everyday;  // key `rank`, everyday when absent
    std::vector<std::string> selectors;
    std::string name;
    std::string returns;
    std::vector<std::string> parameters;
    std::string doc;
    std::string many_doc;  // added to `doc` of a function that has more than `many_parameters`
    std::string result;
    std::map<std::string, std::string> parameter_docs;
    std::string body;  // empty: written by hand, only declared
    inline_form inlined;
};

constexpr std::size_t many_parameters = 8;

/** What a template file says once for all of its operations. */
struct family {
    std::string name;
    std::string title;  // empty: headers do not speak of it
    std::string note;
    std::string header;   // with what the bodies call, where operations/operations.h does not have it
    std::string without;  // macro of builds that leave the functions out; empty: all have them
    std::map<std::string, std::string> parameter_docs;  // by parameter name
};

struct template_set {
    std::vector<family> families;
    std::vector<operation> operations;
    std::map<std::string, std::string> parameter_docs;  // by parameter name
    std::vector<std::string> module_functions;          // exports that are written by hand
    std::vector<std::string> module_objects;
};

struct parameter {
    std::string declaration;  // "vela_handle *handle"
    std::string name;
    std::string direction;  // "in", "out" or "in,out"
    std::string doc;
    bool is_particular = true;  // to the function: its comment has the text, which is not said for all of them already
};

/** An exported function. */
struct function {
    std::string name;
    std::string family;
    codegen::rank rank;
    std::string returns;
    std::vector<parameter> parameters;
    std::string doc;
    std::string result;
    std::string body;
    inline_form inlined;
};

/** Functions that share a heading: those of a type, or of one field of it. */
struct function_group {
    std::string title;
    std::vector<function> functions;
};

struct function_set {
    std::map<std::string, std::vector<function_group>> by_type;  // and by primitive
    std::map<std::string, std::string> families;                 // of every function of the module, by its name
};

/** Reads all templates of a directory, in the order of their file names and `order` keys. */
template_set load_templates(const std::filesystem::path &directory, diagnostics &errors);

/** Expands every operation for everything that its selectors name. */
function_set expand_templates(const model &schema, const template_set &templates, diagnostics &errors);

}  // namespace codegen
