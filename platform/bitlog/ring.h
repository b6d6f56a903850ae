// The ring that the process writes.
#pragma once

#include "bitlog.h"
#include "ring_layout.h"

namespace bitlog {

/** A mapped ring. */
struct ring_memory {
    ring_header *header;
    ring_module *modules;
    ring_record *records;
    uint64_t mask;  // capacity - 1
    size_t size;
};

/** Puts a message into the open ring, if there is one. From any thread, from signal handlers too. */
void write_to_ring(const bitlog_record &record);

/** The open ring, or null. */
const ring_memory *open_ring();

/** From now on this ring is written; null for none. */
void use_ring(ring_memory *ring);

/** Enters a module in the table of the open ring, if there is one. One thread at a time. */
void add_to_ring(uint16_t module_id, const char *name, const char *section, const bitlog_descriptor *descriptor);

/**
 * Maps a new ring; at `path`, or in memory when it is null. Returns 0 or an error of errno.
 * @param allowed  what may lie there already, as base/guarded_file.h says it
 */
uint32_t map_ring(const char *path, uint32_t capacity, unsigned allowed, ring_memory &ring);

}  // namespace bitlog
