// How names of the schema become names of C++.
#include "naming_cpp.h"

#include <cctype>
#include <map>
#include <set>

#include "checker.h"

namespace codegen {
namespace {

/** What namespace ptp has besides the types. */
const std::set<std::string> names_of_the_namespace = {
    "any_message", "array_view", "create",   "decode",  "detail",        "dispatch", "encode",    "error",
    "failure",     "from_json",  "from_xml", "handle",  "calls",         "clone_of", "literal",   "owner",
    "parse",       "receive",    "report",   "result",  "span",          "status",   "throwing",  "to_json",
    "to_bytes",    "to_text",    "to_xml",   "type_of", "format_result", "fault",    "type_name", "std"};

/** What the classes have besides their fields. */
const std::set<std::string> names_of_classes = {"call_with",
                                                "put_enumeration",
                                                "put_instance",
                                                "put_element_value",
                                                "assign",
                                                "at",
                                                "c_handle",
                                                "c_instance",
                                                "c_type",
                                                "clone",
                                                "const_view",
                                                "create",
                                                "give",
                                                "give_value",
                                                "handle_",
                                                "has",
                                                "instance_",
                                                "is_plain",
                                                "lacking",
                                                "load",
                                                "memory_class",
                                                "owner",
                                                "mutable_instance",
                                                "part",
                                                "payload",
                                                "put",
                                                "put_opaque",
                                                "put_element",
                                                "put_elements",
                                                "put_text",
                                                "release",
                                                "text",
                                                "typed_view",
                                                "variant",
                                                "variant_at",
                                                "visit"};

std::string without(const std::string &name, const std::string &prefix) {
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        if (i >= name.size() || std::tolower(static_cast<unsigned char>(name[i])) != prefix[i]) {
            return name;
        }
    }
    return name.substr(prefix.size());
}

bool may_stand_alone(const std::string &name) {
    return is_identifier(name) && !is_keyword(name) && !names_of_the_namespace.contains(name);
}

class cpp_names {
  public:
    explicit cpp_names(diagnostics &errors) : errors_(errors) {}

    void add(const std::string &name, const location &where, const std::string &subject) {
        const auto [found, inserted] = first_.emplace(name, subject);
        errors_.require(inserted, where, subject, "the C++ headers already call " + found->second + " '" + name + "'",
                        "choose a name that differs in more than vela_, ptp_ or what classes add to names");
    }

  private:
    diagnostics &errors_;
    std::map<std::string, std::string> first_;
};

void check_fields(const structure &type, diagnostics &errors) {
    cpp_names names(errors);
    for (const field &row : type.fields) {
        if (!row.is_companion()) {
            names.add(cpp_field_name(type, row), row.where, "field " + row.name);
            names.add("set_" + row.name, row.where, "the setter of field " + row.name);
        }
    }
}

void check_literals(const enumeration &type, diagnostics &errors) {
    cpp_names names(errors);
    for (const enumeration_value &value : type.values) {
        names.add(cpp_name(value.literal), value.where, "literal " + value.literal);
    }
}

}  // namespace

std::string cpp_name(const std::string &name) {
    std::string with_ptp = without(name, "vela_");
    std::string alone = without(with_ptp, "ptp_");
    if (may_stand_alone(alone)) {
        return alone;
    }
    return may_stand_alone(with_ptp) ? with_ptp : name;
}

std::string cpp_field_name(const structure &owner, const field &row) {
    const bool is_taken = names_of_classes.contains(row.name) || row.name == cpp_name(owner.name) ||
                          row.name == cpp_name(owner.name) + "_view" ||
                          row.name == cpp_name(owner.name) + "_const_view";
    return is_taken ? row.name + "_" : row.name;
}

void check_cpp_names(const model &schema, diagnostics &errors) {
    cpp_names names(errors);
    for_each_type(schema,
                  [&](const auto &type) { names.add(cpp_name(type.type_name()), type.where, type.type_name()); });
    for (const structure *type : schema.structures) {
        for (const char *suffix : {"_view", "_const_view"}) {
            names.add(cpp_name(type->name) + suffix, type->where, type->name + suffix);
        }
        check_fields(*type, errors);
    }
    for (const enumeration *type : schema.enumerations) {
        check_literals(*type, errors);
    }
}

}  // namespace codegen
