// The registered modules and their message texts.
#pragma once

#include <stdint.h>

namespace bitlog {

struct ring_memory;

/** Text of a message; null when it has none or its module's texts cannot be found. Thread-safe. */
const char *find_message_text(uint16_t module_id, uint32_t number);

/** Makes this the ring that is written, with all modules in its table; null for none. */
void start_ring(ring_memory *ring);

}  // namespace bitlog
