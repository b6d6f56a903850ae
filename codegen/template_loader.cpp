// Reads the files of operation templates.
#include <algorithm>
#include <set>

#include "table_reader.h"
#include "template_engine.h"

namespace codegen {
namespace {

const std::set<std::string> selectors = {
    "primitive",
    "value_primitive",
    "enumeration",
    "structure",
    "structure_with_array_of_structures",
    "structure_without_array_of_structures",
    "message",
    "payload",
    "primitive_payload",
    "structure_payload",
    "scalar_field",
    "enumeration_field",
    "structure_field",
    "opaque_field",
    "text_field",
    "companion_field",
    "scalar_array_field",
    "structure_array_field",
};

struct template_file {
    std::uint32_t order;
    std::string path;
    toml::table document;
};

/** Files without `order` come after those with one. */
std::vector<template_file> parse_files(const std::filesystem::path &directory, diagnostics &errors) {
    std::vector<template_file> files;
    std::error_code failure;
    for (const auto &entry : std::filesystem::directory_iterator(directory, failure)) {
        if (entry.path().extension() != ".toml") {
            continue;
        }
        if (auto document = parse_toml(entry.path(), errors)) {
            const auto order = (*document)["order"].value<std::uint32_t>().value_or(0xFFFFFFFFu);
            files.push_back({order, entry.path().generic_string(), std::move(*document)});
        }
    }
    if (failure) {
        errors.report({directory.generic_string(), 0}, "", "the directory cannot be read", "correct --templates");
    }
    std::sort(files.begin(), files.end(), [](const template_file &a, const template_file &b) {
        return std::tie(a.order, a.path) < std::tie(b.order, b.path);
    });
    return files;
}

rank load_rank(table_reader &reader, diagnostics &errors) {
    const std::string written = reader.optional_text("rank");
    if (written == "chained") {
        return rank::chained;
    }
    if (written == "runtime") {
        return rank::runtime;
    }
    if (!written.empty() && written != "everyday") {
        errors.report(reader.where(), reader.subject(), "rank '" + written + "' is unknown",
                      "say everyday, chained or runtime");
    }
    return rank::everyday;
}

operation load_operation(const toml::table &table, const std::string &file, const std::string &family,
                         diagnostics &errors) {
    operation result;
    table_reader reader(table, file, "operation", errors);
    result.where = reader.where();
    result.family = family;
    result.name = reader.text("name");
    reader.rename("operation " + result.name);
    result.rank = load_rank(reader, errors);
    result.selectors = reader.texts("for");
    result.returns = reader.text("returns");
    result.parameters = reader.texts("parameters");
    result.doc = reader.text("doc");
    result.many_doc = reader.optional_text("many_doc");
    result.result = reader.optional_text("result");
    for (auto &[name, text] : reader.optional_text_table("parameter_docs")) {
        result.parameter_docs.emplace(name, text);
    }
    result.body = reader.optional_text("body");
    result.inlined = {reader.optional_text("inline_when"), reader.optional_text("inline_then")};
    reader.finish();
    for (const std::string &selector : result.selectors) {
        if (!selectors.contains(selector)) {
            errors.report(result.where, reader.subject(), "selector '" + selector + "' is unknown",
                          "correct the `for` of this operation");
        }
    }
    return result;
}

void load_file(const template_file &file, template_set &set, diagnostics &errors) {
    table_reader reader(file.document, file.path, "", errors);
    reader.optional_number("order");
    if (reader.has("exports") || reader.has("objects")) {
        set.module_functions = reader.texts("exports");
        set.module_objects = reader.texts("objects");
        reader.finish();
        return;
    }
    const auto defaults = reader.optional_text_table("parameters");
    if (reader.has("family") || reader.has("operation")) {
        const std::string name = reader.text("family");
        set.families.push_back({name,
                                reader.optional_text("title"),
                                reader.optional_text("note"),
                                reader.optional_text("header"),
                                reader.optional_text("without"),
                                {defaults.begin(), defaults.end()}});
        for (const toml::table *table : reader.tables("operation", true)) {
            set.operations.push_back(load_operation(*table, file.path, name, errors));
        }
    } else {
        set.parameter_docs.insert(defaults.begin(), defaults.end());
    }
    reader.finish();
}

}  // namespace

template_set load_templates(const std::filesystem::path &directory, diagnostics &errors) {
    template_set set;
    for (const template_file &file : parse_files(directory, errors)) {
        load_file(file, set, errors);
    }
    return set;
}

}  // namespace codegen
