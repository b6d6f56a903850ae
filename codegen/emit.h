// Every emitter fills texts from the checked model; each covers one kind of output file.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "model.h"
#include "output.h"
#include "template_engine.h"

namespace codegen {

/** What emitters read. */
struct generation {
    const model &schema;
    const template_set &templates;
    const function_set &functions;
};

/** Public headers: umbrella, types.h and one per subject. */
void emit_headers(const generation &input, output_set &files);
/** velalib/primitives.h, the exported primitives, and the traits by which the families reach them. */
void emit_primitives(const generation &input, output_set &files);
/** ptp_cfg_inline.h and one header per subject: what melts into a caller. */
void emit_inline(const generation &input, output_set &files);
/** ptp_cfg.hpp and one header per subject: classes for C++. */
void emit_cpp(const generation &input, output_set &files);
/** The exported functions, one source per subject. */
void emit_sources(const generation &input, output_set &files);
/** constexpr tables, one header per subject. */
void emit_descriptors(const generation &input, output_set &files);
/** Records, variant rows and the other objects behind the tables, one source per subject. */
void emit_data(const generation &input, output_set &files);
/** Type table, version script and the list of functions. */
void emit_module(const generation &input, output_set &files);
/** Type manifest: text and section. */
void emit_manifest(const generation &input, output_set &files);
/** Trace points, and the message texts with their section. */
void emit_traces(const generation &input, output_set &files);
/** Tables of all types for a packet analyser's dissector. */
void emit_dissector(const generation &input, output_set &files);
/** Reference pages: one per type and message, and their index. */
void emit_reference(const generation &input, output_set &files);

/** The functions of a type, those of its fields included. */
std::vector<const function *> functions_of(const generation &input, const std::string &type_name);
/** The heading of functions of a rank. */
std::string rank_title(rank wanted);
/** Include guard of a header in `ptp_cfg/`. */
std::string header_guard(const std::string &file);
/** Other subjects whose headers a subject's own header includes. */
std::set<std::string> needed_subjects(const subject &file);
/** First comment of a generated file. `inputs` names what it is made of. */
std::string generated_note(const std::string &inputs);
/** A text as a comment of what follows it, on one line where it fits. */
std::string comment(const std::string &text);
/** Parameters and what they mean, as lines of a comment. */
std::string parameter_table(const std::map<std::string, std::string> &texts);
/** A function's documentation as such a comment: what is particular to the function. */
std::string documentation(const function &subject);
/** The definition of a function that has a body. */
std::string definition(const function &subject, const std::string &prefix = "extern \"C\" ");
/** The text of a function inside the conditions of its family, if that has any. */
std::string guarded(const generation &input, const function &subject, const std::string &text);
/** The statements of a body, one after the other. */
std::string indented(const std::string &body, std::size_t indent);
/** The prototype without storage class and semicolon. */
std::string prototype(const function &subject, const std::string &prefix, const std::string &end);

}  // namespace codegen
