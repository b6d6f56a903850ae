#include <bzlib.h>

#include <map>
#include <set>
#include <stdexcept>

#include "emit.h"
#include "naming.h"
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

class text_collector {
  public:
    explicit text_collector(const model &schema) : schema_(schema) {}

    void add(const char *kind, std::uint32_t trace, const placeholders &values) {
        std::uint32_t number = trace * trace_numbers_per_type;
        for (const trace_entry &entry : schema_.traces.at(kind)) {
            std::set<std::string> unknown;
            const std::string text = expand(entry.text, values, unknown);
            if (unknown.empty()) {  // a text about a second payload is none of a message with one
                texts_[number] = text;
            }
            ++number;
        }
    }

    std::string lines() const {
        std::string result;
        for (const auto &[number, text] : texts_) {
            result += std::to_string(number) + "\t" + text + "\n";
        }
        return result;
    }

  private:
    const model &schema_;
    std::map<std::uint32_t, std::string> texts_;
};

std::string collect_texts(const model &schema) {
    text_collector texts(schema);
    texts.add("module", 0, {});
    for (const enumeration *type : schema.enumerations) {
        texts.add("enumeration", type->trace, enumeration_placeholders(*type));
    }
    for (const structure *type : schema.structures) {
        texts.add("structure", type->trace, structure_placeholders(*type));
    }
    for (const message *type : schema.messages) {
        placeholders values = message_placeholders(*type);
        for (std::size_t index = 0; index < type->payloads.size(); ++index) {
            values["payload" + std::to_string(index + 1)] = type->payloads[index].type_name;
        }
        texts.add("message", type->trace, values);
    }
    return texts.lines();
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

}  // namespace

void emit_traces(const generation &input, output_set &files) {
    emit_lists(input.schema, files);
    const std::string texts = collect_texts(input.schema);
    const std::string packed = compressed(texts);
    files.add("private/trace_texts.txt", texts);
    files.add("private/trace_texts.bz2", packed);
    files.add("private/trace_texts.cpp",
              section_source("Texts of the trace messages: lines of number, tab and text, compressed with bzip2.",
                             ".vela_ptp_cfg_texts", packed));
}

}  // namespace codegen
