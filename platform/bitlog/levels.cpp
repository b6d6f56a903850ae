// The levels that programs set, and the byte per module that a call looks at.
#include "levels.h"

#include "lock.h"

namespace bitlog {

std::atomic<int16_t> heard[heard_rows];

namespace {

struct own_level {
    bool is_set;
    uint32_t level;
};

std::atomic<uint32_t> common_level{BITLOG_DEBUG};

// Under the lock.
pthread_mutex_t levels_mutex = PTHREAD_MUTEX_INITIALIZER;
own_level own_levels[heard_rows];
bool sink_takes_all;
bool ring_is_open;

void update() {
    for (uint16_t row = 0; row < heard_rows; ++row) {
        const own_level &own = own_levels[row];
        const uint32_t level = own.is_set ? own.level : common_level.load(std::memory_order_relaxed);
        int limit = static_cast<int>(level >> 24);
        if (!sink_takes_all && !ring_is_open && limit > default_limit) {
            limit = default_limit;
        }
        heard[row].store(static_cast<int16_t>(limit - default_limit), std::memory_order_relaxed);
    }
}

}  // namespace

void set_sink_listens(bool to_everything) {
    lock guard(levels_mutex);
    sink_takes_all = to_everything;
    update();
}

void set_ring_listens(bool open) {
    lock guard(levels_mutex);
    ring_is_open = open;
    update();
}

void set_level_of(uint16_t module_id, uint32_t level) {
    lock guard(levels_mutex);
    own_levels[module_id % heard_rows] = {level != BITLOG_COMMON_LEVEL, level};
    update();
}

}  // namespace bitlog

using namespace bitlog;

void bitlog_set_level(uint32_t level) {
    lock guard(levels_mutex);
    common_level.store(level, std::memory_order_relaxed);
    update();
}

uint32_t bitlog_get_level(void) { return common_level.load(std::memory_order_relaxed); }
