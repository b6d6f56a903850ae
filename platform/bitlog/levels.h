// Which calls are heard: one byte per module, so that a call nobody listens to costs one load and one branch.
#pragma once

#include <stdint.h>

#include <atomic>

#include "bitlog.h"

namespace bitlog {

constexpr uint16_t most_modules = 64;
/** Least severe severity that the default sink prints. */
constexpr int default_limit = BITLOG_ERROR >> 24;

// By module number, least severe severity that anybody listens to; counted from default_limit, so that zeroed memory
// is right before anything was set. More rows than modules, so that a mask keeps any number inside.
constexpr uint16_t heard_rows = 128;
extern std::atomic<int16_t> heard[heard_rows];

inline bool is_heard(uint16_t module_id, uint32_t level) {
    return static_cast<int>(level >> 24) <=
           default_limit + heard[module_id % heard_rows].load(std::memory_order_relaxed);
}

/** Who listens: the default sink takes errors and worse only; any other sink, and a ring, take all. */
void set_sink_listens(bool to_everything);
void set_ring_listens(bool open);

/** Level of a module's own; BITLOG_COMMON_LEVEL takes it back. */
void set_level_of(uint16_t module_id, uint32_t level);

}  // namespace bitlog
