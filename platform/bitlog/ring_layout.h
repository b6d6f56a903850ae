// A ring as it lies in memory and in its file, shared by the threads that write and whoever reads. See docs/trace.md.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "levels.h"

namespace bitlog {

constexpr char ring_magic[8] = {'B', 'I', 'T', 'L', 'O', 'G', '\n', '\x1a'};
constexpr uint32_t ring_version = 1;
constexpr uint32_t ring_byte_order = 0x01020304;
constexpr size_t name_room = 64;
constexpr size_t build_id_room = 32;

struct ring_header {
    char magic[8];  // written last: what has it is complete
    uint32_t version;
    uint32_t byte_order;
    uint32_t module_size;
    uint32_t module_room;
    uint32_t record_size;
    uint32_t capacity;  // a power of two
    uint64_t module_offset;
    uint64_t record_offset;
    int64_t wall_ns;  // both clocks when the ring was opened
    uint64_t monotonic_ns;
    uint32_t process_id;
    uint32_t reserved;
    char program[56];
    uint64_t claimed;  // atomic: position of the next record
    uint64_t dropped;  // atomic
    uint8_t more[112];
};
static_assert(sizeof(ring_header) == 256 && offsetof(ring_header, claimed) == 128);

enum : uint32_t { module_absent = 0, module_changing = 1, module_present = 2 };

/** Where the texts of a module are; the row of module N is N - 1. */
struct ring_module {
    uint32_t state;  // atomic
    uint32_t build_id_size;
    uint8_t build_id[build_id_room];
    char name[name_room];
    char section[name_room];
    char path[1024];
};
static_assert(sizeof(ring_module) == 1192);

/**
 * The record of position P lies in slot P modulo capacity. Its sequence is 2 P + 1 while a thread writes it, which no
 * other does meanwhile, and 2 P + 2 from then on.
 */
struct ring_record {
    uint64_t sequence;  // atomic
    uint64_t time_ns;   // monotonic
    uint32_t number;
    uint32_t level;
    uint32_t thread;
    uint16_t module_id;
    uint8_t argument_count;
    uint8_t cut;          // bit per argument
    char kind[4];         // '4', '5', '1', or '0' for a null string
    uint8_t payload[92];  // 4 bytes, 8 bytes, or a length and so many characters; nothing
};
static_assert(sizeof(ring_record) == 128 && offsetof(ring_record, payload) == 36);

constexpr uint64_t ring_module_offset = sizeof(ring_header);
constexpr uint64_t ring_record_offset = 77824;  // a multiple of the page size
static_assert(ring_record_offset % 4096 == 0 &&
              ring_record_offset >= ring_module_offset + most_modules * sizeof(ring_module));

constexpr uint64_t ring_size(uint32_t capacity) {
    return ring_record_offset + uint64_t{capacity} * sizeof(ring_record);
}

}  // namespace bitlog
