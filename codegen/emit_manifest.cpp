// Writes the list of types that the file of the library carries, and when it was built.
#include <cstdlib>
#include <ctime>

#include "definition_hash.h"
#include "emit.h"
#include "layout.h"
#include "section.h"

namespace codegen {
namespace {

enum record_type : std::uint32_t { build_information = 1, manifest = 2 };

std::string padded(std::uint32_t value, std::size_t digits) {
    const std::string text = std::to_string(value);
    return std::string(digits > text.size() ? digits - text.size() : 0, '0') + text;
}

std::string line(const std::string &luid, const std::string &hash, const char *kind, std::uint32_t latest,
                 std::uint32_t size) {
    return luid + ":" + hash + kind + padded(latest, 3) + ":" + padded(size, 5) + "N\n";
}

std::string manifest_text(const model &schema) {
    std::string text = "# " + schema.module + ".tyman\n";
    for (const structure *type : schema.structures) {
        text += line(type->luid, definition_of(*type), "type", type->latest, type->size);
    }
    for (const enumeration *type : schema.enumerations) {
        text += line(type->luid, definition_of(*type), "enum", type->latest, enumeration_size);
    }
    for (const message *type : schema.messages) {
        text += line(type->luid, definition_of(*type), "mess", 0, 0);
    }
    return text;
}

/** Names no machine, person or process, so that equal sources give equal libraries; the time is SOURCE_DATE_EPOCH. */
std::string build_text(const model &schema) {
    std::string time = "unknown";
    if (const char *epoch = std::getenv("SOURCE_DATE_EPOCH")) {
        const std::time_t seconds = static_cast<std::time_t>(std::strtoll(epoch, nullptr, 10));
        char buffer[32] = "";
        std::tm parts = {};
        if (gmtime_r(&seconds, &parts) != nullptr) {
            std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &parts);
            time = buffer;
        }
    }
    return schema.module + "\nbuilt by: unknown\non host: unknown\npid: unknown\nat: " + time + "\ncomment: none\n";
}

std::string word(std::uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(value >> shift & 0xFF);
    }
    return bytes;
}

std::string record(record_type type, std::string text) {
    text += '\0';
    std::string bytes = word(static_cast<std::uint32_t>(text.size())) + word(type) + text;
    bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
    return bytes;
}

}  // namespace

void emit_manifest(const generation &input, output_set &files) {
    const std::string text = manifest_text(input.schema);
    const std::string content =
        record(manifest, text) + record(build_information, build_text(input.schema)) + word(0) + word(0);
    files.add("private/manifest.txt", text);
    files.add(
        "private/manifest.cpp",
        section_source("The type manifest: records of a length, a type and a text, little-endian.", ".zenta", content));
}

}  // namespace codegen
