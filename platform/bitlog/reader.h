// A reader of a ring; see bitlog.h.
#pragma once

#include "ring_record.h"
#include "ring_source.h"
#include "text_index.h"

namespace bitlog {

/** Records are looked at in blocks, each three times: complete, contents, still the same. */
constexpr uint64_t block_records = 256;

/** What is known of a module, from the ring and from the file that it names. */
struct reader_module {
    bool is_known;  // the ring has a row for it
    bool was_looked_for;
    char name[name_room];
    text_index *texts;
    text_index *subjects;
    text_index *arguments;
    char fault[sizeof(ring_module::path) + 128];  // empty: texts were found
};

}  // namespace bitlog

struct bitlog_reader {
    bitlog::ring_source source;
    bitlog::ring_header header;
    uint64_t position;  // of the record that is next
    uint64_t claimed;   // where records ended when they were last looked for
    uint64_t lost;      // since the last record that was returned
    uint64_t waiting_since_ms;
    bool has_begun;
    bool is_waiting;
    uint64_t block_start;  // position
    uint64_t block_count;
    bitlog::ring_record before[bitlog::block_records];
    bitlog::ring_record records[bitlog::block_records];
    bitlog::ring_record after[bitlog::block_records];
    char folder[1024];  // of libraries; empty for none
    bitlog::message_strings strings;
    bitlog_trace_points points;
    bitlog::reader_module modules[bitlog::most_modules];
};

namespace bitlog {

/** The module of that number, its texts read; null when the ring does not name it. */
reader_module *module_of(bitlog_reader &reader, uint16_t module_id);

/** What a table of a module says of a number; null when it says nothing. */
inline const char *find_in(const text_index *table, uint32_t number) {
    return table != nullptr ? find_text(*table, number) : nullptr;
}

/** Gives a record its subject. */
void add_subject(bitlog_reader &reader, bitlog_record &record);

void close_modules(bitlog_reader &reader);

}  // namespace bitlog
