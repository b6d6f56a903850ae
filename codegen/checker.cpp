// The rules of the schema, and what is computed once they hold.
#include "checker.h"

#include <algorithm>
#include <map>
#include <set>

#include "layout.h"
#include "naming_cpp.h"
#include "text.h"

namespace codegen {
namespace {

constexpr std::size_t longest_name = 63;  // a type-information record holds 64 bytes with the terminator
constexpr std::uint32_t highest_variant = 126;
constexpr std::uint32_t highest_trace = 0xFFFFFFFFu / trace_numbers_per_type;

std::string number_text(std::size_t value) { return std::to_string(value); }

/** Keeps who came first, so that a duplicate can name both. */
class unique_names {
  public:
    unique_names(std::string what, diagnostics &errors) : what_(std::move(what)), errors_(errors) {}

    void add(const std::string &name, const location &where, const std::string &subject) {
        const auto [found, inserted] = first_.emplace(name, where);
        errors_.require(inserted || name.empty(), where, subject, what_ + " '" + name + "' is taken",
                        "choose another than the one in " + found->second.file + ":" + number_text(found->second.line));
    }

  private:
    std::string what_;
    diagnostics &errors_;
    std::map<std::string, location> first_;
};

class checker {
  public:
    checker(model &schema, diagnostics &errors)
        : schema_(schema),
          errors_(errors),
          type_names_("type name", errors),
          luids_("LUID", errors),
          traces_("trace number", errors),
          literals_("literal", errors) {}

    void run();

  private:
    void index_types();
    void index(enumeration &type) {
        enumerations_.emplace(type.name, &type);
        schema_.enumerations.push_back(&type);
    }
    void index(structure &type) {
        structures_.emplace(type.name, &type);
        schema_.structures.push_back(&type);
    }
    void index(message &type) { schema_.messages.push_back(&type); }
    void check_identity(const named_type &subject, const std::string &title, const std::string &name);
    void check_identifier(const std::string &name, const location &where, const std::string &subject,
                          bool may_be_keyword = false);
    void check_digits(const std::string &digits, const char *key, const location &where, const std::string &subject);

    void check_primitives();
    void check_trace_lists();
    void check(enumeration &type);
    void check(structure &type);
    void check_field_type(field &row, const std::string &subject);
    void check_since(const structure &type);
    void check_companions(const structure &type);
    void check_sizes(const structure &type);
    void check(message &type);
    bool order_by_use(structure &type, std::vector<const structure *> &chain);
    void check_subject_cycles();

