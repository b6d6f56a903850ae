// The table of modules in a ring: where whoever reads it later finds the texts.
#include <string.h>

#include <atomic>

#include "build_id.h"
#include "ring.h"

namespace bitlog {
namespace {

void copy_text(char *to, size_t room, const char *from) {
    const size_t length = strnlen(from, room - 1);
    memcpy(to, from, length);
    to[length] = '\0';
}

}  // namespace

void add_to_ring(uint16_t module_id, const char *name, const char *section, const bitlog_descriptor *descriptor) {
    const ring_memory *ring = open_ring();
    if (ring == nullptr) {
        return;
    }
    ring_module row = {};
    build_id build = {};
    copy_text(row.name, sizeof row.name, name);
    copy_text(row.section, sizeof row.section, section);
    if (descriptor != nullptr) {
        find_loaded_file(descriptor, row.path, sizeof row.path, build);
    }
    memcpy(row.build_id, build.bytes, sizeof row.build_id);
    row.build_id_size = build.size;

    ring_module &kept = ring->modules[module_id - 1];
    std::atomic_ref<uint32_t> state(kept.state);
    state.store(module_changing, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
    row.state = module_changing;
    memcpy(&kept, &row, sizeof row);
    state.store(module_present, std::memory_order_release);
}

}  // namespace bitlog
