// Reads a ring in order while others may write it: finds the next record, and counts those that are lost.
#include "reader.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <new>

#include "base/clocks.h"

namespace bitlog {
namespace {

/** What is wrong with a header, or null. Nothing else of the file is used before this has been asked. */
const char *fault_of(const ring_header &header, uint64_t file_size) {
    if (memcmp(header.magic, ring_magic, sizeof ring_magic) != 0) {
        return "not a trace: it does not begin as one";
    }
    if (header.byte_order != ring_byte_order) {
        return "a trace of a machine with another byte order";
    }
    if (header.version != ring_version) {
        return "a trace of another version of this library";
    }
    if (header.module_size != sizeof(ring_module) || header.module_room != most_modules ||
        header.record_size != sizeof(ring_record) || header.module_offset != ring_module_offset ||
        header.record_offset != ring_record_offset) {
        return "damaged: the sizes in its header are wrong";
    }
    if (header.capacity == 0 || header.capacity > BITLOG_MOST_CAPACITY ||
        (header.capacity & (header.capacity - 1)) != 0) {
        return "damaged: the number of records in its header is wrong";
    }
    return file_size < ring_size(header.capacity) ? "cut: it is shorter than its header says" : nullptr;
}

uint32_t open_source(bitlog_reader &reader, const char *path, const char *&reason) {
    const uint32_t status = reader.source.open(path, reason);
    if (status != 0) {
        return status;
    }
    if (reader.source.size() < sizeof reader.header || !reader.source.read(0, &reader.header, sizeof reader.header)) {
        reason = "not a trace: it is too short";
        return EINVAL;
    }
    reason = fault_of(reader.header, reader.source.size());
    reader.header.program[sizeof reader.header.program - 1] = '\0';
    return reason == nullptr ? 0 : EINVAL;
}

/** Looks how far the ring was written, and goes on to the oldest record that can still be there. */
void find_end(bitlog_reader &reader) {
    uint64_t claimed = 0;
    if (!reader.source.read(offsetof(ring_header, claimed), &claimed, sizeof claimed) || claimed < reader.position) {
        return;
    }
    reader.claimed = claimed;
    if (claimed - reader.position > reader.header.capacity) {
        const uint64_t oldest = claimed - reader.header.capacity;
        reader.lost += reader.has_begun ? oldest - reader.position : 0;
        reader.position = oldest;
    }
    reader.has_begun = true;
}

/**
 * Reads from the position on, up to the end, the end of the ring or of the block. A record is what it was when it was
 * complete before and after.
 */
bool read_block(bitlog_reader &reader) {
    const uint64_t slot = reader.position & (reader.header.capacity - 1);
    uint64_t count = reader.claimed - reader.position;
    count = count < block_records ? count : block_records;
    count = count < reader.header.capacity - slot ? count : reader.header.capacity - slot;
    const uint64_t offset = reader.header.record_offset + slot * sizeof(ring_record);
    const size_t length = static_cast<size_t>(count) * sizeof(ring_record);
    const bool whole = reader.source.read(offset, reader.before, length) &&
                       reader.source.read(offset, reader.records, length) &&
                       reader.source.read(offset, reader.after, length);
    reader.block_start = reader.position;
    reader.block_count = whole ? count : 0;
    return reader.block_count > 0;
}

bool next_is_in_block(const bitlog_reader &reader) {
    return reader.position >= reader.block_start && reader.position - reader.block_start < reader.block_count;
}

bool next_is_ready(bitlog_reader &reader) {
    if (next_is_in_block(reader)) {
        return true;
    }
    find_end(reader);
    return reader.position < reader.claimed && read_block(reader);
}

enum class record_state { complete, unfinished, gone };

record_state state_of_next(const bitlog_reader &reader) {
    const uint64_t index = reader.position - reader.block_start;
    const uint64_t complete = 2 * reader.position + 2;
    if (reader.before[index].sequence == complete && reader.after[index].sequence == complete) {
        return record_state::complete;
    }
    return reader.after[index].sequence <= complete ? record_state::unfinished : record_state::gone;
}

/** Whether the record that is next still has time to be finished; it is looked at again then. */
bool must_wait(bitlog_reader &reader, uint32_t patience_ms) {
    const uint64_t now = base::clock_ms(CLOCK_MONOTONIC);
    if (!reader.is_waiting) {
        reader.waiting_since_ms = now;
    }
    reader.is_waiting = now - reader.waiting_since_ms < patience_ms;
    reader.block_count = reader.is_waiting ? 0 : reader.block_count;
    return reader.is_waiting;
}

bool take_next(bitlog_reader &reader, bitlog_entry &entry) {
    const ring_record &kept = reader.records[reader.position - reader.block_start];
    if (!unpack(kept, entry.record, reader.strings)) {
        return false;
    }
    entry.position = reader.position;
    entry.time_ns =
        static_cast<int64_t>(static_cast<uint64_t>(reader.header.wall_ns) + kept.time_ns - reader.header.monotonic_ns);
    entry.thread = kept.thread;
    entry.cut = kept.cut;
    entry.lost_before = reader.lost;
    reader.lost = 0;
    add_subject(reader, entry.record);
    return true;
}

}  // namespace
}  // namespace bitlog

using namespace bitlog;

uint32_t bitlog_reader_open(const char *path, bitlog_reader **reader, char *reason, size_t room) {
    const char *what = "there is not enough memory";
    uint32_t status = ENOMEM;
    *reader = static_cast<bitlog_reader *>(calloc(1, sizeof(bitlog_reader)));
    if (*reader != nullptr) {
        new (&(*reader)->source) ring_source;
        status = open_source(**reader, path, what);
    }
    if (status == 0) {
        return 0;
    }
    if (status == EINVAL || status == ENOMEM || path == nullptr) {
        snprintf(reason, room, "%s", what);
    } else {
        snprintf(reason, room, "%s: %s", what, strerror(static_cast<int>(status)));
    }
    bitlog_reader_close(*reader);
    *reader = nullptr;
    return status;
}

void bitlog_reader_close(bitlog_reader *reader) {
    if (reader != nullptr) {
        close_modules(*reader);
        reader->source.close();
        free(reader);
    }
}

void bitlog_reader_info(bitlog_reader *reader, bitlog_ring_info *info) {
    *info = {};
    memcpy(info->program, reader->header.program, sizeof info->program);
    info->process_id = reader->header.process_id;
    info->capacity = reader->header.capacity;
    info->opened_ns = reader->header.wall_ns;
    reader->source.read(offsetof(ring_header, claimed), &info->traced, sizeof info->traced);
    reader->source.read(offsetof(ring_header, dropped), &info->dropped, sizeof info->dropped);
}

int bitlog_reader_next(bitlog_reader *reader, bitlog_entry *entry, uint32_t patience_ms) {
    while (next_is_ready(*reader)) {
        const record_state state = state_of_next(*reader);
        if (state == record_state::unfinished && must_wait(*reader, patience_ms)) {
            return 0;
        }
        reader->is_waiting = false;
        const bool taken = state == record_state::complete && take_next(*reader, *entry);
        reader->lost += taken ? 0 : 1;
        ++reader->position;
        if (taken) {
            return 1;
        }
    }
    return 0;
}
