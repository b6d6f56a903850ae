// The table of registered modules: numbers, names, and the texts of their messages once somebody asks.
#include "modules.h"

#include <errno.h>
#include <string.h>

#include <atomic>

#include "bitlog.h"
#include "levels.h"
#include "lock.h"
#include "ring.h"
#include "text_index.h"

namespace bitlog {
namespace {

// An entry is complete before it is counted, and its names never change. Texts stay once they were found: the
// descriptor of a module that was unloaded leads nowhere any more, its messages are still to be printed.
struct module_entry {
    char name[name_room] = {};
    char section[name_room] = {};
    std::atomic<const bitlog_descriptor *> descriptor = nullptr;
    std::atomic<const text_index *> texts = nullptr;
    std::atomic<bool> texts_tried = false;
};

// Modules register before constructors of this program part have run, where all are linked into one.
constinit module_entry modules[most_modules] = {};
constinit std::atomic<uint16_t> module_count = 0;
pthread_mutex_t modules_mutex = PTHREAD_MUTEX_INITIALIZER;

module_entry *entry_of(uint16_t module_id) {
    bool known = module_id != 0 && module_id <= module_count.load(std::memory_order_acquire);
    return known ? &modules[module_id - 1] : nullptr;
}

bool fits(const char *name) { return strnlen(name, name_room) < name_room; }

// Number of the module of that name, 0 when it is new. Needs the lock.
uint16_t number_of(const char *name) {
    uint16_t count = module_count.load(std::memory_order_relaxed);
    for (uint16_t i = 0; i < count; ++i) {
        if (strcmp(modules[i].name, name) == 0) {
            return static_cast<uint16_t>(i + 1);
        }
    }
    return 0;
}

void copy_section(module_entry &entry, const bitlog_descriptor *descriptor) {
    if (descriptor != nullptr && descriptor->text_section != nullptr) {
        memcpy(entry.section, descriptor->text_section, strlen(descriptor->text_section) + 1);
    }
}

// Enters a new module; 0 when no more fit. Needs the lock.
uint16_t add_module(const char *name, const bitlog_descriptor *descriptor) {
    uint16_t count = module_count.load(std::memory_order_relaxed);
    if (count == most_modules) {
        return 0;
    }
    module_entry &entry = modules[count];
    memcpy(entry.name, name, strlen(name) + 1);
    copy_section(entry, descriptor);
    entry.descriptor.store(descriptor, std::memory_order_relaxed);
    module_count.store(static_cast<uint16_t>(count + 1), std::memory_order_release);
    return static_cast<uint16_t>(count + 1);
}

// A known module came, or came back, perhaps from another place in memory: look for its texts there if they are
// missing. Needs the lock.
void renew(module_entry &entry, const bitlog_descriptor *descriptor) {
    if (entry.section[0] == '\0') {  // named by its level before it was loaded
        copy_section(entry, descriptor);
    }
    if (entry.descriptor.exchange(descriptor, std::memory_order_relaxed) != descriptor) {
        entry.texts_tried.store(entry.texts.load(std::memory_order_relaxed) != nullptr, std::memory_order_release);
    }
}

// Enters a module in the table of the open ring, if there is one. Needs the lock.
void tell_ring(uint16_t number) {
    const module_entry &entry = modules[number - 1];
    add_to_ring(number, entry.name, entry.section, entry.descriptor.load(std::memory_order_relaxed));
}

const text_index *load_texts(module_entry &entry) {
    lock guard(modules_mutex);
    if (!entry.texts_tried.load(std::memory_order_relaxed)) {
        const bitlog_descriptor *descriptor = entry.descriptor.load(std::memory_order_relaxed);
        text_block block;
        if (descriptor != nullptr && entry.section[0] != '\0') {
            block = read_module_texts(descriptor, entry.section);
        }
        if (block.data != nullptr) {
            entry.texts.store(build_index(block), std::memory_order_release);
        }
        entry.texts_tried.store(true, std::memory_order_release);
    }
    return entry.texts.load(std::memory_order_relaxed);
}

}  // namespace

void start_ring(ring_memory *ring) {
    lock guard(modules_mutex);
    use_ring(ring);
    uint16_t count = ring != nullptr ? module_count.load(std::memory_order_relaxed) : 0;
    for (uint16_t number = 1; number <= count; ++number) {
        tell_ring(number);
    }
}

const char *find_message_text(uint16_t module_id, uint32_t number) {
    module_entry *entry = entry_of(module_id);
    if (entry == nullptr) {
        return nullptr;
    }
    bool tried = entry->texts_tried.load(std::memory_order_acquire);
    const text_index *texts = tried ? entry->texts.load(std::memory_order_acquire) : load_texts(*entry);
    return texts == nullptr ? nullptr : find_text(*texts, number);
}

}  // namespace bitlog

using namespace bitlog;

uint32_t bitlog_module_init_fn(const char *module, uint16_t *module_id, const bitlog_descriptor *descriptor) {
    module_entry *known = entry_of(__atomic_load_n(module_id, __ATOMIC_ACQUIRE));
    if (known != nullptr && known->descriptor.load(std::memory_order_relaxed) == descriptor) {
        return 0;
    }
    const char *section = descriptor != nullptr ? descriptor->text_section : nullptr;
    if (module == nullptr || module[0] == '\0' || !fits(module) || (section != nullptr && !fits(section))) {
        return EINVAL;
    }
    lock guard(modules_mutex);
    uint16_t number = number_of(module);
    if (number != 0) {
        renew(modules[number - 1], descriptor);
    } else {
        number = add_module(module, descriptor);
    }
    if (number != 0) {
        tell_ring(number);
    }
    __atomic_store_n(module_id, number, __ATOMIC_RELEASE);
    return number != 0 ? 0 : ENOMEM;
}

uint32_t bitlog_set_module_level(const char *module, uint32_t level) {
    if (module == nullptr || module[0] == '\0' || !fits(module)) {
        return EINVAL;
    }
    lock guard(modules_mutex);
    uint16_t number = number_of(module);
    number = number != 0 ? number : add_module(module, nullptr);
    if (number == 0) {
        return ENOMEM;
    }
    set_level_of(number, level);
    return 0;
}

const char *bitlog_module_name(uint16_t module_id) {
    const module_entry *entry = entry_of(module_id);
    return entry != nullptr ? entry->name : nullptr;
}