    model &schema_;
    diagnostics &errors_;
    unique_names type_names_;
    unique_names luids_;
    unique_names traces_;
    unique_names literals_;
    std::map<std::string, const primitive *> primitives_;
    std::map<std::string, enumeration *> enumerations_;
    std::map<std::string, structure *> structures_;
    std::set<const structure *> ordered_;
};

void checker::index_types() {
    for (const primitive &type : schema_.primitives) {
        primitives_.emplace(type.name, &type);
    }
    for (subject &file : schema_.subjects) {
        for_each_type(file, [&](auto &type) { index(type); });
    }
}

void checker::check_identifier(const std::string &name, const location &where, const std::string &subject,
                               bool may_be_keyword) {
    if (name.empty()) {
        return;  // said by the loader
    }
    errors_.require(is_identifier(name) && (may_be_keyword || !is_keyword(name)), where, subject,
                    "'" + name + "' is no identifier",
                    may_be_keyword ? "use letters, digits and underscores, no digit first"
                                   : "use letters, digits and underscores, no digit first, and no keyword of C or C++");
}

void checker::check_digits(const std::string &digits, const char *key, const location &where,
                           const std::string &subject) {
    const bool well_formed = digits.size() == 32 && digits.find_first_not_of("0123456789abcdef") == std::string::npos;
    errors_.require(digits.empty() || well_formed, where, subject, std::string(key) + " '" + digits + "' is malformed",
                    "give 32 lower-case hexadecimal digits");
}

void checker::check_identity(const named_type &subject, const std::string &title, const std::string &name) {
    check_identifier(name, subject.where, title);
    errors_.require(name.size() <= longest_name, subject.where, title,
                    "the name has " + number_text(name.size()) + " characters",
                    "use at most " + number_text(longest_name));
    type_names_.add(name, subject.where, title);
    check_digits(subject.luid, "LUID", subject.where, title);
    check_digits(subject.definition, "definition", subject.where, title);
    luids_.add(subject.luid, subject.where, title);
    if (subject.trace == 0 || subject.trace > highest_trace) {
        errors_.report(subject.where, title, "trace number " + number_text(subject.trace) + " is out of range",
                       "give a number from 1 to " + number_text(highest_trace));
    } else {
        traces_.add(number_text(subject.trace), subject.where, title);
    }
}

void checker::check_primitives() {
    for (const primitive &type : schema_.primitives) {
        const std::string title = "primitive " + type.name;
        check_identifier(type.name, type.where, title);
        type_names_.add(type.name, type.where, title);
        const bool power_of_two = type.alignment != 0 && (type.alignment & (type.alignment - 1)) == 0;
        errors_.require(type.size != 0 && type.width != 0 && power_of_two && type.alignment <= instance_alignment &&
                            type.size % type.alignment == 0,
                        type.where, title, "size, alignment and width do not fit together",
                        "give a size that is a multiple of the alignment 1, 2, 4 or 8, and a width above 0");
    }
    for (const char *reserved : {"var_string", "char"}) {
        type_names_.add(reserved, {"the runtime's own types", 0}, "");
    }
}

void checker::check_trace_lists() {
    static const std::set<std::string> levels = {"emergency", "error", "informational", "debug"};
    for (const auto &[kind, list] : schema_.traces) {
        const std::string title = "trace list " + kind;
        unique_names ids("id", errors_);
        for (const trace_entry &entry : list) {
            check_identifier(entry.id, entry.where, title);
            ids.add(entry.id, entry.where, title);
            errors_.require(entry.level.empty() || levels.contains(entry.level), entry.where, title + ", " + entry.id,
                            "level '" + entry.level + "' is unknown", "give emergency, error, informational or debug");
        }
        errors_.require(list.size() <= trace_numbers_per_type, list.empty() ? location{} : list.back().where, title,
                        "the list has " + number_text(list.size()) + " rows",
                        "a type owns " + number_text(trace_numbers_per_type) + " message numbers; remove rows");
    }
}

void checker::check(enumeration &type) {
    const std::string title = "enumeration " + type.name;
    check_identity(type, title, type.name);
    if (type.values.empty()) {
        errors_.report(type.where, title, "there are no values", "give at least one");
        return;
    }
    std::uint32_t expected = 0;
    std::uint32_t since = 0;
    for (const enumeration_value &value : type.values) {
        const std::string row = title + ", value " + value.literal;
        check_identifier(value.literal, value.where, row);
        literals_.add(value.literal, value.where, row);
        errors_.require(value.number == expected, value.where, row,
                        "number " + number_text(value.number) + " is out of order",
                        "number the values from 0 without a gap; here " + number_text(expected));
        const bool is_next = value.since == since || (value.since == since + 1 && expected != 0);
        errors_.require(is_next && value.since <= highest_variant, value.where, row,
                        "variant " + number_text(value.since) + " is out of order",
                        "let `since` begin at 0, rise by at most 1 and stay below 127");
        since = value.since;
        ++expected;
    }
    compute_layout(type);
}

void checker::check_field_type(field &row, const std::string &subject) {
    if (row.type_name == "var_string") {
        row.category = field_category::text;
    } else if (const auto primitive = primitives_.find(row.type_name); primitive != primitives_.end()) {
        row.category = field_category::primitive;
        row.primitive = primitive->second;
    } else if (const auto enumeration = enumerations_.find(row.type_name); enumeration != enumerations_.end()) {
        row.category = field_category::enumeration;
        row.enumeration = enumeration->second;
    } else if (const auto structure = structures_.find(row.type_name); structure != structures_.end()) {
        row.category = field_category::structure;
        row.structure = structure->second;
    } else if (!row.type_name.empty()) {
        errors_.report(row.where, subject, "type '" + row.type_name + "' is unknown",
                       "name a primitive, var_string, an enumeration or a structure of the schema");
    }
    if (!row.is_array()) {
        return;
    }
    errors_.require(*row.capacity > 0 && *row.capacity <= 0xFFFF, row.where, subject,
                    "capacity " + number_text(*row.capacity) + " is out of range",
                    "give 1 to 65535, or no capacity for a single value");
    const bool is_opaque = row.primitive != nullptr && !row.primitive->travels_by_value();
    const bool has_arrays = row.category != field_category::text && row.category != field_category::enumeration;
    errors_.require(has_arrays && !is_opaque, row.where, subject, "there are no arrays of " + row.type_name,
                    "use an array of numbers, truth values or structures");
}

void checker::check(structure &type) {
    const std::string title = "structure " + type.name;
    check_identity(type, title, type.name);
    errors_.require(!type.fields.empty(), type.where, title, "there are no fields", "give at least one");
    unique_names names("field name", errors_);
    for (field &row : type.fields) {
        const std::string subject = title + ", field " + row.name;
        check_identifier(row.name, row.where, subject, true);  // always a part of a longer name
        names.add(row.name, row.where, subject);
        check_field_type(row, subject);
    }
    check_since(type);
    check_companions(type);
}

void checker::check_since(const structure &type) {
    std::uint32_t since = 0;
    for (const field &row : type.fields) {
        const std::string subject = "structure " + type.name + ", field " + row.name;
        const std::string variant = "variant " + number_text(row.since);
        if (row.since > highest_variant) {
            errors_.report(row.where, subject, variant + " is too high", "a type has at most 127 variants, 0 to 126");
        } else if (row.since < since) {
            errors_.report(row.where, subject, variant + " follows a field of variant " + number_text(since),
                           "put the fields of newer variants last");
        } else if (row.since > since + 1 || (&row == &type.fields.front() && row.since != 0)) {
            errors_.report(row.where, subject, variant + " leaves variants without a field",
                           "let `since` begin at 0 and rise by at most 1");
        }
        since = row.since;
    }
}

void checker::check_companions(const structure &type) {
    for (std::size_t index = 0; index < type.fields.size(); ++index) {
        const field &row = type.fields[index];
        const std::string subject = "structure " + type.name + ", field " + row.name;
        const field *next = index + 1 < type.fields.size() ? &type.fields[index + 1] : nullptr;
        const field *previous = index > 0 ? &type.fields[index - 1] : nullptr;
        if (row.is_companion()) {
            errors_.require(next != nullptr && next->name == row.length_of && next->category == field_category::text,
                            row.where, subject, "the next field is not the text '" + row.length_of + "'",
                            "put the var_string of that name right after its length");
            errors_.require(row.type_name == "u_int8" && !row.is_array(), row.where, subject,
                            "the length of a text has type " + row.type_name, "make it a single u_int8");
            errors_.require(next == nullptr || next->since == row.since, row.where, subject,
                            "a text and its length have different variants", "give both the same `since`");
        }
        errors_.require(
            row.category != field_category::text || (previous != nullptr && previous->length_of == row.name), row.where,
            subject, "the text has no length field",
            "put a u_int8 with length_of = \"" + row.name + "\" right before it");
    }
}

void checker::check_sizes(const structure &type) {
    const std::string title = "structure " + type.name;
    errors_.require(
        type.stated_size == type.size, type.where, title,
        "size " + number_text(type.stated_size) + " is not what the layout gives, " + number_text(type.size),
        "correct the fields or the size");
    errors_.require(type.stated_tracked_size == type.tracked_size(), type.where, title,
                    "tracked_size " + number_text(type.stated_tracked_size) + " is not what the layout gives, " +
                        number_text(type.tracked_size()),
                    "correct the fields or the tracked_size");
    errors_.require(
        type.validity.size() == type.latest + 1 && std::is_sorted(type.validity.begin(), type.validity.end()),
        type.where, title, "validity does not have one rising number per variant",
        "give " + number_text(type.latest + 1) + " numbers, or none for the counts of the fields");
}

void checker::check(message &type) {
    const std::string title = "message " + type.name;
    check_identity(type, title, type.type_name());
    static const std::set<std::string> roles = {"command", "event", "report"};
    errors_.require(type.role.empty() || roles.contains(type.role), type.where, title,
                    "role '" + type.role + "' is unknown", "give command, event or report");
    errors_.require(type.payloads.size() == 1 || type.payloads.size() == 2, type.where, title,
                    "there are " + number_text(type.payloads.size()) + " payloads", "give one or two");
    for (payload &row : type.payloads) {
        if (const auto structure = structures_.find(row.type_name); structure != structures_.end()) {
            row.structure = structure->second;
        } else if (const auto primitive = primitives_.find(row.type_name); primitive != primitives_.end()) {
            row.primitive = primitive->second;
        } else {
            errors_.report(type.where, title, "payload '" + row.type_name + "' is unknown",
                           "name a structure or a primitive of the schema");
        }
    }
}

/** Appends a structure after all that it embeds; false when it embeds itself. */
bool checker::order_by_use(structure &type, std::vector<const structure *> &chain) {
    if (ordered_.contains(&type)) {
        return true;
    }
    if (std::find(chain.begin(), chain.end(), &type) != chain.end()) {
        std::string path;
        for (const structure *link : chain) {
            path += link->name + " -> ";
        }
        errors_.report(type.where, "structure " + type.name, "it embeds itself: " + path + type.name,
                       "break the cycle");
        return false;
    }
    chain.push_back(&type);
    for (const field &row : type.fields) {
        if (row.structure != nullptr && !order_by_use(*structures_.at(row.structure->name), chain)) {
            return false;
        }
    }
    chain.pop_back();
    ordered_.insert(&type);
    schema_.structures_by_use.push_back(&type);
    return true;
}

/** The tables of a subject include those of the subjects it uses, so these must not use it in turn. */
void checker::check_subject_cycles() {
    std::map<std::string, std::set<std::string>> uses = subject_uses(schema_);
    while (!uses.empty()) {
        const auto free =
            std::find_if(uses.begin(), uses.end(), [](const auto &entry) { return entry.second.empty(); });
        if (free == uses.end()) {
            std::vector<std::string> names;
            for (const auto &[name, used] : uses) {
                names.push_back(name);
            }
            errors_.report(schema_.where, "", "subjects use each other: " + join(names, ", "),
                           "move structures so that use goes one way");
            return;
        }
        const std::string name = free->first;
        uses.erase(free);
        for (auto &[user, used] : uses) {
            used.erase(name);
        }
    }
}

void checker::run() {
    index_types();
    check_primitives();
    check_trace_lists();
    for (subject &file : schema_.subjects) {
        for_each_type(file, [&](auto &type) { check(type); });
    }
    for (const auto &[name, type] : structures_) {
        std::vector<const structure *> chain;
        if (!order_by_use(*type, chain)) {
            return;
        }
    }
    if (!errors_.empty()) {
        return;  // layouts of a broken schema would only repeat its errors
    }
    check_subject_cycles();
    check_cpp_names(schema_, errors_);
    for (const structure *type : schema_.structures_by_use) {
        compute_layout(*structures_.at(type->name));
        check_sizes(*type);
    }
}

}  // namespace

void check_and_resolve(model &schema, diagnostics &errors) { checker(schema, errors).run(); }

}  // namespace codegen
