// What the schema says, with names resolved and layouts computed. Everything after the checker reads only this.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "diagnostics.h"

namespace codegen {

/** What the rows of primitives call their classes, in the order of the enumerators. */
inline constexpr std::string_view class_names[] = {"unsigned_number", "signed_number", "boolean", "octets", "opaque"};
enum class primitive_class { unsigned_number, signed_number, boolean, octets, opaque };

/** A member of the C structure that a primitive is. */
struct primitive_member {
    std::string declaration;
    std::string doc;
};

/** A primitive type of fields; its operations are the runtime's. */
struct primitive {
    location where;
    std::string name;
    std::string doc;
    std::uint32_t size = 0;
    std::uint32_t alignment = 0;
    std::uint32_t width = 0;  // on the wire
    primitive_class what = primitive_class::opaque;
    std::string value;                      // the kind of value, of the folder values/
    std::string encoding;                   // what the bytes on the wire are; empty where there is one thing
    std::vector<primitive_member> members;  // none: velalib/types.h declares it

    bool travels_by_value() const { return what < primitive_class::octets; }
};

struct enumeration_value {
    location where;
    std::uint32_t number = 0;
    std::string literal;
    std::string doc;
    std::uint32_t since = 0;
};

/** What enumerations, structures and messages have in common. */
struct named_type {
    location where;
    std::string name;  // of a message without "_message"
    std::string luid;
    std::string definition;  // its hash, where the schema states one
    std::uint32_t trace = 0;
    std::string doc;
    std::string subject;

    /** The name of the C type. */
    std::string type_name() const { return name; }
};

struct enumeration : named_type {
    std::vector<enumeration_value> values;

    std::uint32_t latest = 0;
    std::vector<std::uint32_t> thresholds;  // [k]: first number that needs variant k + 1
};

enum class field_category { primitive, text, enumeration, structure };

struct structure;

struct field {
    location where;
    std::string name;
    std::string type_name;
    std::string doc;
    std::string unit;
    std::uint32_t since = 0;
    std::optional<std::uint32_t> capacity;  // of an array
    std::string length_of;                  // the text whose length this field is

    // Resolved: exactly one of the three is set, none for a text.
    field_category category = field_category::primitive;
    const codegen::primitive *primitive = nullptr;
    const codegen::enumeration *enumeration = nullptr;
    const codegen::structure *structure = nullptr;

    // Layout.
    std::uint32_t offset = 0;
    std::uint32_t stride = 0;
    std::uint32_t end = 0;
    std::uint32_t flag_position = 0;
    std::uint32_t flag_length = 0;
    std::uint32_t companion_offset = 0;  // of a text
    std::string companion_name;          // of a text

    bool is_array() const { return capacity.has_value(); }
    bool is_companion() const { return !length_of.empty(); }
    /** An integer, truth value or enumeration that is not an array: what get_all and set_all take. */
    bool is_single_value() const {
        return !is_array() && (category == field_category::enumeration ||
                               (category == field_category::primitive && primitive->travels_by_value()));
    }
};

struct variant_row {
    std::uint32_t used = 0;
    std::uint32_t slop = 0;
};

struct structure : named_type {
    std::uint32_t stated_size = 0;
    std::uint32_t stated_tracked_size = 0;
    std::optional<std::vector<std::uint32_t>> stated_validity;
    std::vector<field> fields;

    std::uint32_t latest = 0;
    std::uint32_t size = 0;          // untracked
    std::uint32_t block_length = 0;  // of the state flags
    std::vector<variant_row> rows;
    std::vector<std::uint32_t> validity;

    std::uint32_t tracked_size() const { return size + block_length; }
};

struct payload {
    std::string type_name;
    const codegen::structure *structure = nullptr;  // or
    const codegen::primitive *primitive = nullptr;
};

struct message : named_type {
    std::string role;  // "command", "event" or "report"
    std::vector<payload> payloads;

    std::string type_name() const { return name + "_message"; }
    /** Header, message header block and one pointer per payload. */
    std::uint32_t size() const { return 32 + 8 * static_cast<std::uint32_t>(payloads.size()); }
};

/** One file of the schema; the types stay where they are, so that others may point at them. */
struct subject {
    std::string name;  // of the file, without extension
    std::string title;
    std::string doc;
    std::deque<codegen::enumeration> enumerations;
    std::deque<codegen::structure> structures;
    std::deque<codegen::message> messages;
};

struct trace_entry {
    location where;
    std::string id;
    std::string level;
    std::string text;
};

/** Types own numbers 64 x trace to 64 x trace + 63; the module itself owns trace number 0. */
constexpr std::uint32_t trace_numbers_per_type = 64;

struct model {
    location where;  // the catalogue
    std::string module;
    std::deque<codegen::primitive> primitives;
    std::deque<codegen::subject> subjects;
    std::map<std::string, std::vector<trace_entry>> traces;  // by kind: module, enumeration, structure, message

    // In the order of the catalogue.
    std::vector<const codegen::enumeration *> enumerations;
    std::vector<const codegen::structure *> structures;
    std::vector<const codegen::message *> messages;
    // Each after the structures that it embeds.
    std::vector<const codegen::structure *> structures_by_use;
};

/** Runs f for each type of a subject: enumerations, structures, messages. */
template <class Subject, class F>
void for_each_type(Subject &file, F &&f) {
    std::for_each(file.enumerations.begin(), file.enumerations.end(), f);
    std::for_each(file.structures.begin(), file.structures.end(), f);
    std::for_each(file.messages.begin(), file.messages.end(), f);
}

/** The same of all subjects, kind by kind. */
template <class F>
void for_each_type(const model &schema, F &&f) {
    const auto at = [&](const auto *type) { f(*type); };
    std::for_each(schema.enumerations.begin(), schema.enumerations.end(), at);
    std::for_each(schema.structures.begin(), schema.structures.end(), at);
    std::for_each(schema.messages.begin(), schema.messages.end(), at);
}

/** By subject, the other subjects whose types its structures and messages hold. */
std::map<std::string, std::set<std::string>> subject_uses(const model &schema);

}  // namespace codegen
