// Reads the files of the schema into the model; what they mean is for the checker.
#include "schema_loader.h"

#include <algorithm>

#include "table_reader.h"

namespace codegen {
namespace {

/** Loads one file of the schema after another. */
class loader {
  public:
    loader(std::filesystem::path directory, diagnostics &errors) : directory_(std::move(directory)), errors_(errors) {}

    model load();

  private:
    /** Runs load(top, file) for a file of the schema. */
    template <class Load>
    void load_file(const std::string &name, Load &&load);
    primitive load_primitive(const toml::table &table, const std::string &file);
    trace_entry load_trace(const toml::table &table, const std::string &file, const std::string &list);
    void load_subject(table_reader &reader, const std::string &file, const std::string &name);
    enumeration load_enumeration(const toml::table &table, const std::string &file);
    structure load_structure(const toml::table &table, const std::string &file);
    field load_field(const toml::table &table, const std::string &file, const std::string &owner);
    message load_message(const toml::table &table, const std::string &file);

    std::filesystem::path directory_;
    diagnostics &errors_;
    model model_;
};

primitive_class to_class(const std::string &name, const location &where, const std::string &subject,
                         diagnostics &errors) {
    const auto *const found = std::find(std::begin(class_names), std::end(class_names), name);
    if (found != std::end(class_names)) {
        return static_cast<primitive_class>(found - std::begin(class_names));
    }
    if (!name.empty()) {
        errors.report(where, subject, "class '" + name + "' is unknown",
                      "give unsigned_number, signed_number, boolean, octets or opaque");
    }
    return primitive_class::opaque;
}

template <class Load>
void loader::load_file(const std::string &name, Load &&load) {
    const std::string file = (directory_ / (name + ".toml")).generic_string();
    if (const auto document = parse_toml(file, errors_)) {
        table_reader top(*document, file, "", errors_);
        load(top, file);
        top.finish();
    }
}

primitive loader::load_primitive(const toml::table &table, const std::string &file) {
    table_reader reader(table, file, "primitive", errors_);
    primitive row;
    row.where = reader.where();
    row.name = reader.text("name");
    reader.rename("primitive " + row.name);
    row.size = reader.number("size");
    row.alignment = reader.number("alignment");
    row.width = reader.number("width");
    row.what = to_class(reader.text("class"), row.where, reader.subject(), errors_);
    row.value = reader.text("value");
    row.doc = reader.text("doc");
    row.encoding = reader.optional_text("encoding");
    for (const toml::table *member : reader.tables("members", false)) {
        table_reader member_reader(*member, file, reader.subject() + ", member", errors_);
        row.members.push_back({member_reader.text("declaration"), member_reader.text("doc")});
        member_reader.finish();
    }
    reader.finish();
    return row;
}

trace_entry loader::load_trace(const toml::table &table, const std::string &file, const std::string &list) {
    table_reader reader(table, file, list, errors_);
    trace_entry entry;
    entry.where = reader.where();
    entry.id = reader.text("id");
    entry.level = reader.text("level");
    entry.text = reader.text("text");
    reader.finish();
    return entry;
}

model loader::load() {
    load_file("primitives", [&](table_reader &top, const std::string &file) {
        for (const toml::table *table : top.tables("primitives", true)) {
            model_.primitives.push_back(load_primitive(*table, file));
        }
    });
    load_file("trace", [&](table_reader &top, const std::string &file) {
        for (const std::string kind : {"module", "enumeration", "structure", "message"}) {
            auto &list = model_.traces[kind];
            for (const toml::table *table : top.tables(kind, true)) {
                list.push_back(load_trace(*table, file, "trace list " + kind));
            }
        }
    });
    load_file("catalogue", [&](table_reader &top, const std::string &) {
        model_.where = top.where();
        model_.module = top.text("module");
        for (const std::string &name : top.texts("subjects")) {
            load_file(name, [&](table_reader &reader, const std::string &file) { load_subject(reader, file, name); });
        }
    });
    return std::move(model_);
}

void loader::load_subject(table_reader &reader, const std::string &file, const std::string &name) {
    subject result;
    const std::string stated = reader.text("subject");
    if (stated != name && !stated.empty()) {
        errors_.report({file, 1}, "", "key 'subject' says '" + stated + "'",
                       "give the file's own name, '" + name + "'");
    }
    result.name = name;
    result.title = reader.text("title");
    result.doc = reader.text("doc");
    for (const toml::table *table : reader.tables("enumeration", false)) {
        result.enumerations.push_back(load_enumeration(*table, file));
    }
    for (const toml::table *table : reader.tables("structure", false)) {
        result.structures.push_back(load_structure(*table, file));
    }
    for (const toml::table *table : reader.tables("message", false)) {
        result.messages.push_back(load_message(*table, file));
    }
    for_each_type(result, [&](named_type &type) { type.subject = name; });
    model_.subjects.push_back(std::move(result));
}

/** Reads what every type has. */
template <class type>
void load_identity(table_reader &reader, const char *kind, type &result) {
    result.where = reader.where();
    result.name = reader.text("name");
    reader.rename(std::string(kind) + " " + result.name);
    result.luid = reader.text("luid");
    result.definition = reader.optional_text("definition");
    result.trace = reader.number("trace");
    result.doc = reader.text("doc");
}

enumeration loader::load_enumeration(const toml::table &table, const std::string &file) {
    enumeration result;
    table_reader reader(table, file, "enumeration", errors_);
    load_identity(reader, "enumeration", result);
    for (const toml::table *row : reader.tables("values", true)) {
        table_reader values(*row, file, reader.subject(), errors_);
        enumeration_value value;
        value.where = values.where();
        value.number = values.number("number");
        value.literal = values.text("literal");
        values.rename(reader.subject() + ", value " + value.literal);
        value.doc = values.text("doc");
        value.since = values.optional_number("since").value_or(0);
        values.finish();
        result.values.push_back(std::move(value));
    }
    reader.finish();
    return result;
}

structure loader::load_structure(const toml::table &table, const std::string &file) {
    structure result;
    table_reader reader(table, file, "structure", errors_);
    load_identity(reader, "structure", result);
    result.stated_size = reader.number("size");
    result.stated_tracked_size = reader.number("tracked_size");
    result.stated_validity = reader.optional_numbers("validity");
    for (const toml::table *row : reader.tables("fields", true)) {
        result.fields.push_back(load_field(*row, file, reader.subject()));
    }
    reader.finish();
    return result;
}

field loader::load_field(const toml::table &table, const std::string &file, const std::string &owner) {
    field result;
    table_reader reader(table, file, owner, errors_);
    result.where = reader.where();
    result.name = reader.text("name");
    reader.rename(owner + ", field " + result.name);
    result.type_name = reader.text("type");
    result.doc = reader.text("doc");
    result.unit = reader.optional_text("unit");
    result.since = reader.optional_number("since").value_or(0);
    result.capacity = reader.optional_number("capacity");
    result.length_of = reader.optional_text("length_of");
    reader.finish();
    return result;
}

message loader::load_message(const toml::table &table, const std::string &file) {
    message result;
    table_reader reader(table, file, "message", errors_);
    load_identity(reader, "message", result);
    result.role = reader.text("role");
    for (const std::string &name : reader.texts("payloads")) {
        result.payloads.push_back({name, nullptr, nullptr});
    }
    reader.finish();
    return result;
}

}  // namespace

model load_schema(const std::filesystem::path &directory, diagnostics &errors) {
    return loader(directory, errors).load();
}

}  // namespace codegen
