// Operation templates: what a family gives to every type, and their expansion into functions.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "diagnostics.h"
#include "model.h"

namespace codegen {

/** One [[operation]] of a template file, as written. */
struct operation {
    location where;
    std::string family;
    std::vector<std::string> selectors;
    std::string name;
    std::string returns;
    std::vector<std::string> parameters;
    std::string doc;
    std::string result;
    std::map<std::string, std::string> parameter_docs;
    std::string body;  // empty: written by hand, only declared
};

struct template_set {
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
};

/** An exported function. */
struct function {
    std::string name;
    std::string family;
    std::string returns;
    std::vector<parameter> parameters;
    std::string doc;
    std::string result;
    std::string body;
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
