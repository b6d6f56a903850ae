#include "modules.h"

#include <pthread.h>
#include <string.h>

#include <atomic>

#include "bitlog.h"
#include "text_index.h"

namespace bitlog {
namespace {

constexpr uint16_t most_modules = 64;
constexpr size_t name_room = 64;

// An entry is complete before it is counted, and its names never change. Texts stay once they were found: the
// descriptor of a module that was unloaded leads nowhere any more, its messages are still to be printed.
struct module_entry {
    char name[name_room];
    char section[name_room];
    std::atomic<const bitlog_descriptor *> descriptor;
    std::atomic<const text_index *> texts;
    std::atomic<bool> texts_tried;
};

module_entry modules[most_modules];
std::atomic<uint16_t> module_count;
pthread_mutex_t modules_mutex = PTHREAD_MUTEX_INITIALIZER;

class modules_lock {
  public:
    modules_lock() { pthread_mutex_lock(&modules_mutex); }
    ~modules_lock() { pthread_mutex_unlock(&modules_mutex); }
    modules_lock(const modules_lock &) = delete;
    modules_lock &operator=(const modules_lock &) = delete;
};

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

// Enters a new module; 0 when no more fit. Needs the lock.
uint16_t add_module(const char *name, const bitlog_descriptor *descriptor) {
    uint16_t count = module_count.load(std::memory_order_relaxed);
    if (count == most_modules) {
        return 0;
    }
    module_entry &entry = modules[count];
    memcpy(entry.name, name, strlen(name) + 1);
    if (descriptor != nullptr && descriptor->text_section != nullptr) {
        memcpy(entry.section, descriptor->text_section, strlen(descriptor->text_section) + 1);
    }
    entry.descriptor.store(descriptor, std::memory_order_relaxed);
    module_count.store(static_cast<uint16_t>(count + 1), std::memory_order_release);
    return static_cast<uint16_t>(count + 1);
}

// A known module came back, perhaps from another place in memory: look for its texts there if they are missing.
void renew(module_entry &entry, const bitlog_descriptor *descriptor) {
    if (entry.descriptor.exchange(descriptor, std::memory_order_relaxed) != descriptor) {
        entry.texts_tried.store(entry.texts.load(std::memory_order_relaxed) != nullptr, std::memory_order_release);
    }
}

const text_index *load_texts(module_entry &entry) {
    modules_lock lock;
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
        return 22;
    }
    modules_lock lock;
    uint16_t number = number_of(module);
    if (number != 0) {
        renew(modules[number - 1], descriptor);
    } else {
        number = add_module(module, descriptor);
    }
    __atomic_store_n(module_id, number, __ATOMIC_RELEASE);
    return number != 0 ? 0 : 12;
}

const char *bitlog_module_name(uint16_t module_id) {
    const module_entry *entry = entry_of(module_id);
    return entry != nullptr ? entry->name : nullptr;
}
