// Expands the operation templates for each type, field and payload.
#include "template_engine.h"

#include <algorithm>
#include <set>

#include "checker.h"
#include "naming.h"
#include "placeholders.h"
#include "text.h"

namespace codegen {
namespace {

/** One thing that operations are expanded for: the selectors that name it and what its placeholders stand for. */
struct target {
    std::set<std::string> selectors;
    placeholders values;
    const structure *type = nullptr;  // for the parameter lists over all fields
};

class expander {
  public:
    expander(const model &schema, const template_set &templates, diagnostics &errors)
        : schema_(schema), templates_(templates), errors_(errors) {}

    function_set run();

  private:
    void add_group(const std::string &type, const std::string &title, const target &subject);
    function expand_operation(const operation &source, const target &subject);
    void add_parameters(const operation &source, const std::string &entry, const target &subject, function &result);
    void add_all_values(const target &subject, bool for_get, function &result);
    void document(const operation &source, const target &subject, parameter &row);
    std::string text(const operation &source, std::string_view written, const target &subject);
    void claim_name(const std::string &name, const std::string &owner, const location &where);

    const model &schema_;
    const template_set &templates_;
    diagnostics &errors_;
    function_set result_;
    std::map<std::string, std::string> owners_;  // of exported names
    std::set<std::pair<const operation *, std::string>> reported_;
};

/** Fits most parameters; a parameter's text that begins with "[out]" or the like states another. */
std::string direction_of(const std::string &declaration, const std::string &name) {
    static const std::set<std::string> only_read = {"handle", "context", "payload"};
    static const std::set<std::string> changed = {"err", "instance", "message", "document"};
    if (declaration.find('*') == std::string::npos || declaration.starts_with("const ") || only_read.contains(name)) {
        return "in";
    }
    return changed.contains(name) ? "in,out" : "out";
}

/** A parameter's name: the last identifier of its declaration, before any brackets. */
std::string declared_name(const std::string &declaration) {
    const std::string text = declaration.substr(0, declaration.find('['));
    const std::size_t start = text.find_last_of(" *");
    return start == std::string::npos ? text : text.substr(start + 1);
}

target structure_target(const structure &type) {
    target result;
    const bool has_array = std::any_of(type.fields.begin(), type.fields.end(), [](const field &row) {
        return row.is_array() && row.category == field_category::structure;
    });
    result.selectors = {"structure",
                        has_array ? "structure_with_array_of_structures" : "structure_without_array_of_structures"};
    result.values = structure_placeholders(type);
    result.type = &type;
    return result;
}

std::string field_selector(const field &row) {
    if (row.is_companion()) {
        return "companion_field";
    }
    switch (row.category) {
        case field_category::text:
            return "text_field";
        case field_category::enumeration:
            return "enumeration_field";
        case field_category::structure:
            return row.is_array() ? "structure_array_field" : "structure_field";
        case field_category::primitive:
            break;
    }
    if (row.is_array()) {
        return "scalar_array_field";
    }
    return row.primitive->travels_by_value() ? "scalar_field" : "opaque_field";
}

std::string expander::text(const operation &source, std::string_view written, const target &subject) {
    std::set<std::string> unknown;
    std::string result = expand(written, subject.values, unknown);
    for (const std::string &name : unknown) {
        if (reported_.emplace(&source, name).second) {
            errors_.report(source.where, "operation " + source.name, "placeholder {" + name + "} is unknown",
                           "correct it; a brace that is meant as such has a blank after it");
        }
    }
    return result;
}

/** Gives a parameter its text: the operation's own, else that of its family or of all operations. */
void expander::document(const operation &source, const target &subject, parameter &row) {
    for (const auto &[key, written] : source.parameter_docs) {
        if (text(source, key, subject) == row.name) {
            row.doc = text(source, written, subject);
            return;
        }
    }
    row.is_particular = false;
    const auto family = std::find_if(templates_.families.begin(), templates_.families.end(),
                                     [&](const codegen::family &each) { return each.name == source.family; });
    for (const auto *texts : {&family->parameter_docs, &templates_.parameter_docs}) {
        if (const auto found = texts->find(row.name); found != texts->end()) {
            row.doc = found->second;
            return;
        }
    }
    if (reported_.emplace(&source, "parameter " + row.name).second) {
        errors_.report(source.where, "operation " + source.name, "parameter " + row.name + " has no text",
                       "add it to parameter_docs, or to parameters.toml when others have it too");
    }
}

/** One parameter per number, truth value and enumeration, which is named after its field. */
void expander::add_all_values(const target &subject, bool for_get, function &result) {
    for (const field *row : single_values(*subject.type, for_get)) {
        const std::string name = parameter_name(*row);
        result.parameters.push_back({value_type(*row) + (for_get ? " *" : " ") + name, name, for_get ? "out" : "in",
                                     documented(*row), name != row->name});
    }
}

void expander::add_parameters(const operation &source, const std::string &entry, const target &subject,
                              function &result) {
    const bool for_get = entry == "{get_all_parameters}";
    if ((for_get || entry == "{set_all_parameters}") && subject.type != nullptr) {
        add_all_values(subject, for_get, result);
        return;
    }
    parameter row;
    row.declaration = text(source, entry, subject);
    row.name = declared_name(row.declaration);
    row.direction = direction_of(row.declaration, row.name);
    document(source, subject, row);
    if (row.doc.starts_with('[')) {  // a text may state the direction itself
        const std::size_t end = std::min(row.doc.find(']'), row.doc.size() - 1);
        row.direction = row.doc.substr(1, end - 1);
        row.doc.erase(0, row.doc.find_first_not_of(' ', end + 1));
    }
    result.parameters.push_back(std::move(row));
}

function expander::expand_operation(const operation &source, const target &subject) {
    function result;
    result.name = text(source, source.name, subject);
    result.family = source.family;
    result.rank = source.rank;
    result.returns = text(source, source.returns, subject);
    result.doc = text(source, source.doc, subject);
    result.result = text(source, source.result, subject);
    result.body = text(source, source.body, subject);
    result.inlined = {text(source, source.inlined.when, subject), text(source, source.inlined.then, subject)};
    for (const std::string &entry : source.parameters) {
        add_parameters(source, entry, subject, result);
    }
    if (!source.many_doc.empty() && result.parameters.size() > many_parameters) {
        result.doc += " " + text(source, source.many_doc, subject);
    }
    return result;
}

void expander::claim_name(const std::string &name, const std::string &owner, const location &where) {
    const auto [found, inserted] = owners_.emplace(name, owner);
    if (!inserted) {
        errors_.report(where, owner, "the exported name " + name + " belongs to " + found->second + " already",
                       "rename a field or a type, or correct the template");
    }
}

void expander::add_group(const std::string &type, const std::string &title, const target &subject) {
    function_group group{title, {}};
    for (const operation &source : templates_.operations) {
        const bool wanted = std::any_of(source.selectors.begin(), source.selectors.end(),
                                        [&](const std::string &name) { return subject.selectors.contains(name); });
        if (!wanted) {
            continue;
        }
        function result = expand_operation(source, subject);
        claim_name(result.name, "operation " + source.name + " of " + title, source.where);
        if (!subject.selectors.contains("primitive")) {
            result_.families.emplace(result.name, result.family);
        }
        group.functions.push_back(std::move(result));
    }
    if (!group.functions.empty()) {
        result_.by_type[type].push_back(std::move(group));
    }
}

function_set expander::run() {
    for (const std::string &name : templates_.module_functions) {
        claim_name(name, "the module", {});
        result_.families.emplace(name, "module");
    }
    for (const primitive &type : schema_.primitives) {
        target subject{{"primitive"}, primitive_placeholders(type), nullptr};
        if (type.travels_by_value()) {
            subject.selectors.insert("value_primitive");
        }
        add_group(type.name, type.name, subject);
    }
    for (const enumeration *type : schema_.enumerations) {
        add_group(type->name, type->name, {{"enumeration"}, enumeration_placeholders(*type), nullptr});
    }
    for (const structure *type : schema_.structures) {
        add_group(type->name, type->name, structure_target(*type));
        for (std::size_t index = 0; index < type->fields.size(); ++index) {
            const field &row = type->fields[index];
            add_group(type->name, type->name + ", field " + row.name,
                      {{field_selector(row)}, field_placeholders(*type, index), nullptr});
        }
    }
    for (const message *type : schema_.messages) {
        const std::string name = type->type_name();
        add_group(name, name, {{"message"}, message_placeholders(*type), nullptr});
        for (std::size_t index = 0; index < type->payloads.size(); ++index) {
            const payload &row = type->payloads[index];
            add_group(name, name + ", payload " + row.type_name,
                      {{"payload", row.structure != nullptr ? "structure_payload" : "primitive_payload"},
                       payload_placeholders(*type, index),
                       nullptr});
        }
    }
    return std::move(result_);
}

}  // namespace

function_set expand_templates(const model &schema, const template_set &templates, diagnostics &errors) {
    return expander(schema, templates, errors).run();
}

}  // namespace codegen
