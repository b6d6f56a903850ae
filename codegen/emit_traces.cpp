// Writes the trace points, and their texts in sections that are not loaded.
#include <bzlib.h>

#include <map>
#include <set>
#include <stdexcept>

#include "emit.h"
#include "placeholders.h"
#include "section.h"
#include "text.h"

namespace codegen {
namespace {

void emit_lists(const model &schema, output_set &files) {
    std::string text =
        "// The trace messages of each kind of type: a position in the type's numbers, and a level.\n// " +
        generated_note("schema/trace.toml") +
        "\n#pragma once\n\n#include \"bitlog.h\"\n#include \"velalib/types.h\"\n\n"
        "namespace ptp_cfg::trace {\n\n"
        "struct entry {\n    u_int8 position;\n    u_int32 level;\n};\n\n";
    for (const auto &[kind, list] : schema.traces) {
        text += "namespace " + kind + " {\n";
        std::size_t position = 0;
        for (const trace_entry &entry : list) {
            text += fill("inline constexpr entry {id}{{position}, BITLOG_{level}};\n",
                         {{"id", entry.id}, {"position", std::to_string(position++)}, {"level", upper(entry.level)}});
        }
        text += "}  // namespace " + kind + "\n\n";
    }
    files.add("private/trace_lists.h", text + "}  // namespace ptp_cfg::trace\n");
}

/** Digits of a text's arguments, as the entry points of the trace have them in their names. */
std::string signature_of(const std::string &text) {
    static const std::map<char, char> digits = {{'s', '1'}, {'d', '4'}, {'u', '4'}, {'p', '5'}};
    std::string result;
    for (std::size_t at = text.find('%'); at != std::string::npos && at + 1 < text.size();
         at = text.find('%', at + 2)) {
        const auto digit = digits.find(text[at + 1]);
        if (digit != digits.end()) {
            result += digit->second;
        }
    }
    return result.empty() ? "0" : result;
}

/** What is known of the trace points, by number. */
struct trace_points {
    std::map<std::uint32_t, std::string> texts;
    std::map<std::uint32_t, std::string> levels;      // usual ones: an operation may choose another
    std::map<std::uint32_t, std::string> signatures;  // "44", or "0" for no argument
    std::map<std::uint32_t, std::string> subjects;    // types
};

class point_collector {
  public:
    explicit point_collector(const model &schema) : schema_(schema) {}

    void add(const char *kind, std::uint32_t trace, const std::string &subject, const placeholders &values) {
        std::uint32_t number = trace * trace_numbers_per_type;
        for (const trace_entry &entry : schema_.traces.at(kind)) {
            std::set<std::string> unknown;
            const std::string text = expand(entry.text, values, unknown);
            if (unknown.empty()) {  // a text about a second payload is none of a message with one
                points_.texts[number] = text;
                points_.levels[number] = entry.level;
                points_.signatures[number] = signature_of(text);
                points_.subjects[number] = subject;
            }
            ++number;
        }
    }

    const trace_points &points() const { return points_; }

  private:
    const model &schema_;
    trace_points points_;
};

trace_points collect_points(const model &schema) {
    point_collector points(schema);
    points.add("module", 0, schema.module, {});
    for (const enumeration *type : schema.enumerations) {
        points.add("enumeration", type->trace, type->name, enumeration_placeholders(*type));
    }
    for (const structure *type : schema.structures) {
        points.add("structure", type->trace, type->name, structure_placeholders(*type));
    }
    for (const message *type : schema.messages) {
        placeholders values = message_placeholders(*type);
        for (std::size_t index = 0; index < type->payloads.size(); ++index) {
            values["payload" + std::to_string(index + 1)] = type->payloads[index].type_name;
        }
        points.add("message", type->trace, type->type_name(), values);
    }
    return points.points();
}

std::string lines_of(const std::map<std::uint32_t, std::string> &table) {
    std::string result;
    for (const auto &[number, value] : table) {
        result += std::to_string(number) + "\t" + value + "\n";
    }
    return result;
}

std::string compressed(std::string text) {
    std::string result(text.size() + text.size() / 100 + 600, '\0');
    unsigned length = static_cast<unsigned>(result.size());
    if (BZ2_bzBuffToBuffCompress(result.data(), &length, text.data(), static_cast<unsigned>(text.size()), 9, 0, 0) !=
        BZ_OK) {
        throw std::runtime_error("the trace texts cannot be compressed; check the memory of this machine");
    }
    result.resize(length);
    return result;
}

void add_table(const std::string &name, const std::string &doc, const std::map<std::uint32_t, std::string> &table,
               output_set &files) {
    const std::string lines = lines_of(table);
    const std::string packed = compressed(lines);
    files.add("private/trace_" + name + ".txt", lines);
    files.add("private/trace_" + name + ".bz2", packed);
    files.add("private/trace_" + name + ".cpp",
              section_source(doc + ", compressed with bzip2.", ".vela_ptp_cfg_" + name, packed));
}

}  // namespace

void emit_traces(const generation &input, output_set &files) {
    emit_lists(input.schema, files);
    const trace_points points = collect_points(input.schema);
    add_table("texts", "Texts of the trace messages: lines of number, tab and text", points.texts, files);
    add_table("levels", "Usual levels of the trace points: lines of number, tab and name", points.levels, files);
    add_table("arguments", "Arguments of the trace points: lines of number, tab and a digit each", points.signatures,
              files);
    add_table("subjects", "Types that the trace points speak of: lines of number, tab and name", points.subjects,
              files);
}

}  // namespace codegen
