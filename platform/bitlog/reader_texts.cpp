// What the records of a ring mean: texts and identities from the files of the modules that traced.
#include <inttypes.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "build_id.h"
#include "format.h"
#include "reader.h"

namespace bitlog {
namespace {

constexpr char texts_ending[] = "texts";

[[gnu::format(printf, 2, 3)]] void set_fault(reader_module &module, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(module.fault, sizeof module.fault, format, arguments);
    va_end(arguments);
}

text_index *read_table(const char *path, const char *section) {
    text_block block = read_file_texts(path, section);
    return block.data != nullptr ? build_index(block) : nullptr;
}

/** A table beside the texts, in the section with another ending. */
text_index *read_identities(const ring_module &row, const char *ending) {
    char section[name_room + 16];
    const size_t length = strlen(row.section);
    const size_t stem = length - (sizeof texts_ending - 1);
    if (length < sizeof texts_ending - 1 || strcmp(row.section + stem, texts_ending) != 0) {
        return nullptr;
    }
    snprintf(section, sizeof section, "%.*s%s", static_cast<int>(stem), row.section, ending);
    return read_table(row.path, section);
}

/** False, and the fault set, when the file that the row names is not there or not the one that traced. */
bool is_same_build(reader_module &module, const ring_module &row) {
    if (const base::opened_file opened = open_module_file(row.path); !opened) {
        set_fault(module, "%s: cannot open: %s", row.path, opened.reason());
        return false;
    }
    const build_id found = build_id_of_file(row.path);
    if (found.size != row.build_id_size || memcmp(found.bytes, row.build_id, found.size) != 0) {
        set_fault(module, "%s: another build than the one that traced", row.path);
        return false;
    }
    return true;
}

/** The file of the same name in the folder that the reader was told, when it is the right build. */
bool is_in_folder(const bitlog_reader &reader, reader_module &module, ring_module &row) {
    ring_module other = row;
    const char *slash = strrchr(row.path, '/');
    const int length =
        snprintf(other.path, sizeof other.path, "%s/%s", reader.folder, slash != nullptr ? slash + 1 : row.path);
    if (reader.folder[0] == '\0' || length < 0 || static_cast<size_t>(length) >= sizeof other.path ||
        !is_same_build(module, other)) {
        return false;
    }
    row = other;
    return true;
}

void read_texts(const bitlog_reader &reader, reader_module &module, ring_module &row) {
    if (row.path[0] == '\0' || row.section[0] == '\0') {
        set_fault(module, "module %s names no file with message texts", module.name);
        return;
    }
    if (!is_in_folder(reader, module, row) && !is_same_build(module, row)) {
        return;
    }
    module.fault[0] = '\0';
    module.texts = read_table(row.path, row.section);
    if (module.texts == nullptr) {
        set_fault(module, "%s: no message texts in section %s", row.path, row.section);
        return;
    }
    module.subjects = read_identities(row, "subjects");
    module.arguments = read_identities(row, "arguments");
}

/** A row that is complete and holds still; its texts are ended then. */
bool read_row(const bitlog_reader &reader, uint16_t module_id, ring_module &row) {
    ring_module again = {};
    const uint64_t offset = reader.header.module_offset + (module_id - 1u) * sizeof row;
    if (!reader.source.read(offset, &row, sizeof row) || !reader.source.read(offset, &again, sizeof again) ||
        memcmp(&row, &again, sizeof row) != 0 || row.state != module_present || row.build_id_size > build_id_room) {
        return false;
    }
    row.name[sizeof row.name - 1] = '\0';
    row.section[sizeof row.section - 1] = '\0';
    row.path[sizeof row.path - 1] = '\0';
    return row.name[0] != '\0';
}

/** Whether a record has the arguments that its number says. */
bool has_arguments(const bitlog_record &record, const char *digits) {
    const size_t count = strcmp(digits, "0") == 0 ? 0 : strlen(digits);
    return count == record.argument_count && memcmp(digits, record.kind, count) == 0;
}

}  // namespace

reader_module *module_of(bitlog_reader &reader, uint16_t module_id) {
    if (module_id == 0 || module_id > most_modules) {
        return nullptr;
    }
    reader_module &module = reader.modules[module_id - 1];
    if (!module.was_looked_for) {
        module.was_looked_for = true;
        ring_module row = {};
        module.is_known = read_row(reader, module_id, row);
        if (module.is_known) {
            memcpy(module.name, row.name, sizeof module.name);
            read_texts(reader, module, row);
        }
    }
    return module.is_known ? &module : nullptr;
}

void add_subject(bitlog_reader &reader, bitlog_record &record) {
    const reader_module *module = module_of(reader, record.module_id);
    const char *subject = module != nullptr ? find_in(module->subjects, record.number) : nullptr;
    reader.points = {subject, record.number, 1};
    record.points = subject != nullptr ? &reader.points : nullptr;
}

void close_modules(bitlog_reader &reader) {
    for (reader_module &module : reader.modules) {
        destroy_index(module.texts);
        destroy_index(module.subjects);
        destroy_index(module.arguments);
    }
}

}  // namespace bitlog

using namespace bitlog;

uint32_t bitlog_reader_look_in(bitlog_reader *reader, const char *folder) {
    const size_t length = strlen(folder);
    if (length >= sizeof reader->folder) {
        return ENAMETOOLONG;
    }
    memcpy(reader->folder, folder, length + 1);
    return 0;
}

size_t bitlog_reader_format(bitlog_reader *reader, const bitlog_entry *entry, char *buffer, size_t room) {
    const bitlog_record &record = entry->record;
    const reader_module *module = module_of(*reader, record.module_id);
    const char *text = module != nullptr ? find_in(module->texts, record.number) : nullptr;
    const char *digits = module != nullptr ? find_in(module->arguments, record.number) : nullptr;
    const bool fits = digits == nullptr || has_arguments(record, digits);
    return format_record(record, fits ? text : nullptr, buffer, room, controls::escaped);
}

const char *bitlog_reader_module(bitlog_reader *reader, uint16_t module_id) {
    const reader_module *module = module_of(*reader, module_id);
    return module != nullptr ? module->name : nullptr;
}

const char *bitlog_reader_texts_fault(bitlog_reader *reader, uint16_t module_id) {
    const reader_module *module = module_of(*reader, module_id);
    if (module == nullptr) {
        return "the ring does not name a module that traced";
    }
    return module->fault[0] != '\0' ? module->fault : nullptr;
}
