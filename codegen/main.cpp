// ptp_cfg_codegen: turns the schema and the operation templates into the sources of the library.
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>

#include "checker.h"
#include "emit.h"
#include "schema_loader.h"
#include "template_engine.h"

namespace codegen {
namespace {

constexpr int success = 0;
constexpr int refused = 1;
constexpr int misused = 2;

struct arguments {
    std::string schema;
    std::string templates;
    std::string out;
    std::string errors;
    bool list = false;
};

std::optional<arguments> parse_arguments(int count, char **values) {
    arguments result;
    for (int index = 1; index < count; ++index) {
        const std::string option = values[index];
        std::string *target = option == "--schema"      ? &result.schema
                              : option == "--templates" ? &result.templates
                              : option == "--out"       ? &result.out
                              : option == "--errors"    ? &result.errors
                                                        : nullptr;
        if (option == "--list") {
            result.list = true;
        } else if (target != nullptr && index + 1 < count) {
            *target = values[++index];
        } else {
            return std::nullopt;
        }
    }
    if (result.schema.empty() || result.templates.empty() || (result.out.empty() && !result.list)) {
        return std::nullopt;
    }
    return result;
}

output_set emit_all(const generation &input) {
    output_set files;
    emit_headers(input, files);
    emit_primitives(input, files);
    emit_inline(input, files);
    emit_cpp(input, files);
    emit_sources(input, files);
    emit_descriptors(input, files);
    emit_data(input, files);
    emit_module(input, files);
    emit_manifest(input, files);
    emit_traces(input, files);
    emit_dissector(input, files);
    emit_reference(input, files);
    return files;
}

/** Tells what is wrong; in a file as well, for who wants to say it again. */
void report(const diagnostics &errors, const std::string &file) {
    errors.print(std::cerr);
    if (!file.empty()) {
        std::filesystem::create_directories(std::filesystem::absolute(file).parent_path());
        std::ofstream stream(file);
        errors.print(stream);
    }
}

int run(const arguments &options) {
    diagnostics errors;
    model schema = load_schema(options.schema, errors);
    check_and_resolve(schema, errors);
    const template_set templates = load_templates(options.templates, errors);
    function_set functions;
    if (errors.empty()) {
        functions = expand_templates(schema, templates, errors);
    }
    if (!options.errors.empty()) {
        std::filesystem::remove(options.errors);
    }
    if (!errors.empty()) {
        report(errors, options.errors);
        return refused;
    }
    const output_set files = emit_all({schema, templates, functions});
    if (options.list) {
        files.list(std::cout);
    } else {
        files.write(options.out);
    }
    return success;
}

}  // namespace
}  // namespace codegen

int main(int count, char **values) {
    const auto options = codegen::parse_arguments(count, values);
    if (!options) {
        std::cerr << "usage: ptp_cfg_codegen --schema DIR --templates DIR --out DIR [--errors FILE] [--list]\n"
                     "Writes the generated sources into --out; with --list only prints their names. What is wrong in\n"
                     "the schema goes to stderr and, if there is anything, into FILE.\n";
        return codegen::misused;
    }
    try {
        return codegen::run(*options);
    } catch (const std::exception &error) {
        std::cerr << "ptp_cfg_codegen: " << error.what() << '\n';
        return codegen::refused;
    }
}
